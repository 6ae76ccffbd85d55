"""The pages of the reference site, before Sphinx makes HTML of them, and the link checker."""

import re
import tempfile
import unittest
from pathlib import Path

from bindings.header import HEADER, read_header
from docs.site.check_links import broken_links
from docs.site.reference import duration
from docs.site.rst import Writer
from docs.site.stage import LinkError, Stage, documents, glossary, stage

EXPORTS = HEADER.parents[3] / "tests/api/exports.inc"
PAGE = '<html><head><meta name="viewport"><title>t</title></head><body>{}</body></html>'


def plain(text: str) -> str:
    """Text without the marks of references."""
    return re.sub(r"\\ |:c:\w+:`([^`]*)`", r"\1", text).strip()


def section(page: str, title: str) -> str:
    """What is below a title, up to the next one."""
    found = re.search(rf"^{title}\n-+\n(.*?)(?=^[^\n]+\n-{{3,}}\n|\Z)", page, re.M | re.S)
    return found[1] if found else ""


class Pages(unittest.TestCase):
    folder: Path

    @classmethod
    def setUpClass(cls) -> None:
        kept = tempfile.TemporaryDirectory()
        cls.addClassCleanup(kept.cleanup)
        cls.folder = Path(kept.name)
        stage(cls.folder)

    def page(self, name: str) -> str:
        return (self.folder / f"{name}.rst").read_text(encoding="utf-8")

    def test_there_is_one_for_each_export(self) -> None:
        exports = re.findall(r"(?m)^\w+\((\w+)\)", EXPORTS.read_text(encoding="utf-8"))
        self.assertEqual(len(exports), 87)
        for name in exports:
            with self.subTest(name):
                page = self.page(f"api/{name}")
                self.assertRegex(page, rf"(?m)^{name}\n={{{len(name)}}}$")
                self.assertRegex(page, rf"(?m)^\.\. c:function:: uint(32|8)_t {name}\(")

    def test_list_statuses_and_blocking_time(self) -> None:
        for function in read_header().functions.values():
            with self.subTest(function.name):
                page = self.page(f"api/{function.name}")
                statuses = section(page, "Statuses")
                for status in function.statuses:
                    self.assertIn(
                        f"* - :c:macro:`{status.name}`\n     - {'0x' if status.value > 100 else status.value}",
                        statuses,
                    )
                if function.returns_flag:
                    self.assertIn("Returns 1 or 0", statuses)
                assert function.blocking
                words = duration(function.blocking)
                self.assertIn(f"**{words[0].upper()}{words[1:]}.**", section(page, "Blocks"))

    def test_say_which_functions_may_wait_without_a_limit(self) -> None:
        times = {
            name: section(self.page(f"api/{name}"), "Blocks").strip().partition("\n")[0]
            for name in ("ValidateClusterW", "UnInitializeClusterW", "ReleaseDgW", "GetDiskStateW")
        }
        self.assertEqual(
            times,
            {
                "ValidateClusterW": "**Up to 1.5 s; may wait without a limit.**",
                "UnInitializeClusterW": "**No pauses; may wait without a limit.**",
                "ReleaseDgW": "**Up to 24 s.**",
                "GetDiskStateW": "**No pauses.**",
            },
        )

    def test_say_what_a_lost_connection_results_in(self) -> None:
        title = "If the connection is lost during the call"
        found = {
            name: plain(section(self.page(f"api/{name}"), title)).partition(" See")[0]
            for name in ("DeportDgW", "OnlineDgW", "GetDgVolPlexStatesW", "OnlineVolW")
        }
        self.assertEqual(
            found,
            {
                "DeportDgW": "FARLO_NOT_CONNECTED.",
                "OnlineDgW": "FARLO_NOT_CONNECTED, except: "
                "FARLO_ALREADY_IMPORTED is returned as it is.",
                # Not FARLO_NOT_CONNECTED.
                "GetDgVolPlexStatesW": "Its result; "
                "FARLO_NOT_FOUND, after up to 25 s, if a lookup fails because of it.",
                "OnlineVolW": "See the description.",
            },
        )
        self.assertEqual(section(self.page("api/ReleaseDgW"), title), "", "it has no handle")

    def test_list_the_functions_of_each_status(self) -> None:
        page = self.page("api/statuses")
        for name in read_header().statuses:
            with self.subTest(name):
                entry = re.search(rf"^\.\. c:macro:: {name}\n(.*?)(?=^\.\.|\Z)", page, re.M | re.S)
                assert entry
                self.assertIn("   Returned by ", entry[1])
                self.assertNotIn("no function", entry[1])

    def test_list_each_argument(self) -> None:
        for function in read_header().functions.values():
            arguments = section(self.page(f"api/{function.name}"), "Arguments")
            for argument in function.arguments:
                with self.subTest(function.name, argument=argument.name):
                    self.assertIn(f"``{argument.name}`` :sup:`", arguments)

    def test_of_one_function_in_full(self) -> None:
        page = self.page("api/GetDgReservationStatusW")
        self.assertIn("Whether this node holds the reservation of a disk group.\n", page)
        self.assertIn("``reservation`` :sup:`out`", page)
        self.assertIn("**Up to 550 s.**", page)
        self.assertRegex(
            section(page, "Statuses"),
            r"\* - :c:macro:`FARLO_NOT_FOUND`\n     - 1\n"
            r"     - there is no driver, or it does not know the group\n",
        )
        self.assertIn("Also any status of the storage service, unchanged", page)
        self.assertIn(":c:func:`GetDgReservationStatusA`", section(page, "See also"))

    def test_name_each_document_in_the_navigation(self) -> None:
        first = (self.folder / "index.md").read_text(encoding="utf-8")
        listed = re.findall(r"^[\w/-]+$", first[first.index("```{toctree}") :], re.MULTILINE)
        for document in documents():
            if document != Path("README.md"):
                with self.subTest(document):
                    self.assertIn(str(document.with_suffix("")), listed)

    def test_keep_every_word_of_the_glossary(self) -> None:
        source = (HEADER.parents[3] / "docs/glossary.md").read_text(encoding="utf-8")
        staged = (self.folder / "docs/glossary.md").read_text(encoding="utf-8")
        rows = re.findall(r"^\| (?!word|---)([^|]+) \|", source, re.MULTILINE)
        self.assertGreater(len(rows), 40)
        for row in rows:
            for word in row.split(", "):
                self.assertRegex(staged, rf"(?m)^{re.escape(word)}$")


class Folder(unittest.TestCase):
    def test_has_no_pages_of_an_earlier_run(self) -> None:
        with tempfile.TemporaryDirectory() as folder:
            page = Path(folder) / "api/Removed.rst"
            page.parent.mkdir()
            page.write_text("Removed\n=======\n", encoding="utf-8")
            stage(Path(folder))
            self.assertFalse(page.exists())


class Text(unittest.TestCase):
    def test_shows_the_marks_of_markup_as_they_are(self) -> None:
        write = Writer(read_header())
        self.assertEqual(write.text("a_ * b"), r"a\_ \* b")
        self.assertEqual(write.text("`a_`"), r"\ ``a_``" + "\\")


class Documents(unittest.TestCase):
    def link(self, document: str, target: str) -> str:
        return Stage(Path()).link(Path(document), target)

    def test_keep_their_links(self) -> None:
        self.assertEqual(self.link("docs/lab.md", "trace-log.md"), "trace-log.md")
        self.assertEqual(self.link("docs/lab.md", "../README.md"), "../index.md")
        self.assertEqual(
            self.link("docs/lab.md", "../lab/ztbus3/lab_bus.h"),
            "../source/lab/ztbus3/lab_bus.h.rst",
        )
        self.assertEqual(self.link("README.md", "clitools/farlo/api/farlo.h"), "api/index.rst")

    def test_link_to_nothing_that_is_not_there(self) -> None:
        for target in ("nothing.md", "../../outside.md", "../lab"):
            with self.subTest(target), self.assertRaises(LinkError):
                self.link("docs/lab.md", target)

    def test_split_the_words_of_the_glossary(self) -> None:
        text = "# G\n\n| word | meaning |\n|---|---|\n| bus, object bus | what `x` is |\n"
        self.assertEqual(
            glossary(text), "# G\n\n```{glossary}\nbus\nobject bus\n  what `x` is\n\n```\n"
        )


class Links(unittest.TestCase):
    def faults(self, **pages: str) -> list[str]:
        with tempfile.TemporaryDirectory() as folder:
            for name, body in pages.items():
                text = body if "<html" in body else PAGE.format(body)
                (Path(folder) / f"{name}.html").write_text(text, encoding="utf-8")
            return broken_links(Path(folder))

    def test_none_is_broken(self) -> None:
        self.assertEqual(
            self.faults(
                index='<a href="other.html#here">x</a><a href="https://example.org/">y</a>',
                other='<p id="here"></p><a href="index.html">z</a><a href="#here">w</a>',
            ),
            [],
        )

    def test_to_a_missing_page(self) -> None:
        self.assertEqual(
            self.faults(index='<a href="index.html"></a><a href="none.html">x</a>'),
            ["index.html: none.html: no such file", "index.html: no page links to it"],
        )

    def test_to_a_missing_place(self) -> None:
        self.assertEqual(
            self.faults(
                index='<a href="other.html#gone">x</a>', other='<a href="index.html#no">y</a>'
            ),
            [
                "index.html: other.html#gone: no such place",
                "other.html: index.html#no: no such place",
            ],
        )

    def test_to_a_missing_picture(self) -> None:
        found = self.faults(
            index='<a href="other.html">x</a><img src="a%20b.png">',
            other='<a href="index.html"></a>',
        )
        self.assertEqual(found, ["index.html: a%20b.png: no such file"])

    def test_page_that_nothing_links_to(self) -> None:
        found = self.faults(index='<a href="index.html"></a>', alone='<a href="index.html"></a>')
        self.assertEqual(found, ["alone.html: no page links to it"])

    def test_page_without_a_title(self) -> None:
        found = self.faults(
            index='<a href="other.html"></a>',
            other='<html><body><a href="index.html"></a></body></html>',
        )
        self.assertEqual(found, ["other.html: no title", "other.html: not laid out for phones"])


if __name__ == "__main__":
    unittest.main()
