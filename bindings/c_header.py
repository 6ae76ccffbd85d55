"""Splits a C header into comments, directives and declarations, in the order of its lines.

It knows the C of farlo.h, not all of C: plain comments before, or in the line of, what they
describe; one declaration after another; no declaration inside of a macro.
"""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from typing import Iterator


class HeaderError(Exception):
    """The header has something that its readers would get wrong."""


@dataclass
class Piece:
    """A comment, a directive or a declaration."""

    kind: str  # "comment", "directive" or "declaration"
    text: str
    first_line: int
    last_line: int
    # Of a directive or declaration: the comment in its own lines.
    remark: str = ""


@dataclass
class Group:
    """Pieces without an empty line between them. A comment at the beginning is about all."""

    comment: str
    pieces: list[Piece] = field(default_factory=list)


@dataclass
class Section:
    """What follows a ruled line: / * ------ title * /."""

    title: str
    groups: list[Group] = field(default_factory=list)


def plain_comment(text: str) -> str:
    """The text of a comment without its marks, indented as in the header."""
    if text.startswith("//"):
        return text[2:].strip()
    lines = text.removeprefix("/*").removesuffix("*/").splitlines()
    lines = [re.sub(r"^\s*\*( |$)", "", line) if n else line for n, line in enumerate(lines)]
    # The lines after the first one of a comment without stars are indented by its place.
    if len(lines) > 1 and not re.match(r"^\s*\*", text.splitlines()[1]):
        lines = [line.strip() for line in lines]
    lines = [line.rstrip() for line in lines]
    return "\n".join([lines[0].strip(), *lines[1:]]).strip("\n").rstrip()


def _skip_string(text: str, at: int) -> int:
    quote = text[at]
    at += 1
    while text[at] != quote:
        at += 2 if text[at] == "\\" else 1
    return at + 1


def _end_of_directive(text: str, at: int) -> int:
    """The end of its last line: lines that end in a backslash, and comments, go on."""
    while at < len(text):
        if text.startswith("/*", at):
            at = text.index("*/", at) + 2
        elif text.startswith("\\\n", at):
            at += 2
        elif text[at] == "\n":
            return at
        else:
            at += 1
    return at


def _end_of_declaration(text: str, at: int) -> int:
    """After the semicolon, or after the brace that ends a function's body."""
    depth = 0
    body = False
    while at < len(text):
        if text.startswith("/*", at):
            at = text.index("*/", at) + 2
        elif text.startswith("//", at):
            at = text.index("\n", at)
        elif text[at] in "\"'":
            at = _skip_string(text, at)
        else:
            if text[at] in "{(":
                body = body or (text[at] == "{" and text[:at].rstrip().endswith(")"))
                depth += 1
            elif text[at] in "})":
                depth -= 1
                if depth == 0 and body and text[at] == "}":
                    return at + 1
            elif text[at] == ";" and depth == 0:
                return at + 1
            at += 1
    raise HeaderError("a declaration does not end")


_COMMENT = re.compile(r"/\*.*?\*/", re.DOTALL)


def _without_comments(text: str) -> tuple[str, str]:
    """The text, and the comments that were in it."""
    remarks = [plain_comment(found) for found in _COMMENT.findall(text)]
    return _COMMENT.sub("", text), " ".join(" ".join(remark.split()) for remark in remarks)


def _pieces(text: str) -> Iterator[Piece]:
    at = 0
    while at < len(text):
        if text[at].isspace():
            at += 1
            continue
        begin = at
        first_line = text.count("\n", 0, begin) + 1
        remark = ""
        if text.startswith("/*", at):
            kind, at = "comment", text.index("*/", at) + 2
            content = text[begin:at]
        elif text[at] == "#":
            kind, at = "directive", _end_of_directive(text, at)
            content, remark = _without_comments(text[begin:at].replace("\\\n", "\n"))
            content = " ".join(content.split())
            # The alignment of the backslashes is not part of a comment.
            remark = " ".join(remark.split())
        elif text.startswith('extern "C" {', at):
            kind, at = "directive", at + len('extern "C" {')
            content = text[begin:at]
        elif text[at] == "}":
            kind, at = "directive", at + 1
            content = "}"
        else:
            kind, at = "declaration", _end_of_declaration(text, at)
            # A comment in the line of its end is about it.
            rest = re.compile(r"[ \t]*(/\*.*?\*/)", re.DOTALL).match(text, at)
            content = text[begin:at]
            if rest:
                remark = plain_comment(rest.group(1))
                at = rest.end()
        yield Piece(kind, content, first_line, text.count("\n", 0, at) + 1, remark)


def sections(text: str) -> tuple[str, list[Section]]:
    """The comment at the top of the header, and its sections."""
    found = [Section("")]
    introduction = ""
    last_line = 0
    for piece in _pieces(text):
        if piece.kind == "comment" and not introduction:
            introduction = plain_comment(piece.text)
        elif rule := re.fullmatch(r"/\* -{5,} ?(.*) \*/", piece.text):
            found.append(Section(rule.group(1)))
        else:
            groups = found[-1].groups
            if not groups or piece.first_line > last_line + 1 or piece.kind == "comment":
                groups.append(Group(""))
            if piece.kind == "comment":
                groups[-1].comment = plain_comment(piece.text)
            else:
                groups[-1].pieces.append(piece)
        last_line = piece.last_line
    return introduction, found
