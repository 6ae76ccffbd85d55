"""What the comments of farlo.h say of a function: its statuses, how long it blocks, and what
happens to its arguments. CONTRIBUTING.md describes the wording that is understood."""

from __future__ import annotations

import re
from dataclasses import dataclass, field

from bindings.c_header import HeaderError
from bindings.comment_text import Block, Paragraph, Table, plain_text, sentences
from bindings.model import SCALARS, Blocking, Function, Interface, Status, Type

TOO_LONG = "a narrow string is too long, or cannot be widened"

_LABEL = re.compile(r"(?:^|(?<=\. ))(Statuses, Blocks|Statuses|Blocks)(?: of the ([AW]) form)?: ")
_STATUS = r"FARLO_[A-Z_]+"
# What the words of a list of statuses begin with, each followed by a remark about it.
_HEAD = re.compile(
    rf"(?P<status>\b{_STATUS}\b)"
    r"|(?P<number>(?<![\w.])\d+(?= \())"
    r"|(?:\bthose of |^as )(?P<functions>\w+(?:(?:, | and )(?!FARLO)[A-Z]\w+)*)"
    r"|(?P<source>\bthe (?:service|driver|command library)'s|\bthe system's error)"
    r"|\bof (?P<scope>\w+) also\b"
    r"|(?P<condition>when [\w ]+) also\b"
    rf"|\bwithout (?P<excluded>{_STATUS}(?:(?:, | and ){_STATUS})*)"
)


@dataclass
class Labelled:
    """A function's comment: what follows its labels, and the rest."""

    about: list[Block] = field(default_factory=list)
    # By the letter of the form that they are about; "" for both.
    statuses: dict[str, str] = field(default_factory=dict)
    blocks: str = ""
    # The paragraph that says what is returned, of a comment without "Statuses:".
    returns: str = ""


def labelled(content: list[Block]) -> Labelled:
    found = Labelled()
    for block in content:
        text = block.text if isinstance(block, Paragraph) else ""
        marks = list(_LABEL.finditer(text))
        if not marks:
            found.about.append(block)
            continue
        if before := text[: marks[0].start()].strip():
            found.about.append(Paragraph(before))
        for mark, following in zip(marks, [*marks[1:], None]):
            value = text[mark.end() : following.start() if following else None].strip()
            if mark[1] != "Blocks":
                found.statuses[mark[2] or ""] = value
            if mark[1] != "Statuses":
                found.blocks = value
    return found


def take_returns(comment: Labelled) -> None:
    """Moves the sentences that say what is returned from the description to where they
    belong."""
    for at, block in enumerate(comment.about):
        if isinstance(block, Paragraph):
            said = sentences(block.text)
            for n, sentence in enumerate(said):
                if re.match(r"Returns |The result is ", sentence):
                    comment.returns = " ".join(said[n:])
                    before: list[Block] = [Paragraph(" ".join(said[:n]))] if n else []
                    comment.about[at : at + 1] = before
                    return


def _top_level(text: str) -> str:
    """The text with blanks in place of what is in parentheses."""
    found = []
    depth = 0
    for letter in text:
        depth -= letter == ")"
        found.append(letter if depth == 0 else " ")
        depth += letter == "("
    return "".join(found)


def _remark(tail: str) -> str:
    """What the words after a status say about it."""
    tail = tail.strip()
    if tail.startswith("("):
        remark = tail[1 : _top_level(tail).index(")")]
        return "" if remark.isdigit() else remark
    if tail.startswith(":"):
        tail = tail[1:]
    elif not re.match(r"(when|if|only|also|once) ", tail):
        return ""
    else:
        tail = tail.partition(";")[0]
    return re.sub(r"(;|,|\.| and)+$", "", tail.strip()).strip()


class StatusReader:
    """Reads the statuses of all functions. Those that a function shares with another one are
    read first."""

    def __init__(self, interface: Interface, comments: dict[str, Labelled]):
        self.interface = interface
        self.comments = comments
        self.reading: list[str] = []

    def read_all(self) -> None:
        for function in self.interface.functions.values():
            self.read(function)

    def read(self, function: Function) -> None:
        if function.statuses or function.returns_flag or function.name in self.reading:
            return
        self.reading.append(function.name)
        found = _StatusList(self, function)
        found.add("FARLO_SUCCESS")
        comment = self.comments[function.name]
        text = comment.statuses.get("") or comment.statuses.get(function.name[-1])
        if comment.returns:
            found.read_list(comment.returns)
            found.notes.append(comment.returns)
        elif text:
            found.read(text)
        else:
            found.read_narrow_form(comment.statuses.get("W", ""))
        if takes_limited_strings(self.interface, function):
            known = found.found.get("FARLO_INVALID_ARGUMENT")
            # A GUID string is narrow in both forms, and is not widened.
            if not known or not re.search(r"(?<!GUID string is )too long", known.remark):
                found.included.discard("FARLO_INVALID_ARGUMENT")
                found.add("FARLO_INVALID_ARGUMENT", TOO_LONG)
        function.statuses = list(found.found.values())
        function.passed_through = found.sources
        function.status_notes = found.notes
        self.reading.pop()


class _StatusList:
    def __init__(self, reader: StatusReader, function: Function):
        self.reader = reader
        self.interface = reader.interface
        self.function = function
        self.found: dict[str, Status] = {}
        # Those whose remarks are another function's.
        self.included: set[str] = set()
        # With the condition under which they are passed through; "" for always.
        self.sources: dict[str, str] = {}
        self.notes: list[str] = []

    def add(self, name: str, remark: str = "") -> None:
        """Adds a status, or another remark to one that is known."""
        constant = self.interface.statuses.get(name)
        if not constant:
            return
        known = self.found.get(name)
        if not known:
            self.found[name] = Status(name, constant.value, remark)
        elif remark and name in self.included:
            known.remark = remark
        elif remark and remark not in known.remark:
            known.remark = "; ".join(filter(None, [known.remark, remark]))
        self.included.discard(name)

    def read(self, text: str) -> None:
        first, *notes = [
            each for each in sentences(text) if not each.startswith("The A form returns ")
        ]
        self.read_list(first)
        for note in notes:
            self.notes.append(note)
            for name in re.findall(_STATUS, note):
                if "counts as success" in note:
                    self.found.pop(name, None)
                else:
                    self.add(name)

    def read_narrow_form(self, text: str) -> None:
        """ "The A form returns A for all of them, and B for ..." """
        said = [each for each in sentences(text) if each.startswith("The A form returns ")]
        if not said:
            raise HeaderError(f"{self.function.name}: no statuses")
        for name, remark in re.findall(rf"({_STATUS}) for ([^.,]*)", said[0]):
            every = "every failure of the W form"
            self.add(name, every if remark == "all of them" else remark)

    def read_list(self, text: str) -> None:
        outside = _top_level(text)
        heads = list(_HEAD.finditer(outside))
        excluded: set[str] = set()
        condition = ""
        for head, following in zip(heads, [*heads[1:], None]):
            tail = text[head.end() : following.start() if following else None]
            if head["scope"]:
                if self.function not in self.interface.functions_of(head["scope"]):
                    break
            elif head["condition"]:
                condition = head["condition"]
            elif head["excluded"]:
                excluded |= set(re.findall(_STATUS, head["excluded"]))
            elif head["source"]:
                self.pass_through(head["source"], tail, condition)
            elif head["functions"]:
                when = "by name" if tail.startswith(" by name") else condition
                for name in re.split(r", | and ", head["functions"]):
                    self.include(name, when)
            else:
                name = head["status"] or self.name_of(int(head["number"]))
                self.add(name, _remark(tail) or condition)
        for name in excluded:
            self.found.pop(name, None)

    def name_of(self, value: int) -> str:
        for constant in self.interface.statuses.values():
            if constant.value == value:
                return constant.name
        raise HeaderError(f"{self.function.name}: {value} is not a status")

    def pass_through(self, source: str, tail: str, condition: str) -> None:
        """Statuses of others: "the system's error of opening the device (... when ...)"."""
        of = re.match(r" of [^();.]*[^(),;. ]", tail)
        source += of[0] if of else ""
        self.add_source(source, condition)
        for name in re.findall(_STATUS, tail):
            when = re.search(rf"\({name} ([^()]*)\)", tail)
            self.add(name, f"{source}, {when[1]}" if when else "")

    def add_source(self, source: str, condition: str) -> None:
        if source not in self.sources:
            self.sources[source] = condition
        elif condition and self.sources[source]:
            self.sources[source] += f"; {condition}"
        else:
            self.sources[source] = ""

    def include(self, name: str, condition: str) -> None:
        """The statuses of another function, of the same form if there is one."""
        others = self.interface.functions_of(name)
        if not others:
            raise HeaderError(f"{self.function.name}: there is no function {name}")
        same_form = [each for each in others if each.name[-1] == self.function.name[-1]]
        other = (same_form or others)[0]
        self.reader.read(other)
        for status in other.statuses:
            known = self.found.get(status.name)
            remark = status.remark.removesuffix(TOO_LONG).removesuffix("; ")
            # Without a remark it is returned whatever the condition.
            if status.remark == TOO_LONG or (known and not known.remark):
                continue
            self.add(status.name, ", ".join(filter(None, [condition, remark])))
            if not known and not condition:
                self.included.add(status.name)
        for source, own_condition in other.passed_through.items():
            self.add_source(source, condition or own_condition)


def takes_limited_strings(interface: Interface, function: Function) -> bool:
    """Whether it widens a string: an argument that its other form takes as a wide one."""
    other = interface.other_form(function)
    if not other or not function.name.endswith("A"):
        return False
    wide = {each.name for each in other.arguments if each.string == "wide" and each.type.const}
    return any(each.string == "narrow" and each.name in wide for each in function.arguments)


class BlockingReader:
    def __init__(self, interface: Interface, comments: dict[str, Labelled]):
        self.interface = interface
        self.comments = comments

    def read(self, function: Function) -> Blocking:
        if function.blocking:
            return function.blocking
        text = self.comments[function.name].blocks
        if not text:
            raise HeaderError(f"{function.name}: no Blocks:")
        if same := re.match(r"as (\w+)", text):
            function.blocking = self.read(self.other(function, same[1]))
            return function.blocking
        text = self.about(function, text)
        top = _top_level(text)
        amounts = re.findall(r"([\d.]+) s\b( more)?", top)
        unlimited = "without a limit" in text.lower()
        if waits := re.search(r"\bas (\w+)(?: does)?[;.]", text):
            unlimited = unlimited or self.read(self.other(function, waits[1])).unlimited
        if not amounts and not unlimited and "no pauses" not in text.lower():
            raise HeaderError(f"{function.name}: Blocks: {text}")
        most = max((float(each) for each, more in amounts if not more), default=0.0)
        most += max((float(each) for each, more in amounts if more), default=0.0)
        function.blocking = Blocking(text, most, unlimited)
        return function.blocking

    def other(self, function: Function, name: str) -> Function:
        others = self.interface.functions_of(name)
        if not others or function in others:
            raise HeaderError(f"{function.name}: Blocks: as {name}")
        return others[0]

    def about(self, function: Function, text: str) -> str:
        """The parts that are about this function: "Name 25 s; Other 30 s"."""
        parts = []
        for part in text.split("; "):
            name = re.match(r"(\w+) (?=\d|no )", part)
            named = self.interface.functions_of(name[1]) if name else []
            if not named:
                parts.append(part)
            elif name and function in named:
                parts.append(part[name.end() :])
        found = "; ".join(parts).rstrip(".") + "."
        return found[0].upper() + found[1:]


def lost_connection(interface: Interface, function: Function) -> str:
    """What LOST CONNECTIONS says about this function."""
    found = []
    for block in next((it.about for it in interface.rules if it.title == "Lost connections"), []):
        if isinstance(block, Table):
            for row in block.rows:
                if row.key == "the three Is... functions" and function.returns_flag:
                    found.append(plain_text(row.content).replace("their", "its"))
                elif _is_listed(row.key, function):
                    found.append(plain_text(row.content))
        elif isinstance(block, Paragraph):
            listed = re.match(r"A lookup that .*? returns (\w+), (.*?), from (.*)\.", block.text)
            if listed and _is_listed(listed[3], function):
                found.append(f"{listed[1]}, {listed[2]}, if a lookup fails because of it")
    known = {status.name for status in function.statuses}
    return "; ".join(each for each in found if known.issuperset(re.findall(_STATUS, each)))


def _is_listed(names: str, function: Function) -> bool:
    return bool({function.name, function.family} & set(re.findall(r"\w+", _top_level(names))))


def direction(parsed: Type, about: str) -> str:
    """What happens to the memory that an argument points to; "" if that is not said."""
    if parsed.pointers == 0 or parsed.const:
        return "in"
    if parsed.base == "opal_handle" or re.search(r"\bin: .*\bout: |\bas for \w+", about):
        return "in/out"
    if parsed.pointers == 2 or re.search(r"\b(receives?|room for)\b", about):
        return "out"
    return ""


def ownership(parsed: Type, summary: str) -> str:
    """What a function does with a handle, a callback or what a pointer points to."""
    if parsed.base == "opal_handle":
        if parsed.pointers:
            return "made"
        return "released" if re.search(r"\bfrees a handle\b", summary) else "borrowed"
    if parsed.pointers:
        return "borrowed"
    if parsed.base not in SCALARS:
        return "kept" if summary.startswith("Stores the callback") else "borrowed"
    return ""
