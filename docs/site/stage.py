"""Makes the folder of sources that Sphinx turns into the reference site.

The project's Markdown files keep their places, so that their links hold; README.md becomes
the first page. The reference is written from farlo.h.

usage: python3 -m docs.site.stage FOLDER
"""

from __future__ import annotations

import os
import re
import sys
from pathlib import Path

from bindings import cpp_header
from bindings.c_header import HeaderError
from bindings.header import read_header
from docs.site.cpp_reference import CppReference
from docs.site.reference import Reference
from docs.site.rst import heading, indented

TOP = Path(__file__).parents[2]

# The order of the documents in the navigation. Others follow, each in its part.
GUIDES = ["agents", "lab", "configuration", "trace-log", "reliability", "glossary"]
LANGUAGES = {
    ".c": "c",
    ".h": "c",
    ".cpp": "cpp",
    ".hpp": "cpp",
    ".json": "json",
    ".txt": "cmake",
    ".md": "md",
}


class LinkError(Exception):
    """A document links to something that does not exist."""


# Folders without documents of the project. The pages in packaging/ are for the packages, and
# lead to files of them.
OTHER_FOLDERS = ("build", "packaging")


def documents() -> list[Path]:
    """All Markdown files of the project, relative to its folder."""
    found: list[Path] = []
    for folder, below, files in os.walk(TOP):
        here = Path(folder).relative_to(TOP)
        below[:] = sorted(
            name
            for name in below
            if not name.startswith(".") and not (here == Path() and name in OTHER_FOLDERS)
        )
        found += [here / name for name in sorted(files) if name.endswith(".md")]
    return found


def page_of(document: Path) -> str:
    return "index" if document == Path("README.md") else str(document.with_suffix(""))


_LINK = re.compile(r"(?<=\]\()(?!\w+:)([^)#\s]+)")
_FENCE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)


class Stage:
    def __init__(self, folder: Path):
        self.folder = folder
        self.written: set[Path] = set()
        # Sources that documents link to.
        self.sources: set[Path] = set()

    def write(self, name: str, text: str) -> None:
        path = self.folder / name
        self.written.add(path)
        # Sphinx only reads again what is newer than before.
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")

    def remove_others(self) -> None:
        for path in self.folder.rglob("*"):
            if path.is_file() and path not in self.written:
                path.unlink()

    # ---- documents

    def document(self, path: Path) -> None:
        text = (TOP / path).read_text(encoding="utf-8")
        parts = _FENCE.split(text)
        fences = _FENCE.findall(text)
        parts = [_LINK.sub(lambda link: self.link(path, link[1]), part) for part in parts]
        text = "".join(part + fence for part, fence in zip(parts, [*fences, ""]))
        if path == Path("docs/glossary.md"):
            text = glossary(text)
        if path == Path("README.md"):
            text += self.navigation()
        self.write(page_of(path) + ".md", text)

    def link(self, document: Path, target: str) -> str:
        """The link as it is among the pages."""
        path = Path(os.path.normpath(document.parent / target))
        if not (TOP / path).is_file() or path.is_absolute() or path.parts[0] == "..":
            raise LinkError(f"{document}: there is no file {target}")
        if path.suffix == ".md" and path.parts[0] not in OTHER_FOLDERS:
            path = Path(page_of(path) + ".md")
        elif path.name == "farlo.h":
            path = Path("api/index.rst")
        elif path.name == "farlo.hpp":
            path = Path("cpp/index.rst")
        else:
            self.sources.add(path)
            path = Path(f"source/{path}.rst")
        return os.path.relpath(path, document.parent)

    def source(self, path: Path) -> None:
        text = ":orphan:\n\n" + heading(str(path).replace("_", r"\_"), "=")
        language = LANGUAGES.get(path.suffix, "none")
        text += f".. code-block:: {language}\n   :linenos:\n\n"
        text += indented((TOP / path).read_text(encoding="utf-8"))
        self.write(f"source/{path}.rst", text)

    def navigation(self) -> str:
        pages = [page_of(path) for path in documents()]
        guides = [f"docs/{name}" for name in GUIDES if f"docs/{name}" in pages]
        lab = [page for page in pages if page.startswith("lab/")]
        examples = [page for page in pages if page.startswith(("examples", "bindings"))]
        last = {"CHANGELOG", "SECURITY", "THIRD-PARTY"}
        rest = [page for page in pages if page not in {"index", *guides, *lab, *examples}]
        rest.sort(key=lambda page: (page in last, page))
        at = guides.index("docs/lab") + 1
        guides[at:at] = lab
        reference = ["api/index", "api/rules", "api/statuses", "api/records", "api/constants"]
        reference += ["api/helpers"] + (["cpp/index"] if cpp_header.HEADER.exists() else [])
        reference += ["api/farlo-h", "genindex"]
        text = ""
        for caption, group in (
            ("Guides", guides),
            ("Reference", reference),
            ("Other languages and examples", examples),
            ("The project", rest),
        ):
            if group:
                listed = "".join(f"{page}\n" for page in group)
                text += f"\n```{{toctree}}\n:hidden:\n:caption: {caption}\n\n{listed}```\n"
        return text


def glossary(text: str) -> str:
    """The table of words as a glossary, whose words have places to link to."""
    rows = re.findall(r"^\| (?!word \|)(.*?) \| (.*) \|$", text, re.MULTILINE)
    before = text[: text.index("| word |")]
    entries = ""
    for words, meaning in rows:
        entries += "".join(f"{word}\n" for word in words.split(", ")) + f"  {meaning}\n\n"
    return f"{before}```{{glossary}}\n{entries}```\n"


def stage(folder: Path) -> None:
    found = Stage(folder)
    for path in documents():
        found.document(path)
    for path in sorted(found.sources):
        found.source(path)
    interface = read_header()
    calls: dict[str, list[str]] = {}
    if cpp_header.HEADER.exists():
        cpp = CppReference(interface, cpp_header.read_cpp_header())
        calls = cpp.calls()
        for name, text in cpp.pages():
            found.write(name + ".rst", text)
    for name, text in Reference(interface, calls).pages():
        found.write(name + ".rst", text)
    found.remove_others()


if __name__ == "__main__":
    try:
        stage(Path(sys.argv[1]))
    except (LinkError, HeaderError) as error:
        sys.exit(f"error: {error}")
