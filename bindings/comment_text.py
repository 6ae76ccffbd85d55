"""The structure of a plain comment: paragraphs, lists, tables and code.

    A paragraph is not indented.

      - an item of a list
      - another one

      key          a row of a table
      other, one   its text may take several lines, and have a list in it

      int code = 1;    (indented, and no table)
"""

from __future__ import annotations

import re
import textwrap
from dataclasses import dataclass
from typing import Union


@dataclass
class Paragraph:
    text: str


@dataclass
class ItemList:
    items: list[list[Block]]


@dataclass
class Row:
    key: str
    # The second of three columns.
    amount: str
    content: list[Block]


@dataclass
class Table:
    rows: list[Row]


@dataclass
class Code:
    text: str


Block = Union[Paragraph, ItemList, Table, Code]


def _indent(line: str) -> int:
    return len(line) - len(line.lstrip())


def _item_list(lines: list[str]) -> ItemList:
    items: list[list[str]] = []
    for line in lines:
        if line.startswith("- "):
            items.append([])
        items[-1].append(line[2:])
    return ItemList([blocks("\n".join(item)) for item in items])


_ROW = re.compile(r"(\S.*?) {2,}(?:(\S+(?: \S+)*) {2,})?(\S.*)")


def _table(lines: list[str]) -> Table | None:
    """None if this is not a table."""
    first = _ROW.fullmatch(lines[0])
    if not first:
        return None
    column = first.start(3)
    rows: list[tuple[str, str, list[str]]] = []
    for line in lines:
        left, text = line[:column], line[column:]
        if left[-1:].strip():
            return None
        key, _, amount = re.sub(r" {2,}", "\n", left.strip()).partition("\n")
        # A key goes on in the next line if its text does.
        if key and rows and rows[-1][2][-1].endswith(","):
            rows[-1] = (f"{rows[-1][0]} {key}", rows[-1][1], [*rows[-1][2], text])
        elif key:
            rows.append((key, amount, [text]))
        else:
            rows[-1][2].append(text)
    return Table([Row(key, amount, blocks("\n".join(texts))) for key, amount, texts in rows])


def _indented(lines: list[str]) -> Block:
    lines = textwrap.dedent("\n".join(lines)).splitlines()
    if lines[0].startswith("- "):
        return _item_list(lines)
    return _table(lines) or Code("\n".join(lines))


def _end_of_block(lines: list[str], begin: int) -> int:
    """The line after the paragraph, list, table or code that begins in this line."""
    is_list = lines[begin].startswith("- ")
    is_indented = _indent(lines[begin]) > 0
    end = begin + 1
    while end < len(lines) and lines[end].strip():
        starts_item = lines[end].startswith("- ")
        if is_list and not starts_item and _indent(lines[end]) == 0:
            break
        if not is_list and (starts_item or is_indented != (_indent(lines[end]) > 0)):
            break
        end += 1
    return end


def blocks(text: str) -> list[Block]:
    found: list[Block] = []
    lines = text.splitlines()
    at = 0
    while at < len(lines):
        if not lines[at].strip():
            at += 1
            continue
        end = _end_of_block(lines, at)
        if _indent(lines[at]) > 0 or lines[at].startswith("- "):
            found.append(_indented(lines[at:end]))
        else:
            found.append(Paragraph(" ".join(" ".join(lines[at:end]).split())))
        at = end
    return found


def plain_text(content: list[Block]) -> str:
    """All text of these blocks in one line."""
    parts: list[str] = []
    for block in content:
        if isinstance(block, Paragraph):
            parts.append(block.text)
        elif isinstance(block, ItemList):
            parts += [plain_text(item) for item in block.items]
        elif isinstance(block, Table):
            parts += [f"{row.key} {row.amount} {plain_text(row.content)}" for row in block.rows]
        else:
            parts.append(" ".join(block.text.split()))
    return " ".join(" ".join(parts).split())


def sentences(text: str) -> list[str]:
    """Splits after a full stop that is followed by a capital letter or a mark, and is not in
    parentheses."""
    found: list[str] = []
    depth = begin = 0
    for at, letter in enumerate(text):
        depth += (letter == "(") - (letter == ")")
        if letter == "." and depth == 0 and re.match(r" +[A-Z`\"(0-9]", text[at + 1 :]):
            found.append(text[begin : at + 1].strip())
            begin = at + 1
    found.append(text[begin:].strip())
    return [sentence for sentence in found if sentence]
