"""Reads farlo.hpp: what it declares for its users, and the comments about that.

It knows the C++ of farlo.hpp, not all of C++: // comments before, or in the line of, what they
describe; sections under ruled lines; the namespace `detail` for what is not for users.
"""

from __future__ import annotations

import re
from dataclasses import dataclass, field
from pathlib import Path

from bindings.c_header import HeaderError

HEADER = Path(__file__).parents[1] / "clitools/farlo/api/farlo.hpp"


@dataclass
class Entity:
    # "class", "struct", "enum", "enumerator", "function", "variable" or "alias"; "title" for
    # a ruled line among the members of a class.
    kind: str
    name: str
    # Without a body, an initialiser list and a semicolon.
    declaration: str
    comment: str
    members: list[Entity] = field(default_factory=list)


@dataclass
class CppSection:
    title: str
    # Comments that are not about what follows them.
    about: list[str] = field(default_factory=list)
    entities: list[Entity] = field(default_factory=list)


@dataclass
class CppHeader:
    introduction: str
    sections: list[CppSection]


def _end_of_literal(text: str, at: int) -> int:
    quote = text[at]
    at += 1
    while text[at] != quote:
        at += 2 if text[at] == "\\" else 1
    return at + 1


def _skip(text: str, at: int, stop: str) -> int:
    """The place of the first of these characters outside of brackets, comments and literals."""
    depth = 0
    while at < len(text):
        letter = text[at]
        if text.startswith("//", at):
            at = text.index("\n", at)
            continue
        # A digit separator is no literal.
        if letter == '"' or (letter == "'" and not text[at - 1].isalnum()):
            at = _end_of_literal(text, at)
            continue
        if depth == 0 and letter in stop and text[at : at + 2] != "::" and text[at - 1] != ":":
            return at
        if letter in "({[":
            depth += 1
        elif letter in ")}]":
            depth -= 1
        at += 1
    raise HeaderError(f"nothing of {stop} follows")


def _end_of_block(text: str, at: int) -> int:
    """After the brace that closes the one here."""
    return _skip(text, at + 1, "}") + 1


def _comment_text(lines: list[str]) -> str:
    return "\n".join(re.sub(r"^\s*// ?", "", line).rstrip() for line in lines)


_COMMENT_LINES = re.compile(r"[ \t]*//[^\n]*(?:\n[ \t]*//[^\n]*)*")
_RULE = re.compile(r"// -{5,} ?(.*)")
_SCOPE = re.compile(
    r"(?:template <>\s*)?(?P<kind>class|struct|enum class|enum)\s+(?P<name>[\w:<>]+)"
    r"(?P<rest>[^{};()]*)(?P<end>[{;])"
)


def _end_of_template(text: str, at: int) -> int:
    """After "template <...>", if that is here."""
    if not text.startswith("template <", at):
        return at
    at = text.index("<", at)
    depth = 0
    while True:
        # What is in parentheses compares.
        if text[at] == "(":
            at = _skip(text, at + 1, ")")
        depth += (text[at] == "<") - (text[at] == ">")
        at += 1
        if depth == 0:
            return at


class _Reader:
    def __init__(self, text: str):
        self.text = text
        self.sections = [CppSection("")]

    def read(self) -> CppHeader:
        first = _COMMENT_LINES.match(self.text)
        introduction = _comment_text(first[0].splitlines()) if first else ""
        self.scope(first.end() if first else 0, len(self.text), None)
        return CppHeader(introduction, [it for it in self.sections if it.entities])

    def scope(self, at: int, end: int, into: list[Entity] | None) -> None:
        """Reads the declarations of a namespace, or of a class into its members."""
        comment = ""
        public = True
        while at < end:
            blank = re.compile(r"\s*").match(self.text, at)
            assert blank
            if blank[0].count("\n") > 1 and comment:
                self.free_comment(comment, into)
                comment = ""
            at = blank.end()
            if at >= end:
                break
            if self.text.startswith("//", at):
                lines = _COMMENT_LINES.match(self.text, at)
                assert lines
                at = lines.end()
                rule = _RULE.fullmatch(lines[0].strip())
                if rule and into is None:
                    self.sections.append(CppSection(rule[1]))
                elif rule and into is not None and public:
                    into.append(Entity("title", rule[1], "", ""))
                elif not lines[0].startswith("// namespace "):
                    comment = _comment_text(lines[0].splitlines())
                continue
            if self.text[at] == "#":
                at = self.end_of_directive(at)
                continue
            if label := re.compile(r"(public|private|protected):").match(self.text, at):
                public = label[1] == "public"
                at = label.end()
                continue
            if space := re.compile(r"namespace (\w+) \{").match(self.text, at):
                after = _end_of_block(self.text, space.end() - 1)
                if space[1] != "detail":
                    self.scope(space.end(), after - 1, into)
                at = after
                continue
            entity, at = self.entity(at, comment)
            if entity and public:
                (self.sections[-1].entities if into is None else into).append(entity)
            # A comment is about the declarations that follow it without an empty line.
            if re.compile(r"\s*\n\s*\n").match(self.text, at):
                comment = ""

    def free_comment(self, comment: str, into: list[Entity] | None) -> None:
        if into is None:
            self.sections[-1].about.append(comment)

    def end_of_directive(self, at: int) -> int:
        while self.text[at] != "\n":
            at += 2 if self.text.startswith("\\\n", at) else 1
        return at

    def entity(self, at: int, comment: str) -> tuple[Entity | None, int]:
        """A declaration, or None if it is not for users; and the place after it."""
        scope = _SCOPE.match(self.text, at)
        if scope and scope["end"] == ";":
            return None, scope.end()
        if scope:
            return self.class_or_enum(scope, comment)
        head_begin = _end_of_template(self.text, at)
        if operator := re.compile(r"[^;{(]*?\boperator[^\w\s(]+").match(self.text, head_begin):
            head_begin = operator.end()
        head_end = _skip(self.text, head_begin, ";{:=")
        head = self.text[at:head_end]
        is_function = "(" in re.sub(r"std::function<.*>", "", head)
        if is_function:
            after = self.end_of_function(head_end)
        else:
            after = _skip(self.text, head_end, ";") + 1
            head = self.text[at : after - 1]
        remark, after = self.trailing_comment(after)
        comment = remark or comment
        declaration = " ".join(head.split())
        whole = self.text[at:after]
        if re.match(r"friend |~|template <>", declaration) or re.search(r"= delete;", whole):
            return None, after
        return self.declared(declaration, comment, is_function), after

    def trailing_comment(self, at: int) -> tuple[str, int]:
        """The comment after a declaration, which goes on in lines below it; and its end."""
        first = re.compile(r"[ \t]*//([^\n]*)").match(self.text, at)
        if not first:
            return "", at
        words = [first[1]]
        end = first.end()
        column = first.start(1) - 2 - (self.text.rindex("\n", 0, at) + 1)
        while more := re.compile(rf"\n {{{column}}}//([^\n]*)").match(self.text, end):
            words.append(more[1])
            end = more.end()
        return " ".join(" ".join(words).split()), end

    def end_of_function(self, at: int) -> int:
        """After its semicolon, or its body. Before the body there may be initialisers."""
        if self.text[at] == "=":
            return _skip(self.text, at, ";") + 1
        while self.text[at] != ";":
            brace = self.text.index("{", at)
            is_initialiser = re.search(r"\w$", self.text[at:brace]) and ":" in self.text[at:brace]
            at = _end_of_block(self.text, brace)
            if not is_initialiser:
                return at
        return at + 1

    @staticmethod
    def declared(declaration: str, comment: str, is_function: bool) -> Entity:
        declaration = declaration.removeprefix("inline ")
        if is_function:
            plain = declaration[_end_of_template(declaration, 0) :]
            name = re.search(r"(operator\W+|\w+)\(", plain)
            if not name:
                raise HeaderError(f"what is this? {declaration}")
            return Entity("function", name[1], declaration, comment)
        if alias := re.match(r"using (\w+) = (.*)", declaration):
            return Entity("alias", alias[1], declaration.removeprefix("using "), comment)
        plain = re.sub(r"( = .*|\{.*)$", "", declaration)
        variable = re.search(r"(\w+)(\[\w*\])?$", plain)
        if not variable:
            raise HeaderError(f"what is this? {declaration}")
        return Entity("variable", variable[1], declaration, comment)

    def class_or_enum(self, scope: re.Match[str], comment: str) -> tuple[Entity | None, int]:
        after = _end_of_block(self.text, scope.end() - 1)
        body_end = after - 1
        after = _skip(self.text, after, ";") + 1
        if scope[0].startswith("template <>"):
            return None, after
        kind = "enum" if scope["kind"].startswith("enum") else scope["kind"]
        name, rest = scope["name"], " ".join(scope["rest"].split())
        found = Entity(kind, name, f"{name} {rest}".strip(), comment)
        if kind == "enum":
            found.members = self.enumerators(self.text[scope.end() : body_end])
        else:
            self.scope(scope.end(), body_end, found.members)
        return found, after

    @staticmethod
    def enumerators(body: str) -> list[Entity]:
        found = []
        for line in re.findall(r"^ *(\w+)( = [^,/]*)?,? *(?://(.*))?$", body, re.MULTILINE):
            name, value, remark = (part.strip() for part in line)
            found.append(Entity("enumerator", name, f"{name} {value}".strip(), remark))
        return found


def read_cpp_header(path: Path = HEADER) -> CppHeader:
    return _Reader(path.read_text(encoding="utf-8")).read()
