"""Writes the Rust crate's declarations from farlo.json.

usage: python3 -m bindings.rust_crate [--check]
       --check   write nothing; fail if the declarations are not what farlo.json says
"""

from __future__ import annotations

import json
import sys
import textwrap
from pathlib import Path
from typing import Any, Iterator

from bindings.describe import DESCRIPTION

DECLARATIONS = Path(__file__).parent / "rust/farlo-sys/src/declarations.rs"

SCALARS = {
    "char": "c_char",
    "void": "c_void",
    "wchar_t": "u16",
    "uint8_t": "u8",
    "uint16_t": "u16",
    "uint32_t": "u32",
    "uint64_t": "u64",
    "int32_t": "i32",
    "int64_t": "i64",
    "uintptr_t": "usize",
}
# Words of Rust that C may use as names.
KEYWORDS = {"type", "ref", "match", "move", "in", "box"}


def _name(name: str) -> str:
    return f"r#{name}" if name in KEYWORDS else name


def _doc(text: str, indent: str) -> str:
    """A doc comment; what begins with a mark of a list, or is code, keeps its lines."""
    lines: list[str] = []
    for paragraph in text.strip().split("\n\n"):
        lines += [""] if lines else []
        if paragraph.startswith("```"):
            lines += ["```text", *paragraph.splitlines()[1:]]
            continue
        for line in paragraph.splitlines():
            after = "  " if line.startswith("- ") else ""
            lines += textwrap.wrap(line, 96 - len(indent), subsequent_indent=after)
    return "".join(f"{indent}/// {line}".rstrip() + "\n" for line in lines)


def rust_type(found: dict[str, Any]) -> str:
    base: str = SCALARS.get(found["base"], found["base"])
    pointers: int = found["pointers"]
    if pointers == 0:
        return base
    first = "*const " if found["const"] else "*mut "
    return "*mut " * (pointers - 1) + first + base


class Declarations:
    def __init__(self, description: dict[str, Any]):
        self.it = description
        self.statuses = {each["name"]: each for each in description["statuses"]}

    def text(self) -> str:
        return (
            "// Made from farlo.json by bindings/rust_crate.py (./run bindings): change that.\n\n"
            "use std::os::raw::{c_char, c_void};\n\n"
            "/// The version of `farlo.h` that this was made from.\n"
            f'pub const VERSION: &str = "{self.it["version"]}";\n\n'
            + "\n".join(
                [
                    *self.handles(),
                    *self.callbacks(),
                    *self.constants(),
                    self.status_names(),
                    *self.records(),
                    self.functions(),
                    self.layouts(),
                ]
            )
        )

    def handles(self) -> Iterator[str]:
        for each in self.it["handles"]:
            yield (
                f"#[doc(hidden)]\n#[repr(C)]\n#[derive(Debug)]\npub struct {each['name']}_target {{\n"
                "    _private: [u8; 0],\n}\n"
                f"{_doc(each['text'], '')}pub type {each['name']} = *mut {each['name']}_target;\n"
            )

    def callbacks(self) -> Iterator[str]:
        for each in self.it["callbacks"]:
            yield (
                f"{_doc(each['text'], '')}"
                f"pub type {each['name']} = Option<unsafe extern \"system\" fn()>;\n"
            )

    def constants(self) -> Iterator[str]:
        for each in (*self.it["statuses"], *self.it["constants"]):
            said = each["text"] or each.get("group_text") or f"`{each['name']}`"
            number = f"{each['value']}" if each["value"] < 0x8000 else f"{each['value']:#x}"
            yield f"{_doc(said, '')}pub const {each['name']}: u32 = {number};\n"

    def status_names(self) -> str:
        arms = "".join(f'        {name} => "{name}",\n' for name in self.statuses)
        return (
            "/// The name of a status; `None` for one without.\n"
            "#[must_use]\n"
            "pub const fn status_name(status: u32) -> Option<&'static str> {\n"
            "    Some(match status {\n" + arms + "        _ => return None,\n    })\n}\n"
        )

    def records(self) -> Iterator[str]:
        for record in self.it["records"]:
            representation = "C, packed" if record["packed"] else "C"
            fields = ""
            for field in record["fields"]:
                kind = SCALARS[field["type"]]
                kind = f"[{kind}; {field['count']}]" if "count" in field else kind
                said = _doc(field["text"], "    ") if field["text"] else ""
                fields += f"{said}    pub {_name(field['name'])}: {kind},\n"
            yield (
                f"{_doc(record['text'], '')}"
                f"#[repr({representation})]\n#[derive(Clone, Copy, Debug)]\n"
                f"pub struct {record['name']} {{\n{fields}}}\n"
                f"\nimpl Default for {record['name']} {{\n"
                "    fn default() -> Self {\n"
                "        // SAFETY: numbers and arrays of numbers, for which zeros are valid.\n"
                "        unsafe { std::mem::zeroed() }\n    }\n}\n"
            )

    def functions(self) -> str:
        return "functions! {\n" + "\n".join(map(self.function, self.it["functions"])) + "}\n"

    def function(self, function: dict[str, Any]) -> str:
        arguments = [
            f"{_name(it['name'])}: {rust_type(it['type'])}" for it in function["arguments"]
        ]
        result = SCALARS[function["result"]["type"]]
        line = f"    fn {function['name']}({', '.join(arguments)}) -> {result};\n"
        if len(line) > 101:
            each = "".join(f"        {argument},\n" for argument in arguments)
            line = f"    fn {function['name']}(\n{each}    ) -> {result};\n"
        return _doc(self.documentation(function), "    ") + line

    def documentation(self, function: dict[str, Any]) -> str:
        parts = [function["text"]]
        said = [
            f"- `{it['name']}`: {_flat(it['text'])}" for it in function["arguments"] if it["text"]
        ]
        parts += ["\n".join(said)] if said else []
        if function["statuses"]:
            parts.append(f"Statuses: {', '.join(map(self.status, function['statuses']))}.")
        for source in function["passed_through"]:
            when = f" ({source['when']})" if source["when"] else ""
            parts.append(f"Passes through: {source['from']}{when}.")
        parts += function["status_notes"]
        return "\n\n".join([*parts, f"Blocks: {function['blocks']['text']}"])

    @staticmethod
    def status(status: dict[str, Any]) -> str:
        return f"`{status['name']}`" + (f" ({status['when']})" if status["when"] else "")

    def layouts(self) -> str:
        checks = ""
        for record in self.it["records"]:
            name = record["name"]
            checks += f"        size::<{name}>({record['size']});\n"
            for field in record["fields"]:
                at = f"{field['offset']}, {field['size']}"
                checks += f"        field!({name}, {_name(field['name'])}, {at});\n"
        return (
            "#[cfg(test)]\nmod layouts {\n    use super::*;\n    use crate::layout::*;\n\n"
            "    #[test]\n    fn agree_with_the_header() {\n" + checks + "    }\n}\n"
        )


def _flat(text: str) -> str:
    return " ".join(text.split())


def declarations() -> str:
    return Declarations(json.loads(DESCRIPTION.read_text(encoding="utf-8"))).text()


def main() -> int:
    text = declarations()
    if "--check" not in sys.argv[1:]:
        DECLARATIONS.write_text(text, encoding="utf-8")
    elif not DECLARATIONS.exists() or DECLARATIONS.read_text(encoding="utf-8") != text:
        print(f"{DECLARATIONS.name} is not what farlo.json says; ./run bindings writes it anew")
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
