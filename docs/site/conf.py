"""Sphinx's settings for the reference site (./run docs)."""

from __future__ import annotations

import re
import sys
from pathlib import Path
from typing import Any, Iterator

from docutils import nodes
from docutils.utils import new_document
from sphinx import addnodes
from sphinx.application import Sphinx
from sphinx.builders.html import StandaloneHTMLBuilder
from sphinx.domains.c import CDomain

TOP = Path(__file__).parents[2]
sys.path.insert(0, str(TOP))

from bindings.header import read_header  # noqa: E402

_interface = read_header()

project = "farlo"
version = release = _interface.version
html_title = f"farlo {version}"
extensions = ["myst_parser"]
myst_heading_anchors = 4
root_doc = "index"
highlight_language = "none"
primary_domain = "c"
add_function_parentheses = False
default_role = None
nitpicky = True
smartquotes = False
# The C library's types have no page.
nitpick_ignore_regex = [
    ("c:identifier", r"u?int(8|32|64|ptr)_t|size_t|wchar_t|farlo_module"),
    # Of the types in C++ declarations, only farlo.hpp's own have a page.
    ("cpp:identifier", ".*"),
]
suppress_warnings = ["myst.header"]

html_theme = "furo"
html_static_path = [str(Path(__file__).parent / "static")]
html_css_files = ["site.css"]
html_copy_source = False
html_show_sourcelink = False
html_show_sphinx = False
html_show_copyright = False
html_last_updated_fmt = None
html_theme_options = {"navigation_with_keys": True}
pygments_style = "friendly"
pygments_dark_style = "monokai"


def _xref_targets() -> dict[str, tuple[str, str]]:
    """The role and target of each name that a document may write as code."""
    it = _interface
    found = {name: ("func", name) for name in it.functions}
    for function in it.functions.values():
        if function.name == function.family or function.name.endswith("W"):
            found[function.family] = ("func", function.name)
    found |= {name: ("macro", name) for name in (*it.statuses, *it.constants)}
    found |= {name: ("struct", name) for name in it.records}
    return found | {name: ("type", name) for name in (*it.handles, *it.callbacks)}


_TARGETS = _xref_targets()


def link_code(app: Sphinx, document: nodes.document) -> None:
    """Makes code in a document a link, if it is the name of something with a page."""
    docname = app.env.docname
    if docname.startswith(("api/", "cpp/")):
        return
    for literal in list(document.findall(nodes.literal)):
        target = _TARGETS.get(literal.astext())
        if target and not isinstance(literal.parent, (nodes.reference, nodes.title)):
            xref = addnodes.pending_xref(
                "", refdomain="c", reftype=target[0], reftarget=target[1], refdoc=docname
            )
            literal.replace_self(xref)
            xref += literal


def break_parameters(app: Sphinx, document: nodes.document, docname: str) -> None:
    """One parameter in a line, as there is no room for all on a phone."""
    for parameters in document.findall(addnodes.desc_parameterlist):
        if len(parameters) > 1:
            parameters.child_text_separator = ',<br class="parameter">'


def break_names(app: Sphinx, document: nodes.document, docname: str) -> None:
    """Long names in tables may be broken after the marks in them: columns are narrow on a
    phone."""
    for cell in document.findall(nodes.entry):
        for literal in cell.findall(nodes.literal):
            parts = re.split(r"(?<=[/\\_.])(?=\w)", literal.astext())
            literal.clear()
            for n, part in enumerate(parts):
                literal += [nodes.raw("", "<wbr>", format="html")] if n else []
                literal += nodes.Text(part)


class Domain(CDomain):
    """C without an entry of its own, in the index and the search, for each parameter."""

    def get_objects(self) -> Iterator[tuple[str, str, str, str, str, int]]:
        return (each for each in super().get_objects() if each[2] != "functionParam")


def index_wide_forms(app: Sphinx) -> None:
    """A search for words finds a narrow form's page by its name only: what it says is also on
    the page of the wide form."""
    builder = app.builder
    if not isinstance(builder, StandaloneHTMLBuilder):
        return
    index_page = builder.index_page

    def index_name(pagename: str, doctree: nodes.document, title: str) -> None:
        function = _interface.functions.get(pagename.removeprefix("api/"))
        narrow = function and function.name.endswith("A") and _interface.other_form(function)
        index_page(pagename, new_document("") if narrow else doctree, title)

    setattr(builder, "index_page", index_name)


def setup(app: Sphinx) -> dict[str, Any]:
    app.add_domain(Domain, override=True)
    app.connect("builder-inited", index_wide_forms)
    app.connect("doctree-read", link_code)
    app.connect("doctree-resolved", break_parameters)
    app.connect("doctree-resolved", break_names)
    return {"parallel_read_safe": True, "parallel_write_safe": True}
