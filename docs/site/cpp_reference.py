"""Writes the reference pages of the C++ layer, from farlo.hpp."""

from __future__ import annotations

import re
from typing import Iterator

from bindings.comment_text import Paragraph, blocks
from bindings.cpp_header import CppHeader, CppSection, Entity
from bindings.model import Interface
from docs.site.rst import Writer, heading, indented, slug

TITLE = re.compile(r"([A-Z][A-Z ]+[A-Z])\. ")
DIRECTIVES = {
    "class": "class",
    "struct": "struct",
    "enum": "enum-class",
    "enumerator": "enumerator",
    "function": "function",
    "variable": "member",
    "alias": "type",
}


def _named(entities: list[Entity], scope: str) -> Iterator[tuple[str, Entity]]:
    """Each entity below these, with its qualified name."""
    for entity in entities:
        if entity.kind != "title":
            name = f"{scope}::{entity.name}"
            yield name, entity
            yield from _named(entity.members, name)


class CppReference:
    def __init__(self, interface: Interface, header: CppHeader):
        self.header = header
        self.write = Writer(interface, language="cpp")
        self.entities = [
            found for section in header.sections for found in _named(section.entities, "farlo")
        ]
        self.rules = {
            titled[1]: slug(titled[1])
            for block in blocks(header.introduction)
            if isinstance(block, Paragraph) and (titled := TITLE.match(block.text))
        }
        for title in [each for each in self.write.roles if each.isupper() and "FARLO" not in each]:
            del self.write.roles[title]
        for title, place in self.rules.items():
            self.write.roles[title] = f":ref:`{title} <cpp-{place}>`"
        for name, entity in self.entities:
            # Words that are also English ones only name something after a class's name.
            short = name.removeprefix("farlo::")
            role = "func" if entity.kind == "function" else "any"
            if entity.kind == "enumerator":
                self.write.roles[short] = f":cpp:enumerator:`{short} <{name}>`"
            if entity.kind in ("class", "struct", "enum", "function") and "operator" not in name:
                if re.search(r"[a-z][A-Z]|_|::", short):
                    self.write.roles.setdefault(short, f":cpp:{role}:`{short} <{name}>`")
                if "_" in entity.name:
                    self.write.roles.setdefault(
                        entity.name, f":cpp:{role}:`{entity.name} <{name}>`"
                    )

    def calls(self) -> dict[str, list[str]]:
        """For each function of farlo.h, those of the C++ layer that name it as the one that they
        call."""
        found: dict[str, list[str]] = {}
        for name, entity in self.entities:
            if entity.kind == "function":
                for called in re.findall(r"\b[A-Z]\w+\b", entity.comment):
                    found.setdefault(called, []).append(name)
        return found

    def pages(self) -> Iterator[tuple[str, str]]:
        yield "cpp/index", self.index()
        for section in self.header.sections:
            yield f"cpp/{slug(section.title)}", self.section(section)

    def index(self) -> str:
        text = heading("C++", "=")
        for block in blocks(self.header.introduction):
            if isinstance(block, Paragraph):
                if titled := TITLE.match(block.text):
                    text += f".. _cpp-{slug(titled[1])}:\n\n"
                    text += heading(titled[1].capitalize(), "-")
                    block = Paragraph(block.text[titled.end() :])
                block = Paragraph(block.text.replace("farlo.hpp - ", "farlo.hpp: "))
            text += self.write.blocks([block])
        text += heading("What it declares", "-")
        text += ".. toctree::\n   :maxdepth: 1\n\n"
        return text + "".join(f"   {slug(section.title)}\n" for section in self.header.sections)

    def section(self, section: CppSection) -> str:
        title = section.title[0].upper() + section.title[1:]
        text = heading(title, "=") + ".. cpp:namespace:: farlo\n\n"
        for comment in section.about:
            text += self.write.blocks(blocks(comment))
        return text + "".join(self.entity(each) for each in section.entities)

    def entity(self, entity: Entity) -> str:
        if entity.kind == "title":
            return f".. rubric:: {entity.name[0].upper()}{entity.name[1:]}\n\n"
        # Sphinx reads no wide strings.
        declaration = re.sub(r'\bL(?=")', "", entity.declaration)
        text = f".. cpp:{DIRECTIVES[entity.kind]}:: {declaration}\n\n"
        text += indented(self.write.blocks(blocks(entity.comment)))
        return text + indented("".join(self.entity(member) for member in entity.members))
