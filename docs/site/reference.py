"""Writes the reference pages from what farlo.h declares and says."""

from __future__ import annotations

from typing import Iterator

from bindings.comment_text import Block, Paragraph, sentences
from bindings.header import HEADER
from bindings.model import Argument, Blocking, Constant, Function, Interface, Record
from docs.site.rst import Writer, heading, indented, slug, table

DIRECTIONS = {"in": "in", "out": "out", "in/out": "in, out"}
SOURCES = {
    "the service's": "any status of the storage service, unchanged",
    "the driver's": "a status of the volume manager's driver, as one of these",
    "the command library's": "any status of the command library, unchanged",
}


def duration(blocking: Blocking) -> str:
    """In a few words: "up to 475 s"."""
    seconds = f"up to {blocking.seconds:g} s" if blocking.seconds else "no pauses"
    return f"{seconds}; may wait without a limit" if blocking.unlimited else seconds


def without_summary(function: Function) -> list[Block]:
    first = function.about[0]
    assert isinstance(first, Paragraph)
    rest = " ".join(sentences(first.text)[1:])
    return ([Paragraph(rest)] if rest else []) + function.about[1:]


class Reference:
    """The pages, by their names without an ending."""

    def __init__(self, interface: Interface, cpp_calls: dict[str, list[str]] | None = None):
        self.it = interface
        # For each function, those of the C++ layer that call it.
        self.cpp_calls = cpp_calls or {}
        self.write = Writer(interface)

    def pages(self) -> Iterator[tuple[str, str]]:
        yield "api/index", self.index()
        for task, names in self.it.tasks.items():
            yield f"api/{slug(task)}", self.task(task, names)
        for function in self.it.functions.values():
            yield f"api/{function.name}", self.function(function)
        yield "api/rules", self.rules()
        yield "api/statuses", self.statuses()
        yield "api/records", self.records()
        yield "api/constants", self.constants()
        yield "api/helpers", self.helpers()
        yield "api/farlo-h", self.source()

    # ---- lists

    def index(self) -> str:
        text = heading("Functions", "=") + self.write.blocks(self.it.introduction[:1])
        text += "The :doc:`rules <rules>` hold for all functions. They are declared in"
        text += " :doc:`farlo.h <farlo-h>`.\n\n"
        text += ".. toctree::\n   :hidden:\n\n"
        text += "".join(f"   {slug(task)}\n" for task in self.it.tasks) + "\n"
        for task, names in self.it.tasks.items():
            text += heading(task, "-") + self.list(names)
        return text

    def task(self, task: str, names: list[str]) -> str:
        text = heading(task, "=") + self.list(names)
        return text + ".. toctree::\n   :hidden:\n\n" + "".join(f"   {name}\n" for name in names)

    def list(self, names: list[str]) -> str:
        text = ""
        for name in names:
            function = self.it.functions[name]
            other = self.it.other_form(function)
            if other and names.index(other.name) < names.index(name):
                continue
            assert function.blocking
            text += ", ".join(f":c:func:`{each}`" for each in (name, other and other.name) if each)
            text += f"\n   {self.write.text(function.summary)}\n\n"
            text += f"   *Blocks:* {duration(function.blocking)}.\n\n"
        return text

    # ---- one function

    def function(self, function: Function) -> str:
        write = Writer(self.it, function.name)
        text = f".. meta::\n   :description: {function.name}: {function.summary}\n\n"
        other = self.it.other_form(function)
        text += heading(function.name, "=")
        text += write.text(function.summary) + "\n\n"
        declared = ", ".join(f"{each.type} {each.name}" for each in function.arguments) or "void"
        text += f".. c:function:: {function.result} {function.name}({declared})\n\n"
        if other and function.name.endswith("A"):
            text += f"The narrow form of :c:func:`{other.name}`. :ref:`rule-strings` says how its"
            text += " strings are widened, and how long they may be.\n\n"
        text += self.arguments(write, function)
        if rest := without_summary(function):
            text += heading("Description", "-") + write.blocks(rest)
        text += self.function_statuses(write, function)
        assert function.blocking
        text += heading("Blocks", "-")
        text += f"**{duration(function.blocking).capitalize()}.**\n\n"
        if function.blocking.text.lower() not in ("no pauses.", f"{duration(function.blocking)}."):
            text += write.text(function.blocking.text) + "\n\n"
        text += "The time that the service, a driver or a file takes to answer comes on top of it:"
        text += " see :ref:`rule-blocking`.\n\n"
        text += self.connection(write, function)
        return text + self.see_also(function)

    def arguments(self, write: Writer, function: Function) -> str:
        if not function.arguments:
            return ""
        text = heading("Arguments", "-")
        written: list[str] = []
        for each in function.arguments:
            if each.name in written:
                continue
            # Those that are described together.
            same = [it for it in function.arguments if each.about and it.about is each.about]
            names = [f"``{it.name}`` :sup:`{DIRECTIONS[it.direction]}`" for it in same or [each]]
            written += [it.name for it in same]
            text += ", ".join(names) + "\n"
            text += indented(self.argument(write, function, each))
        return text

    def argument(self, write: Writer, function: Function, argument: Argument) -> str:
        if argument.about:
            return write.blocks(argument.about)
        names = {each.name for each in function.arguments}
        if argument.type.base == "opal_handle":
            if argument.type.pointers:
                return "The address of the caller's handle.\n\n"
            return "A connection to the storage management service: :ref:`rule-handles`.\n\n"
        if argument.name in ("name", "guid") and {"name", "guid"} <= names:
            which = {"name": "name", "guid": "GUID string"}[argument.name]
            return f"The group's {which}, or NULL: :ref:`rule-naming-a-disk-group`.\n\n"
        return "See the description.\n\n"

    def function_statuses(self, write: Writer, function: Function) -> str:
        text = heading("Statuses", "-")
        if function.returns_flag:
            return text + "None: the result is a flag. " + self.notes(write, function)
        rows = []
        for status in function.statuses:
            meaning = status.remark or self.it.statuses[status.name].meaning
            literal = self.it.statuses[status.name].literal
            rows.append([f":c:macro:`{status.name}`", literal, write.text(meaning)])
        text += table(["Status", "Number", "When"], rows, [40, 15, 45], "statuses")
        if function.passed_through:
            sources = [self.source_of(*each) for each in function.passed_through.items()]
            text += write.text(f"Also {'; '.join(sources)}.") + "\n\n"
        text += self.notes(write, function)
        if not any("no memory" in status.remark for status in function.statuses):
            text += "If memory runs out: see :ref:`rule-results`.\n\n"
        return text

    @staticmethod
    def source_of(source: str, condition: str) -> str:
        words = SOURCES.get(source) or f"{source}, as Windows numbers it"
        return f"{words} ({condition})" if condition else words

    @staticmethod
    def notes(write: Writer, function: Function) -> str:
        return "".join(write.text(note) + "\n\n" for note in function.status_notes)

    def connection(self, write: Writer, function: Function) -> str:
        if not any(each.type.base == "opal_handle" for each in function.arguments):
            return ""
        text = heading("If the connection is lost during the call", "-")
        if function.lost_connection == "see there":
            return text + "See the description.\n\n"
        status = next((it for it in function.statuses if it.name == "FARLO_NOT_CONNECTED"), None)
        if function.lost_connection and (not status or status.remark):
            words = function.lost_connection
            text += write.text(f"{words[0].upper()}{words[1:]}.")
        elif function.lost_connection:
            text += write.text(f"FARLO_NOT_CONNECTED, except: {function.lost_connection}.")
        elif status:
            text += ":c:macro:`FARLO_NOT_CONNECTED`."
        return text + " See :ref:`rule-lost-connections`.\n\n"

    def see_also(self, function: Function) -> str:
        text = heading("See also", "-")
        other = self.it.other_form(function)
        names = [other.name] if other else []
        names += [name for name in function.siblings if name not in names]
        if names:
            text += "- " + ", ".join(f":c:func:`{name}`" for name in names) + "\n"
        task = next(task for task, names in self.it.tasks.items() if function.name in names)
        text += f"- :doc:`{slug(task)}`\n"
        if calls := self.cpp_calls.get(function.name):
            text += "- In C++: " + ", ".join(f":cpp:func:`{name}`" for name in calls) + "\n"
        return (
            text + f"- ``{function.name}_fn`` is the type of a pointer to it, for GetProcAddress.\n"
        )

    # ---- what is not about one function

    def rules(self) -> str:
        text = heading("Rules for all functions", "=")
        for rule in self.it.rules:
            text += f".. _rule-{slug(rule.title)}:\n\n" + heading(rule.title, "-")
            text += self.write.blocks(rule.about)
        return text

    def statuses(self) -> str:
        text = heading("Statuses", "=")
        text += "Statuses of the service and of the bus that are not listed here are passed"
        text += " through unchanged: :ref:`rule-results`.\n\n"
        rows = [
            [each.literal, f":c:macro:`{each.name}`", self.write.text(each.meaning)]
            for each in self.it.statuses.values()
        ]
        text += table(["Number", "Name", "Meaning"], rows, [15, 40, 45], "statuses")
        text += heading("Which functions return them", "-")
        for each in self.it.statuses.values():
            text += self.constant(each)
            users = [
                f":c:func:`{function.name}`"
                for function in self.it.functions.values()
                if any(status.name == each.name for status in function.statuses)
            ]
            if each.value == 0:
                text += "   Returned by every function that returns a status.\n\n"
            elif users:
                text += f"   Returned by {', '.join(users)}.\n\n"
            else:
                text += "   Returned by no function as it is.\n\n"
        return text

    def constant(self, constant: Constant) -> str:
        text = f".. c:macro:: {constant.name}\n\n"
        remark = self.write.text(constant.meaning)
        return text + f"   ``{constant.literal}``{': ' if remark else ''}{remark}\n\n"

    def constants(self) -> str:
        text = heading("Constants", "=")
        text += "The statuses are on :doc:`a page of their own <statuses>`.\n\n"
        section = ""
        about: list[Block] = []
        for each in self.it.constants.values():
            if each.section != section:
                section = each.section
                text += f".. _constants-{slug(section)}:\n\n" + heading(section.capitalize(), "-")
            if each.about != about:
                about = each.about
                text += self.write.blocks(about)
            text += self.constant(each)
        return text

    def records(self) -> str:
        text = heading("Records and types", "=")
        for handle in self.it.handles.values():
            text += heading(handle.name, "-") + f".. c:type:: {handle.name}\n\n"
            text += indented(self.write.blocks(handle.about))
        for callback in self.it.callbacks.values():
            text += heading(callback.name, "-") + f".. c:type:: void (*{callback.name})(void)\n\n"
            text += indented(self.write.blocks(callback.about))
        text += heading("Records", "-") + self.write.blocks(self.it.records_about)
        for record in self.it.records.values():
            text += heading(record.name, "-") + self.record(record)
        return text

    def record(self, record: Record) -> str:
        text = f".. c:struct:: {record.name}\n\n"
        text += indented(self.write.blocks(record.about))
        rows = []
        for each in record.fields:
            count = f"[{each.count}]" if each.count else ""
            rows.append(
                [
                    f"``{each.name}``",
                    f"``{each.type}{count}``",
                    str(each.offset),
                    str(each.size),
                    self.write.text(each.remark),
                ]
            )
        header = ["Field", "Type", "Offset", "Bytes", "Meaning"]
        body = table(header, rows, [20, 20, 10, 10, 40], "layout")
        packed = ", packed" if record.packed else ""
        body += f"{record.size} bytes{packed}.\n\n"
        users = [
            f":c:func:`{function.name}`"
            for function in self.it.functions.values()
            if any(each.type.base == record.name for each in function.arguments)
        ]
        if users:
            body += f"Filled by {', '.join(users)}.\n\n"
        return text + indented(body)

    def helpers(self) -> str:
        text = heading("Helpers", "=")
        text += "Inline functions and macros of ``farlo.h``; the DLL does not export them.\n\n"
        text += self.write.blocks(self.it.helpers_about)
        about: list[Block] = []
        for helper in self.it.helpers.values():
            # One comment may be about several, one after the other.
            about = helper.about or about
            kind, declared = "function", helper.prototype
            if declared.startswith("struct "):
                kind, declared = "struct", helper.name
            elif " " not in declared:
                kind = "macro"
            text += f".. c:{kind}:: {declared}\n\n" + indented(self.write.blocks(about))
        return text

    def source(self) -> str:
        text = heading("farlo.h", "=") + ".. code-block:: c\n   :linenos:\n\n"
        return text + indented(HEADER.read_text(encoding="utf-8"))
