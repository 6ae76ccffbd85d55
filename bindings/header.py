"""Reads farlo.h: its functions, records, statuses and constants, and what it says about them.

What cannot be understood is an error, not an omission.
"""

from __future__ import annotations

import re
from dataclasses import replace
from pathlib import Path

from bindings.c_header import Group, HeaderError, Piece, Section, plain_comment, sections
from bindings.comment_text import Block, Paragraph, Row, Table, blocks, plain_text, sentences
from bindings.model import (
    SCALARS,
    Argument,
    Callback,
    Constant,
    Field,
    Function,
    Handle,
    Helper,
    Interface,
    Record,
    Rule,
    Type,
)
from bindings.wording import (
    BlockingReader,
    Labelled,
    StatusReader,
    direction,
    labelled,
    lost_connection,
    ownership,
    take_returns,
)

HEADER = Path(__file__).parents[1] / "clitools/farlo/api/farlo.h"

_PROTOTYPE = re.compile(r"(?:FARLO_API\s+)?(\w+)\s+(\w+)\s*\(([^()]*)\);", re.DOTALL)
_CALLBACK = re.compile(r"typedef void \(\*(\w+)\)\(void\);")
_HANDLE = re.compile(r"typedef struct \w+\* ?(\w+);")
_POINTER_TYPE = re.compile(r"typedef \w+ \(\*(\w+)_fn\)\(.*\);", re.DOTALL)
_STRUCT = re.compile(r"typedef struct (\w+) \{(.*)\} \1;", re.DOTALL)
_FUNCTION_TABLE = re.compile(r"struct (farlo_api) \{")
_FIELD = re.compile(
    r"\s*(?P<before>(?:/\*.*?\*/\s*)*)(?P<type>\w+) (?P<name>\w+)(?:\[(?P<count>\d+)\])?;"
    r"[ \t]*(?P<after>/\*.*?\*/)?",
    re.DOTALL,
)
_CONSTANT = re.compile(r"#define (\w+) (0x[\dA-Fa-f]+|\d+)(u?)")
_IGNORED_DIRECTIVES = ("#if", "#el", "#endif", "#include", 'extern "C"', "}")
# What declares nothing of the interface's own.
_IGNORED_DECLARATIONS = (
    "FARLO_STATIC_ASSERT",
    "FARLO_FIELD_AT",
    "struct HINSTANCE__;",
    "typedef void* farlo_module;",
    "typedef struct HINSTANCE__* farlo_module;",
    "typedef intptr_t(__stdcall* farlo_proc)(void);",
    "__declspec(dllimport) farlo_proc __stdcall GetProcAddress(",
)


def parse_type(text: str) -> Type:
    words = text.replace("*", " * ").split()
    base = [word for word in words if word not in ("const", "*", "struct")]
    if len(base) != 1 or (words.count("const") and words[0] != "const"):
        raise HeaderError(f"not a type that is known here: {text}")
    return Type(base[0], "const" in words, words.count("*"))


def _normalised(text: str) -> str:
    text = re.sub(r"\s+", " ", text.removeprefix("static inline ")).strip()
    return re.sub(r"\( ", "(", text)


def _comment_words(text: str) -> str:
    comments = re.findall(r"/\*.*?\*/", text, re.DOTALL)
    return " ".join(" ".join(plain_comment(each) for each in comments).split())


def _record(name: str, body: str, packed: bool, about: list[Block]) -> Record:
    fields: list[Field] = []
    size = at = 0
    alignment = 1
    # A comment in lines of its own is about all fields until the next comment.
    shared = ""
    body = body.rstrip()
    while at < len(body):
        found = _FIELD.match(body, at)
        if not found or found["type"] not in SCALARS:
            raise HeaderError(f"{name}: not a field that is known here: {body[at:].strip()[:60]}")
        at = found.end()
        unit = 1 if packed else SCALARS[found["type"]]
        size += -size % unit
        alignment = max(alignment, unit)
        own = _comment_words(found["after"] or "")
        shared = "" if own else _comment_words(found["before"]) or shared
        count = int(found["count"] or 0)
        fields.append(Field(found["name"], Type(found["type"]), count, size, own or shared))
        size += fields[-1].size
    return Record(name, size + -size % alignment, packed, fields, about)


class _Reader:
    def __init__(self, text: str):
        introduction, self.sections = sections(text)
        self.interface = Interface()
        self.packed = False
        # By the functions' names, as they are read.
        self.comments: dict[str, Labelled] = {}
        self.prototypes: dict[str, str] = {}
        self.pointer_types: dict[str, str] = {}
        self.status_words: dict[str, str] = {}
        self.read_introduction(blocks(introduction))

    def read(self) -> Interface:
        it = self.interface
        for section in self.sections:
            previous: Labelled | None = None
            for group in section.groups:
                previous = self.read_group(section, group, previous)
        for name, status in it.statuses.items():
            status.words = self.status_words.get(name, "")
        StatusReader(it, self.comments).read_all()
        blocking = BlockingReader(it, self.comments)
        for function in it.functions.values():
            function.blocking = blocking.read(function)
            function.lost_connection = lost_connection(it, function)
        self.check()
        return it

    # ---- the first comment

    def read_introduction(self, content: list[Block]) -> None:
        it = self.interface
        part = it.introduction
        for block in content[1:]:
            if isinstance(block, Table) and not it.tasks:
                it.tasks = {row.key: self.indexed(plain_text(row.content)) for row in block.rows}
            elif not (isinstance(block, Paragraph) and block.text.startswith("FUNCTIONS BY TASK")):
                part = self.add_rule_part(block, part)

    def add_rule_part(self, block: Block, part: list[Block]) -> list[Block]:
        """The part that the next block belongs to: a title begins another one."""
        text = block.text if isinstance(block, Paragraph) else ""
        if title := re.match(r"([A-Z][A-Z ]+[A-Z])(?:\.| (?=are written)) ?", text):
            words = title[1].capitalize()
            text = text[title.end() :]
            block = Paragraph(text if title[0].rstrip().endswith(".") else f"{words} {text}")
            part = []
            self.interface.rules.append(Rule(words, part))
        part.append(block)
        return part

    @staticmethod
    def indexed(text: str) -> list[str]:
        names = []
        for name in text.split(", "):
            family = name.removesuffix("A/W")
            names += [family + "A", family + "W"] if name != family else [name]
        return names

    # ---- declarations

    def read_group(
        self, section: Section, group: Group, previous: Labelled | None
    ) -> Labelled | None:
        it = self.interface
        about = blocks(group.comment)
        prototypes = []
        for piece in group.pieces:
            if piece.kind == "directive":
                self.read_directive(section, about, piece)
            elif found := _POINTER_TYPE.fullmatch(piece.text):
                self.pointer_types[found[1]] = _normalised(piece.text)
            elif found := _PROTOTYPE.fullmatch(piece.text):
                prototypes.append(found)
            elif found := _HANDLE.fullmatch(piece.text):
                it.handles[found[1]] = Handle(found[1], about)
            elif found := _CALLBACK.fullmatch(piece.text):
                it.callbacks[found[1]] = Callback(found[1], about)
            elif found := _STRUCT.fullmatch(piece.text):
                it.records[found[1]] = _record(found[1], found[2], self.packed, about)
            elif found := _FUNCTION_TABLE.match(piece.text):
                it.helpers[found[1]] = Helper(found[1], f"struct {found[1]}", about)
            elif piece.text.startswith("static inline "):
                self.add_helper(piece.text[: piece.text.index("{")], about)
            elif not piece.text.startswith(_IGNORED_DECLARATIONS):
                raise HeaderError(f"line {piece.first_line}: what is this? {piece.text[:60]}")
        if section.title == "records" and all(each.kind == "directive" for each in group.pieces):
            it.records_about = it.records_about or about
        if section.title == "record helpers" and not group.pieces:
            it.helpers_about += about
        if prototypes:
            previous = self.add_functions(section, about, prototypes, previous)
        return previous

    def read_directive(self, section: Section, about: list[Block], piece: Piece) -> None:
        it = self.interface
        if piece.text.startswith("#pragma pack("):
            self.packed = "push" in piece.text
        elif constant := _CONSTANT.fullmatch(piece.text):
            name, literal, suffix = constant.groups()
            found = Constant(name, literal, bool(suffix), section.title, about, piece.remark)
            if name.startswith("FARLO_VERSION_"):
                it.version += ("." if it.version else "") + literal
            elif section.title == "statuses":
                it.statuses[name] = found
            else:
                it.constants[name] = found
        elif undefined := re.match(r"#undef (\w+)", piece.text):
            it.helpers.pop(undefined[1], None)
        elif piece.text.startswith("#define FARLO_STATUSES("):
            self.status_words = dict(re.findall(r'X\((\w+), "([^"]*)"\)', piece.text))
            self.add_helper("FARLO_STATUSES(X)", about)
        elif macro := re.match(r"#define (\w+(?:\([\w, ]*\))?) .*", piece.text):
            if about:
                self.add_helper(macro[1], about)
        elif not piece.text.startswith((*_IGNORED_DIRECTIVES, "#define")):
            raise HeaderError(f"line {piece.first_line}: what is this? {piece.text[:60]}")

    def add_helper(self, prototype: str, about: list[Block]) -> None:
        name = re.search(r"(\w+)\s*\(", prototype)
        if name and not plain_text(about).startswith("For the helpers below:"):
            self.interface.helpers[name[1]] = Helper(name[1], _normalised(prototype), about)

    def add_functions(
        self,
        section: Section,
        about: list[Block],
        prototypes: list[re.Match[str]],
        previous: Labelled | None,
    ) -> Labelled:
        comment = labelled(about)
        first = comment.about[0] if comment.about else None
        if isinstance(first, Paragraph) and first.text.startswith("The same. "):
            comment = self.same(comment, first, previous)
        if not comment.statuses:
            take_returns(comment)
        if not comment.statuses and not comment.returns:
            raise HeaderError(f"{prototypes[0][2]}: no statuses")
        rows, rest = self.argument_rows(comment.about, prototypes)
        first = rest[0] if rest else None
        if not isinstance(first, Paragraph):
            raise HeaderError(f"{prototypes[0][2]}: no description")
        summary = sentences(first.text)[0]
        for result, name, arguments in (each.groups() for each in prototypes):
            function = Function(
                name,
                section.title,
                parse_type(result),
                [self.argument(name, summary, each, rows) for each in self.split(arguments)],
                summary,
                rest,
                siblings=[each[2] for each in prototypes if each[2] != name],
            )
            if function.returns_flag:
                function.status_notes = [comment.returns]
            self.interface.functions[name] = function
            self.comments[name] = comment
            self.prototypes[name] = _normalised(f"typedef {result} (*{name}_fn)({arguments});")
        return comment

    @staticmethod
    def same(comment: Labelled, first: Paragraph, previous: Labelled | None) -> Labelled:
        """The comment of the functions before, with what this one adds."""
        if not previous:
            raise HeaderError(f"the same as what? {first.text}")
        note = Paragraph(first.text.removeprefix("The same. "))
        return replace(
            previous,
            about=[*previous.about, note, *comment.about[1:]],
            statuses=comment.statuses or previous.statuses,
            blocks=comment.blocks or previous.blocks,
        )

    @staticmethod
    def split(arguments: str) -> list[str]:
        return (
            [] if arguments.strip() == "void" else [each.strip() for each in arguments.split(",")]
        )

    def argument_rows(
        self, content: list[Block], prototypes: list[re.Match[str]]
    ) -> tuple[dict[str, Row], list[Block]]:
        """What the comment says about each argument, and the rest of it."""
        names = {re.split(r"\W", each)[-1] for it in prototypes for each in self.split(it[3])}
        rows: dict[str, Row] = {}
        rest: list[Block] = []
        for block in content:
            found = block.rows if isinstance(block, Table) else []
            if found and all(names.issuperset(row.key.split(", ")) for row in found):
                rows |= {name: row for row in found for name in row.key.split(", ")}
            else:
                rest.append(block)
        return rows, rest

    @staticmethod
    def argument(function: str, summary: str, declared: str, rows: dict[str, Row]) -> Argument:
        parts = re.fullmatch(r"(.*?)(\w+)", declared, re.DOTALL)
        if not parts:
            raise HeaderError(f"{function}: {declared}")
        row = rows.get(parts[2])
        about = row.content if row else []
        said = plain_text(about)
        parsed = parse_type(parts[1])
        way = direction(parsed, said)
        if not way:
            raise HeaderError(f'{function}: {parts[2]}: neither "receives" nor "in: ... out: ..."')
        owner = ownership(parsed, summary)
        required = bool(re.search(r"\brequired\b", said))
        return Argument(parts[2], parsed, way, owner, required, about)

    # ---- what is written twice

    def check(self) -> None:
        it = self.interface
        indexed = [name for names in it.tasks.values() for name in names]
        if sorted(it.functions) != sorted(indexed):
            raise HeaderError(f"the index differs: {sorted(set(it.functions) ^ set(indexed))}")
        if self.pointer_types != self.prototypes:
            differ = dict(self.pointer_types.items() ^ self.prototypes.items())
            raise HeaderError(f"the pointer types differ: {sorted(differ)}")


def read_header(path: Path = HEADER) -> Interface:
    return _Reader(path.read_text(encoding="utf-8")).read()
