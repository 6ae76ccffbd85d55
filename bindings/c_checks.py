"""Writes a C source that only compiles if farlo.json and farlo.h agree: about the type of each
function, the size, the offset and the type of each field, and the value of each constant.

usage: python3 -m bindings.c_checks DESCRIPTION SOURCE
"""

from __future__ import annotations

import json
import sys
from pathlib import Path
from typing import Any, Iterator


def _assert(condition: str, name: str) -> str:
    return f'_Static_assert({condition}, "{name}");\n'


def _has_type(expression: str, type_name: str) -> str:
    return f"_Generic({expression}, {type_name}: 1, default: 0)"


def _function(function: dict[str, Any]) -> Iterator[str]:
    arguments = ", ".join(each["type"]["c"] for each in function["arguments"]) or "void"
    pointer = f"{function['result']['type']} (*)({arguments})"
    yield _assert(_has_type(f"&{function['name']}", pointer), function["name"])


def _record(record: dict[str, Any]) -> Iterator[str]:
    name = record["name"]
    yield _assert(f"sizeof({name}) == {record['size']}", name)
    if record["packed"]:
        yield _assert(f"_Alignof({name}) == 1", f"{name} is packed")
    for field in record["fields"]:
        full = f"{name}.{field['name']}"
        value = f"(({name}*)0)->{field['name']}"
        yield _assert(f"offsetof({name}, {field['name']}) == {field['offset']}", full)
        yield _assert(f"sizeof({value}) == {field['size']}", full)
        count = field.get("count")
        pointer = f"{field['type']} (*)[{count}]" if count else f"{field['type']}*"
        yield _assert(_has_type(f"&{value}", pointer), full)
    # No field of the header is missing.
    end = max(each["offset"] + each["size"] for each in record["fields"])
    if end != record["size"] or sum(each["size"] for each in record["fields"]) != end:
        raise ValueError(f"{name}: its fields do not fill it")


def source(description: dict[str, Any]) -> str:
    lines = [
        "/* Made by bindings/c_checks.py. */\n",
        '#include "farlo.h"\n\n',
        "#include <stddef.h>\n\n",
    ]
    for function in description["functions"]:
        lines += _function(function)
    for record in description["records"]:
        lines += _record(record)
    for constant in description["statuses"]:
        lines.append(_assert(f"{constant['name']} == {constant['value']}u", constant["name"]))
        lines.append(_assert(_has_type(constant["name"], "uint32_t"), constant["name"]))
    for constant in description["constants"]:
        lines.append(_assert(f"{constant['name']} == {constant['value']}", constant["name"]))
        lines.append(_assert(_has_type(constant["name"], constant["type"]), constant["name"]))
    return "".join(lines)


if __name__ == "__main__":
    with open(sys.argv[1], encoding="utf-8") as file:
        Path(sys.argv[2]).write_text(source(json.load(file)), encoding="utf-8")
