"""Checks a folder of HTML pages: no link to a page, a place or a file that does not exist, a
title on each page, and a link from some page to each.

usage: python3 -m docs.site.check_links FOLDER
"""

from __future__ import annotations

import os
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

# What Sphinx makes beside the pages, for its own scripts.
NOT_PAGES = {"search.html", "genindex.html"}


class Page(HTMLParser):
    def __init__(self, text: str):
        super().__init__()
        self.links: set[str] = set()
        self.places: set[str] = set()
        self.title = ""
        self.for_phones = False
        self._in_title = False
        self.feed(text)

    def handle_starttag(self, tag: str, attrs: list[tuple[str, str | None]]) -> None:
        found = dict(attrs)
        for name in ("href", "src"):
            if link := found.get(name):
                self.links.add(link)
        for name in ("id", "name"):
            if place := found.get(name):
                self.places.add(place)
        self.for_phones |= found.get("name") == "viewport"
        # The title of the document; pictures have titles, too.
        self._in_title = tag == "title" and not self.title

    def handle_data(self, data: str) -> None:
        if self._in_title:
            self.title += data.strip()

    def handle_endtag(self, tag: str) -> None:
        self._in_title = False


def broken_links(folder: Path) -> list[str]:
    """A line for each fault."""
    pages = {
        path: Page(path.read_text(encoding="utf-8")) for path in sorted(folder.rglob("*.html"))
    }
    faults = [] if folder / "index.html" in pages else ["there is no index.html"]
    reached: set[Path] = set()
    for path, page in pages.items():
        name = path.relative_to(folder)
        if not page.title:
            faults.append(f"{name}: no title")
        if not page.for_phones:
            faults.append(f"{name}: not laid out for phones")
        for link in sorted(page.links):
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                continue
            target = path
            if parts.path:
                target = Path(os.path.normpath(path.parent / unquote(parts.path)))
            reached.add(target if target != path else Path())
            place = unquote(parts.fragment)
            if not target.is_file():
                faults.append(f"{name}: {link}: no such file")
            elif place and target in pages and place not in pages[target].places:
                faults.append(f"{name}: {link}: no such place")
    for path in pages:
        if path not in reached and path.name not in NOT_PAGES:
            faults.append(f"{path.relative_to(folder)}: no page links to it")
    return faults


if __name__ == "__main__":
    found = broken_links(Path(sys.argv[1]))
    print("\n".join(found) or "no broken link")
    sys.exit(1 if found else 0)
