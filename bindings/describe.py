"""Writes what farlo.h declares and says as JSON, for generators of bindings: farlo.json. Its
schema is farlo.schema.json, which says what each member means.

usage: python3 -m bindings.describe [--check]
       --check   write nothing; fail if farlo.json is not what farlo.h says
"""

from __future__ import annotations

import json
import re
import sys
from pathlib import Path
from typing import Any

from bindings.comment_text import Block, Code, ItemList, Paragraph, Table, plain_text
from bindings.header import HEADER, read_header
from bindings.model import Argument, Constant, Function, Interface, Record, Type

DESCRIPTION = HEADER.with_suffix(".json")
SCHEMA = HEADER.with_name("farlo.schema.json")


def text_of(content: list[Block]) -> str:
    """Text with the marks of Markdown."""
    return "\n\n".join(_block(block) for block in content)


def _block(block: Block) -> str:
    if isinstance(block, Paragraph):
        return block.text
    if isinstance(block, Code):
        return f"```c\n{block.text}\n```"
    if isinstance(block, ItemList):
        return "\n".join(f"- {plain_text(item)}" for item in block.items)
    assert isinstance(block, Table)
    rows = [(f"{row.key} ({row.amount})" if row.amount else row.key, row) for row in block.rows]
    return "\n".join(f"- {key}: {plain_text(row.content)}" for key, row in rows)


def type_of(found: Type) -> dict[str, Any]:
    return {"c": str(found), "base": found.base, "const": found.const, "pointers": found.pointers}


def whole_if_possible(number: float) -> float | int:
    return int(number) if number == int(number) else number


def room(argument: Argument, constants: dict[str, Constant]) -> dict[str, Any] | None:
    """The size of a buffer, where it is always the same."""
    said = plain_text(argument.about)
    found = re.search(r"\b(FARLO_\w+_SIZE) (bytes|wide characters)", said)
    if not found or argument.type.pointers == 0:
        return None
    value = constants[found[1]].value
    return {"count": value, "unit": found[2].removeprefix("wide "), "constant": found[1]}


class Description:
    def __init__(self, interface: Interface):
        self.it = interface

    def all(self) -> dict[str, Any]:
        it = self.it
        return {
            "$schema": SCHEMA.name,
            "library": "farlo.dll",
            "version": it.version,
            "calling_convention": "win64",
            "rules": [{"title": rule.title, "text": text_of(rule.about)} for rule in it.rules],
            "handles": [
                {"name": each.name, "text": text_of(each.about)} for each in it.handles.values()
            ],
            "callbacks": [
                {"name": each.name, "result": "void", "arguments": [], "text": text_of(each.about)}
                for each in it.callbacks.values()
            ],
            "statuses": [
                {"name": each.name, "value": each.value, "text": each.meaning}
                for each in it.statuses.values()
            ],
            "constants": [self.constant(each) for each in it.constants.values()],
            "records": [self.record(each) for each in it.records.values()],
            "functions": [self.function(each) for each in it.functions.values()],
        }

    @staticmethod
    def constant(constant: Constant) -> dict[str, Any]:
        return {
            "name": constant.name,
            "value": constant.value,
            "type": "uint32_t" if constant.unsigned else "int",
            "section": constant.section,
            "text": constant.meaning,
            "group_text": text_of(constant.about),
        }

    @staticmethod
    def record(record: Record) -> dict[str, Any]:
        return {
            "name": record.name,
            "size": record.size,
            "packed": record.packed,
            "text": text_of(record.about),
            "fields": [
                {
                    "name": each.name,
                    "type": each.type.base,
                    **({"count": each.count} if each.count else {}),
                    "offset": each.offset,
                    "size": each.size,
                    "text": each.remark,
                }
                for each in record.fields
            ],
        }

    def function(self, function: Function) -> dict[str, Any]:
        assert function.blocking
        other = self.it.other_form(function)
        form = {"A": "narrow", "W": "wide"}[function.name[-1]] if other else "only"
        task = next(task for task, names in self.it.tasks.items() if function.name in names)
        return {
            "name": function.name,
            "form": form,
            **({"other_form": other.name} if other else {}),
            "task": task,
            "result": {"type": str(function.result), "is": self.result(function)},
            "arguments": [self.argument(each) for each in function.arguments],
            "summary": function.summary,
            "text": text_of(function.about),
            "statuses": [
                {"name": each.name, "value": each.value, "when": each.remark}
                for each in function.statuses
            ],
            "passed_through": [
                {"from": source, "when": when} for source, when in function.passed_through.items()
            ],
            "status_notes": function.status_notes,
            "blocks": {
                "text": function.blocking.text,
                "seconds": whole_if_possible(function.blocking.seconds),
                "unlimited": function.blocking.unlimited,
            },
            "lost_connection": function.lost_connection,
        }

    @staticmethod
    def result(function: Function) -> str:
        return "flag" if function.returns_flag else "status"

    def argument(self, argument: Argument) -> dict[str, Any]:
        found: dict[str, Any] = {"name": argument.name, "type": type_of(argument.type)}
        found["direction"] = argument.direction
        if argument.ownership:
            found["ownership"] = argument.ownership
        if argument.string:
            found["string"] = argument.string
        if argument.required:
            found["required"] = True
        if size := room(argument, self.it.constants):
            found["room"] = size
        found["text"] = text_of(argument.about)
        return found


def formatted(value: Any, indent: int = 0) -> str:
    """JSON in which what fits in a line is in one."""
    flat = json.dumps(value, ensure_ascii=False)
    if len(flat) + indent <= 100 or not isinstance(value, (dict, list)):
        return flat
    blanks = " " * (indent + 2)
    if isinstance(value, dict):
        parts = [
            f"{blanks}{json.dumps(name)}: {formatted(each, indent + 2)}"
            for name, each in value.items()
        ]
        return "{\n" + ",\n".join(parts) + "\n" + " " * indent + "}"
    parts = [blanks + formatted(each, indent + 2) for each in value]
    return "[\n" + ",\n".join(parts) + "\n" + " " * indent + "]"


def description(header: Path = HEADER) -> str:
    return formatted(Description(read_header(header)).all()) + "\n"


def main() -> int:
    text = description()
    if "--check" not in sys.argv[1:]:
        DESCRIPTION.write_text(text, encoding="utf-8")
    elif not DESCRIPTION.exists() or DESCRIPTION.read_text(encoding="utf-8") != text:
        print(f"{DESCRIPTION.name} is not what {HEADER.name} says; ./run bindings writes it anew")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
