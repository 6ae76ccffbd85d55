"""What is read from farlo.h. The expectations are written by hand from its comments."""

import re
import unittest
from typing import Any

from bindings.c_header import HeaderError
from bindings.comment_text import plain_text
from bindings.header import HEADER, _Reader, read_header
from bindings.model import Interface

EXPORTS = HEADER.parents[3] / "tests/api/exports.inc"
MEASUREMENTS = EXPORTS.with_name("blocking_time_test.cpp")

COMMON = {"FARLO_SUCCESS", "FARLO_NULL_HANDLE", "FARLO_NOT_CONNECTED"}
SEARCH = {
    "FARLO_MISSING_ARGUMENT",
    "FARLO_EXCLUDED_TYPE",
    "FARLO_NO_CLUSTER_SERVICE",
    "FARLO_EXCEPTION",
}
TOO_LONG = "a narrow string is too long, or cannot be widened"


def read(text: str) -> Interface:
    return _Reader(text).read()


def measured_times() -> dict[str, float]:
    """For each function, the longest time in seconds that the tests of the library measure."""
    source = MEASUREMENTS.read_text(encoding="utf-8")
    search = re.search(r"constexpr std::uint64_t search_ms = ([\d']+);", source)
    assert search
    found: dict[str, float] = {}
    for name, terms in re.findall(r"""\{"(\w+)", ([\w'+ ]+),""", source):
        numbers = terms.replace("search_ms", search[1]).replace("'", "").split(" + ")
        found[name] = max(found.get(name, 0), sum(map(int, numbers)) / 1000)
    return found


def header_of(functions: str, statuses: str = "") -> str:
    """A small header: these declarations, and all that must be written twice."""
    declared = re.findall(r"^uint32_t (\w+)\(([^)]*)\);", functions, re.MULTILINE)
    index = ", ".join(name for name, _ in declared)
    types = "\n".join(f"typedef uint32_t (*{name}_fn)({given});" for name, given in declared)
    return (
        "/*\n * small.h\n *\n * FUNCTIONS BY TASK\n *\n"
        f" *   Do   {index}\n */\n"
        "/* ------------------------------ statuses */\n\n"
        "#define FARLO_SUCCESS 0u\n#define FARLO_NOT_FOUND 1u /* nothing there */\n"
        f"#define FARLO_BUSY 2u\n{statuses}\n"
        "/* ------------------------------ do */\n\n"
        f"{functions}\n\n"
        "/* ------------------------------ pointer types */\n\n"
        f"{types}\n"
    )


class FarloHeader(unittest.TestCase):
    interface: Interface

    @classmethod
    def setUpClass(cls) -> None:
        cls.interface = read_header()

    def statuses(self, name: str) -> dict[str, str]:
        return {each.name: each.remark for each in self.interface.functions[name].statuses}

    def names(self, name: str) -> set[str]:
        return set(self.statuses(name))

    def argument(self, function: str, name: str) -> Any:
        return next(it for it in self.interface.functions[function].arguments if it.name == name)

    def test_declares_every_export(self) -> None:
        exports = re.findall(r"(?m)^\w+\((\w+)\)", EXPORTS.read_text(encoding="utf-8"))
        self.assertEqual(len(exports), 87)
        self.assertEqual(sorted(self.interface.functions), sorted(exports))

    def test_describes_each_function(self) -> None:
        for function in self.interface.functions.values():
            with self.subTest(function.name):
                self.assertTrue(function.summary)
                assert function.blocking
                self.assertTrue(function.blocking.text)
                if not function.returns_flag:
                    self.assertEqual(function.statuses[0].name, "FARLO_SUCCESS")
                    self.assertTrue(len(function.statuses) > 1 or function.passed_through)

    def test_reads_a_plain_list_of_statuses(self) -> None:
        self.assertEqual(
            self.names("GetDgNameW"),
            COMMON
            | {
                "FARLO_MISSING_ARGUMENT",
                "FARLO_NOT_FOUND",
                "FARLO_EXCLUDED_TYPE",
                "FARLO_EXCEPTION",
            },
        )

    def test_adds_the_limit_of_narrow_strings_to_narrow_forms(self) -> None:
        self.assertEqual(self.names("GetDgGuidW"), COMMON | SEARCH)
        self.assertEqual(self.names("GetDgGuidA"), COMMON | SEARCH | {"FARLO_INVALID_ARGUMENT"})
        self.assertEqual(self.statuses("GetDgGuidA")["FARLO_INVALID_ARGUMENT"], TOO_LONG)
        self.assertEqual(
            self.statuses("OnlineDgExA")["FARLO_INVALID_ARGUMENT"],
            f"the GUID string is too long; {TOO_LONG}",
        )
        self.assertEqual(
            self.statuses("OnlineDgExW")["FARLO_INVALID_ARGUMENT"], "the GUID string is too long"
        )
        self.assertEqual(
            self.statuses("GetDiskTypeAndSignatureA")["FARLO_INVALID_ARGUMENT"],
            f"NULL; {TOO_LONG}",
        )
        self.assertEqual(
            self.statuses("DeportDgA")["FARLO_INVALID_ARGUMENT"],
            f"the GUID string is too long; {TOO_LONG}",
        )
        self.assertEqual(self.statuses("OnlineVolA"), self.statuses("OnlineVolW"))
        # The comment has the limit.
        self.assertEqual(
            self.statuses("OfflineVolumeA")["FARLO_INVALID_ARGUMENT"],
            "NULL, or a string that is too long",
        )
        # The narrow form is given no wide string.
        self.assertEqual(self.names("GetDgVolumeStatusA"), self.names("GetDgVolumeStatusW"))

    def test_includes_the_statuses_of_another_function(self) -> None:
        self.assertEqual(
            self.names("ImportDgW"),
            self.names("OnlineDgExW") - {"FARLO_ALREADY_IMPORTED", "FARLO_NOT_FOUND"},
        )
        self.assertEqual(self.names("DeportDgW"), self.names("OfflineDgW") | {"FARLO_NOT_FOUND"})
        self.assertEqual(
            self.statuses("GetVolumeInfo")["FARLO_VOLUME_NOT_FOUND"],
            "the group has no such volume",
        )
        self.assertEqual(
            self.names("GetFirstVolumesDiskIDW"),
            COMMON
            | {"FARLO_NOT_FOUND", "FARLO_EXCLUDED_TYPE", "FARLO_EXCEPTION"}
            | {"FARLO_INVALID_ARGUMENT", "FARLO_OUT_OF_MEMORY", "FARLO_PROVIDER_FAILED"},
        )

    def test_reads_statuses_of_one_function_of_several(self) -> None:
        self.assertEqual(
            self.names("GetDgStateExW"),
            COMMON | {"FARLO_MISSING_ARGUMENT", "FARLO_NOT_FOUND", "FARLO_EXCEPTION"},
        )
        self.assertEqual(
            self.names("GetDgStateW") - self.names("GetDgStateExW"),
            {
                "FARLO_NO_GUID_MEMORY",
                "FARLO_INVALID_ARGUMENT",
                "FARLO_DEVICE_SHARING_VIOLATION",
                "FARLO_DEVICE_FAILED",
                "FARLO_EXCLUDED_TYPE",
                "FARLO_NO_CLUSTER_SERVICE",
            },
        )
        self.assertEqual(self.statuses("GetDgStateW")["FARLO_EXCLUDED_TYPE"], "by name")

    def test_reads_the_statuses_of_one_form(self) -> None:
        self.assertEqual(
            self.names("GetDgVolumeGuidA"),
            {"FARLO_SUCCESS", "FARLO_NO_VOLUME_GUID", "FARLO_INVALID_ARGUMENT"},
        )
        self.assertIn("FARLO_VOLUME_NOT_FOUND", self.names("GetDgVolumeGuidW"))
        self.assertNotIn("FARLO_NO_VOLUME_GUID", self.names("GetDgVolumeGuidW"))

    def test_reads_conditions(self) -> None:
        found = self.statuses("GetDgReservationStatusW")
        self.assertEqual(found["FARLO_NULL_HANDLE"], "by name; when the service is asked")
        self.assertEqual(found["FARLO_EXCLUDED_TYPE"], "by name")
        self.assertEqual(found["FARLO_DEVICE_FAILED"], "")
        self.assertEqual(
            self.interface.functions["GetDgReservationStatusW"].passed_through,
            {"the service's": "by name; when the service is asked"},
        )

    def test_reads_whose_statuses_are_passed_through(self) -> None:
        sources = {
            name: list(self.interface.functions[name].passed_through)
            for name in ("OnlineVolW", "OfflineVolumeW", "RegisterForAlerts", "ReleaseDgW")
        }
        self.assertEqual(
            sources,
            {
                "OnlineVolW": ["the service's", "the system's error"],
                "OfflineVolumeW": ["the system's error of opening, flushing or dismounting"],
                "RegisterForAlerts": ["the command library's"],
                "ReleaseDgW": [],
            },
        )

    def test_reads_statuses_without_a_label(self) -> None:
        self.assertEqual(
            self.names("GetDgVolumeStatusW"),
            {
                "FARLO_SUCCESS",
                "FARLO_DEVICE_UNSUCCESSFUL",
                "FARLO_DEVICE_SHARING_VIOLATION",
                "FARLO_NOT_FOUND",
                "FARLO_MISSING_ARGUMENT",
                "FARLO_DEVICE_FAILED",
                "FARLO_INVALID_ARGUMENT",
                "FARLO_NOT_CONNECTED",
            },
        )
        self.assertEqual(self.names("IsVolumeClusterable"), set())

    def test_reads_a_status_that_is_written_as_a_number(self) -> None:
        self.assertEqual(
            self.statuses("GetDgDiskAvailabilityW")["FARLO_NOT_FOUND"],
            "the service's call failed, for any reason",
        )

    def test_does_not_list_a_status_that_counts_as_success(self) -> None:
        self.assertIn("FARLO_ALREADY_ONLINE", self.names("OnlineDgExW"))
        self.assertNotIn("FARLO_ALREADY_ONLINE", self.names("OnlineVolW"))

    def test_sums_up_blocking_times(self) -> None:
        expected = {
            "InitializeClusterW": (1.5, True),
            "UnInitializeClusterW": (0, True),
            "RegisterForAlerts": (0, False),
            "GetDgGuidW": (435, False),
            "OnlineDgW": (475, False),
            "DeportDgA": (475, False),
            "GetDgReservationStatusW": (550, False),
            "ReleaseDgW": (24, False),
            "GetDgStateW": (458, False),
            "GetDgStateExW": (25, False),
            "OnlineVolW": (111, True),
            "IsVolumeClusterable": (0, False),
            "GetDgDiskPropertiesW": (25, False),
        }
        found = {}
        for name in expected:
            blocking = self.interface.functions[name].blocking
            assert blocking
            found[name] = (blocking.seconds, blocking.unlimited)
        self.assertEqual(found, expected)

    def test_states_the_times_that_are_measured(self) -> None:
        longest = measured_times()
        # Connecting takes up to 1 s more than what is measured.
        longest["OnlineVolW"] += 1
        longest["InitializeClusterW"] = longest["ValidateClusterW"]
        found = {}
        for function in self.interface.functions.values():
            assert function.blocking
            found[function.name] = function.blocking.seconds
        expected = {}
        for name in found:
            wide = name[:-1] + "W"
            expected[name] = longest[wide if wide in longest else name]
        self.assertEqual(found, expected)

    def test_reads_what_a_lost_connection_results_in(self) -> None:
        functions = self.interface.functions
        self.assertEqual(
            functions["OnlineDgW"].lost_connection, "FARLO_ALREADY_IMPORTED is returned as it is"
        )
        self.assertEqual(functions["ImportDgW"].lost_connection, "")
        self.assertEqual(
            functions["GetDgNameW"].lost_connection,
            "FARLO_NOT_FOUND, after up to 25 s, if a lookup fails because of it",
        )
        self.assertEqual(functions["IsVolumeClusterable"].lost_connection, "its result, or 0")

    def test_reads_directions(self) -> None:
        expected = {
            ("InitializeClusterW", "slot"): "in/out",
            ("OnlineDgW", "name"): "in",
            ("GetDgGuidW", "guid"): "out",
            ("GetDgNameListW", "buffer"): "out",
            ("GetDgNameListW", "size"): "in/out",
            ("GetDgDiskAvailabilityW", "live"): "out",
            ("GetDgVolPropertiesW", "size"): "in/out",
            ("GetUnusableVolumesInfo", "records"): "out",
            ("OfflineVolumeW", "group_guid"): "in",
            ("RegisterForAlerts", "callback"): "in",
        }
        found = {key: self.argument(*key).direction for key in expected}
        self.assertEqual(found, expected)

    def test_reads_what_is_required(self) -> None:
        self.assertTrue(self.argument("OnlineVolW", "guid").required)
        self.assertFalse(self.argument("OnlineDgW", "guid").required)

    def test_reads_layouts(self) -> None:
        records = self.interface.records
        self.assertEqual(
            {name: record.size for name, record in records.items()},
            {
                "farlo_plex_state": 68,
                "DgDiskInfo": 56,
                "VolInfo": 1656,
                "DgInfo": 8,
                "VolPropInfo": 8,
                "DgVolInfo": 4,
                "DgDiskList": 4,
            },
        )
        offsets = {each.name: each.offset for each in records["VolInfo"].fields}
        self.assertEqual(offsets["label"], 590)
        self.assertEqual(offsets["mount_points"], 1110)
        self.assertEqual(offsets["state"], 1640)

    def test_aligns_the_fields_of_records_that_are_not_packed(self) -> None:
        fields = "uint8_t first;\n    uint32_t second;\n    uint8_t third;"
        record = f"typedef struct Record {{\n    {fields}\n}} Record;\n"
        function = "/* Does it. Statuses: FARLO_BUSY. Blocks: no pauses. */\nuint32_t Do(void);\n"
        plain = read(header_of(f"{record}\n{function}")).records["Record"]
        self.assertEqual(([each.offset for each in plain.fields], plain.size), ([0, 4, 8], 12))
        pragmas = ("#pragma pack(push, 1)\n", "#pragma pack(pop)\n")
        packed = read(header_of(f"{record.join(pragmas)}\n{function}")).records["Record"]
        self.assertEqual(([each.offset for each in packed.fields], packed.size), ([0, 1, 5], 6))

    def test_reads_rules(self) -> None:
        titles = [rule.title for rule in self.interface.rules]
        for title in ("Handles", "Strings", "Sizes", "Threads", "Callbacks", "Trace log"):
            self.assertIn(title, titles)
        out = next(rule for rule in self.interface.rules if rule.title == "Out arguments")
        self.assertTrue(plain_text(out.about).startswith("Out arguments are written on success"))


class Wording(unittest.TestCase):
    """What cannot be understood is an error."""

    def test_reads_a_function(self) -> None:
        found = read(
            header_of(
                "/*\n * Does it.\n *\n *   size   in: this; out: that\n *\n"
                " * Statuses: FARLO_NOT_FOUND (never).\n *\n * Blocks: 2 s; 1 s more on Sundays.\n"
                " */\nuint32_t Do(uint32_t* size);\n"
            )
        ).functions["Do"]
        self.assertEqual([each.remark for each in found.statuses], ["", "never"])
        assert found.blocking
        self.assertEqual(found.blocking.seconds, 3)

    def test_wants_the_direction_of_each_pointer(self) -> None:
        with self.assertRaisesRegex(HeaderError, "size: neither"):
            read(
                header_of(
                    "/* Does it. Statuses: FARLO_BUSY. Blocks: no pauses. */\n"
                    "uint32_t Do(uint32_t* size);\n"
                )
            )

    def test_wants_statuses(self) -> None:
        with self.assertRaisesRegex(HeaderError, "Do: no statuses"):
            read(header_of("/* Does it. Blocks: no pauses. */\nuint32_t Do(void);\n"))

    def test_wants_a_blocking_time(self) -> None:
        with self.assertRaisesRegex(HeaderError, "Do: no Blocks"):
            read(header_of("/* Does it. Statuses: FARLO_BUSY. */\nuint32_t Do(void);\n"))
        with self.assertRaisesRegex(HeaderError, "Do: Blocks: Long."):
            read(
                header_of(
                    "/* Does it. Statuses: FARLO_BUSY. Blocks: long. */\nuint32_t Do(void);\n"
                )
            )

    def test_wants_functions_that_exist(self) -> None:
        with self.assertRaisesRegex(HeaderError, "there is no function Undo"):
            read(
                header_of(
                    "/* Does it. Statuses: as Undo. Blocks: no pauses. */\nuint32_t Do(void);\n"
                )
            )

    def test_wants_each_function_in_the_index(self) -> None:
        text = header_of(
            "/* Does it. Statuses: FARLO_BUSY. Blocks: no pauses. */\nuint32_t Do(void);\n"
        )
        with self.assertRaisesRegex(HeaderError, "the index differs"):
            read(text.replace(" *   Do   Do", " *   Do   Undo"))

    def test_wants_pointer_types_that_agree(self) -> None:
        text = header_of(
            "/* Does it. Statuses: FARLO_BUSY. Blocks: no pauses. */\nuint32_t Do(void);\n"
        )
        with self.assertRaisesRegex(HeaderError, "the pointer types differ: ..Do"):
            read(text.replace("(*Do_fn)(void)", "(*Do_fn)(uint32_t size)"))

    def test_wants_declarations_that_it_knows(self) -> None:
        with self.assertRaisesRegex(HeaderError, "what is this. int x;"):
            read(header_of("int x;\n"))


if __name__ == "__main__":
    unittest.main()
