"""What farlo.h declares and says: functions, records, statuses, constants."""

from __future__ import annotations

import re
from dataclasses import dataclass, field

from bindings.comment_text import Block

# Size and alignment in bytes; char and wchar_t are characters of strings.
SCALARS = {
    "char": 1,
    "uint8_t": 1,
    "wchar_t": 2,
    "uint16_t": 2,
    "int32_t": 4,
    "uint32_t": 4,
    "int64_t": 8,
    "uint64_t": 8,
    "uintptr_t": 8,
    "size_t": 8,
}


@dataclass
class Type:
    """A base type, or pointers to it. `const` is about what the first pointer points to."""

    base: str
    const: bool = False
    pointers: int = 0

    def __str__(self) -> str:
        return ("const " if self.const else "") + self.base + "*" * self.pointers


@dataclass
class Constant:
    name: str
    # As written, without a suffix.
    literal: str
    unsigned: bool
    section: str
    # What the comment before its group says, and the one in its line.
    about: list[Block]
    remark: str
    # Of a status: the words of FARLO_STATUSES.
    words: str = ""

    @property
    def value(self) -> int:
        return int(self.literal, 0)

    @property
    def meaning(self) -> str:
        return self.remark or self.words


@dataclass
class Field:
    name: str
    type: Type
    # Elements of an array; 0 for a single value.
    count: int
    offset: int
    remark: str

    @property
    def size(self) -> int:
        return SCALARS[self.type.base] * max(self.count, 1)


@dataclass
class Record:
    name: str
    size: int
    packed: bool
    fields: list[Field]
    about: list[Block]


@dataclass
class Argument:
    name: str
    type: Type
    # "in", "out" or "in/out": what happens to the memory that a pointer points to.
    direction: str
    # Of a handle, a callback or a pointer: "borrowed" for the call; "kept" beyond it; "made",
    # for the caller to release; "released" by the call. "" for a number.
    ownership: str
    required: bool
    about: list[Block]

    @property
    def string(self) -> str:
        """Whether it is a string, or the buffer of one: "narrow", "wide" or ""."""
        if self.type.pointers == 0:
            return ""
        return {"char": "narrow", "wchar_t": "wide"}.get(self.type.base, "")


@dataclass
class Status:
    name: str
    value: int
    # When this function returns it; "" if farlo.h only says so for all functions.
    remark: str = ""


@dataclass
class Blocking:
    text: str
    # The longest sum of pauses.
    seconds: float
    # Whether it may also wait without a limit.
    unlimited: bool


@dataclass
class Function:
    name: str
    section: str
    result: Type
    arguments: list[Argument]
    summary: str
    # Without the arguments, the statuses and the blocking time.
    about: list[Block]
    statuses: list[Status] = field(default_factory=list)
    # Whose statuses are passed through, in the header's words, and when; "" for always.
    passed_through: dict[str, str] = field(default_factory=dict)
    # Sentences after the list of statuses.
    status_notes: list[str] = field(default_factory=list)
    blocking: Blocking | None = None
    # What a connection that is lost during the call results in; "" if nothing else than for
    # all functions.
    lost_connection: str = ""
    # Functions that are described together with it.
    siblings: list[str] = field(default_factory=list)

    @property
    def family(self) -> str:
        return family_of(self.name)

    @property
    def returns_flag(self) -> bool:
        return self.result.base == "uint8_t"


@dataclass
class Handle:
    name: str
    about: list[Block]


@dataclass
class Callback:
    name: str
    about: list[Block]


@dataclass
class Helper:
    """An inline function of the header, a macro that takes arguments, or a struct of these."""

    name: str
    prototype: str
    about: list[Block]


@dataclass
class Rule:
    """A part of the header's first comment: what holds for all functions."""

    title: str
    about: list[Block]


@dataclass
class Interface:
    version: str = ""
    introduction: list[Block] = field(default_factory=list)
    rules: list[Rule] = field(default_factory=list)
    # The header's index: tasks and their functions.
    tasks: dict[str, list[str]] = field(default_factory=dict)
    functions: dict[str, Function] = field(default_factory=dict)
    records: dict[str, Record] = field(default_factory=dict)
    records_about: list[Block] = field(default_factory=list)
    statuses: dict[str, Constant] = field(default_factory=dict)
    constants: dict[str, Constant] = field(default_factory=dict)
    handles: dict[str, Handle] = field(default_factory=dict)
    callbacks: dict[str, Callback] = field(default_factory=dict)
    helpers: dict[str, Helper] = field(default_factory=dict)
    helpers_about: list[Block] = field(default_factory=list)

    def functions_of(self, name: str) -> list[Function]:
        """The function of this name, or all forms of this family."""
        if name in self.functions:
            return [self.functions[name]]
        return [each for each in self.functions.values() if each.family == name]

    def other_form(self, function: Function) -> Function | None:
        other = function.family + {"A": "W", "W": "A"}.get(function.name[-1], "")
        return self.functions.get(other) if other != function.name else None


def family_of(name: str) -> str:
    """The name without the letter of its form."""
    return re.sub(r"[AW]$", "", name)
