"""Writes reStructuredText: the text of farlo.h's comments, with links to what they name."""

from __future__ import annotations

import re
from typing import Iterable

from bindings.comment_text import Block, Code, ItemList, Paragraph
from bindings.model import Interface


def heading(text: str, mark: str) -> str:
    return f"{text}\n{mark * len(text)}\n\n"


def indented(text: str, by: int = 3) -> str:
    return "".join(" " * by + line if line.strip() else line for line in text.splitlines(True))


def escaped(text: str) -> str:
    return re.sub(r"([\\*`_|])", r"\\\1", text)


def slug(title: str) -> str:
    return re.sub(r"\W+", "-", title.lower()).strip("-")


_WORD = re.compile(r"`([^`]+)`|docs/([\w-]+)\.md|([A-Za-z_]\w+(?:::\w+)*)")


class Writer:
    """Writes text in which the names of the interface are links."""

    def __init__(self, interface: Interface, this_page: str = "", language: str = "c"):
        self.this_page = this_page
        # That of code in comments.
        self.language = language
        self.roles: dict[str, str] = {}
        for name, function in interface.functions.items():
            self.roles[name] = f":c:func:`{name}`"
            self.roles.setdefault(function.family, f":c:func:`{function.family} <{name}>`")
            if name.endswith("W"):
                self.roles[function.family] = f":c:func:`{function.family} <{name}>`"
        for name in (*interface.statuses, *interface.constants):
            self.roles[name] = f":c:macro:`{name}`"
        for name in interface.records:
            self.roles[name] = f":c:struct:`{name}`"
        for name in (*interface.handles, *interface.callbacks):
            self.roles[name] = f":c:type:`{name}`"
        for name, helper in interface.helpers.items():
            kind = "func" if helper.prototype.startswith(("uint", "int", "const")) else "macro"
            kind = "struct" if helper.prototype.startswith("struct") else kind
            self.roles[name] = f":c:{kind}:`{name}`"
        for name, constant in interface.constants.items():
            # "FARLO_ONLINE_" stands for all constants of its section that begin so.
            prefix = re.match(r"FARLO_[A-Z]+_(?:STATE_|STYLE_|TYPE_)?", name)
            if prefix:
                target = f"constants-{slug(constant.section)}"
                self.roles.setdefault(prefix[0], f":ref:`{prefix[0]} <{target}>`")
        for rule in interface.rules:
            title = rule.title.upper()
            self.roles[title] = f":ref:`{title} <rule-{slug(rule.title)}>`"

    def text(self, text: str) -> str:
        parts: list[str] = []
        at = 0
        for found in _WORD.finditer(text):
            role = self._role(found)
            if role:
                parts.append(escaped(text[at : found.start()]))
                # Markup ends and begins at blanks, which these are without showing.
                parts.append(rf"\ {role}\ ")
                at = found.end()
        return "".join([*parts, escaped(text[at:])]).replace("\\ \\ ", "\\ ").strip()

    def _role(self, found: re.Match[str]) -> str:
        code, document, word = found.groups()
        if code:
            return f"``{code}``"
        if document:
            return f":doc:`docs/{document}.md </docs/{document}>`"
        if word == self.this_page:
            return f"``{word}``"
        if word.endswith("_fn"):
            return f"``{word}``"
        return self.roles.get(word, "")

    def blocks(self, content: Iterable[Block]) -> str:
        return "".join(self._block(block) for block in content)

    def _block(self, block: Block) -> str:
        if isinstance(block, Paragraph):
            return self.text(block.text) + "\n\n"
        if isinstance(block, Code):
            return f".. code-block:: {self.language}\n\n" + indented(block.text) + "\n\n"
        if isinstance(block, ItemList):
            items = [indented(self.blocks(item), 2)[2:] for item in block.items]
            return "".join(f"- {item}" for item in items) + "\n"
        rows = []
        for row in block.rows:
            key = self.text(row.key) + (f" ({row.amount})" if row.amount else "")
            rows.append(f"{key}\n{indented(self.blocks(row.content))}")
        return "".join(rows)


def table(header: list[str], rows: list[list[str]], widths: list[int], css: str) -> str:
    """A table whose cells are reStructuredText; CSS stacks its cells on narrow screens."""
    text = ".. list-table::\n   :header-rows: 1\n"
    text += f"   :widths: {' '.join(map(str, widths))}\n   :class: {css}\n\n"
    for row in (header, *rows):
        for n, cell in enumerate(row):
            mark = "   * - " if n == 0 else "     - "
            text += mark + indented(cell.strip() or "\\", 7).strip() + "\n"
    return text + "\n"
