"""The structure of plain comments."""

import unittest

from bindings.comment_text import Code, ItemList, Paragraph, Row, Table, blocks, sentences


class Blocks(unittest.TestCase):
    def test_joins_the_lines_of_a_paragraph(self) -> None:
        self.assertEqual(
            blocks("One\ntwo.\n\nThree."), [Paragraph("One two."), Paragraph("Three.")]
        )

    def test_reads_a_table_whose_texts_take_several_lines(self) -> None:
        text = "  name, guid   the group\n               or none\n  size         in bytes"
        self.assertEqual(
            blocks(text),
            [
                Table(
                    [
                        Row("name, guid", "", [Paragraph("the group or none")]),
                        Row("size", "", [Paragraph("in bytes")]),
                    ]
                )
            ],
        )

    def test_continues_a_key_in_the_line_after_a_comma(self) -> None:
        text = (
            "  a handle that lost its   it is released,\n  connection               then made anew"
        )
        self.assertEqual(
            blocks(text),
            [
                Table(
                    [
                        Row(
                            "a handle that lost its connection",
                            "",
                            [Paragraph("it is released, then made anew")],
                        )
                    ]
                )
            ],
        )

    def test_reads_a_column_of_amounts(self) -> None:
        text = "  a lookup     25 s   five tries\n  a search    435 s   a lookup and\n                      a rescan"
        self.assertEqual(
            blocks(text),
            [
                Table(
                    [
                        Row("a lookup", "25 s", [Paragraph("five tries")]),
                        Row("a search", "435 s", [Paragraph("a lookup and a rescan")]),
                    ]
                )
            ],
        )

    def test_reads_a_list_in_a_table_and_the_text_after_it(self) -> None:
        text = "  state   receives\n          - the first\n            one;\n          - two.\n          Else none."
        self.assertEqual(
            blocks(text),
            [
                Table(
                    [
                        Row(
                            "state",
                            "",
                            [
                                Paragraph("receives"),
                                ItemList([[Paragraph("the first one;")], [Paragraph("two.")]]),
                                Paragraph("Else none."),
                            ],
                        )
                    ]
                )
            ],
        )

    def test_takes_other_indented_lines_as_code(self) -> None:
        self.assertEqual(
            blocks("Do:\n\n  if (a) {\n      b();\n  }"),
            [Paragraph("Do:"), Code("if (a) {\n    b();\n}")],
        )


class Sentences(unittest.TestCase):
    def test_end_at_full_stops_outside_of_parentheses(self) -> None:
        self.assertEqual(
            sentences("One (a. B) and 0.5 s. Two, e.g. three. `four`"),
            ["One (a. B) and 0.5 s.", "Two, e.g. three.", "`four`"],
        )


if __name__ == "__main__":
    unittest.main()
