"""farlo.json: agrees with farlo.h and its schema, and the checks of that find what is wrong."""

import copy
import json
import subprocess
import tempfile
import unittest
from pathlib import Path
from typing import Any

import jsonschema

from bindings.c_checks import source
from bindings.describe import DESCRIPTION, SCHEMA, description, formatted
from bindings.header import HEADER
from bindings.rust_crate import DECLARATIONS, Declarations, declarations, rust_type

COMPILER = "x86_64-w64-mingw32-gcc"


def load(path: Path) -> Any:
    return json.loads(path.read_text(encoding="utf-8"))


def compiles(described: dict[str, Any]) -> str:
    """The errors of compiling the checks of this description."""
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "checks.c"
        path.write_text(source(described), encoding="utf-8")
        command = [COMPILER, "-std=c11", "-fsyntax-only", f"-I{HEADER.parent}", str(path)]
        return subprocess.run(command, capture_output=True, text=True, check=False).stderr


class Json(unittest.TestCase):
    described: dict[str, Any]

    @classmethod
    def setUpClass(cls) -> None:
        cls.described = load(DESCRIPTION)

    def function(self, name: str) -> Any:
        return next(each for each in self.described["functions"] if each["name"] == name)

    def test_is_what_the_header_says(self) -> None:
        self.assertEqual(DESCRIPTION.read_text(encoding="utf-8"), description())

    def test_is_valid(self) -> None:
        schema = load(SCHEMA)
        jsonschema.Draft202012Validator.check_schema(schema)
        jsonschema.Draft202012Validator(schema).validate(self.described)

    def test_has_a_schema_that_refuses_what_it_does_not_describe(self) -> None:
        validator = jsonschema.Draft202012Validator(load(SCHEMA))
        for path, value in (
            (("functions", 0, "extra"), 1),
            (("functions", 0, "form"), "broad"),
            (("functions", 0, "arguments", 0, "direction"), "up"),
            (("functions", 0, "blocks", "seconds"), -1),
            (("records", 0, "fields", 0, "type"), "float"),
            (("statuses", 0, "value"), 1 << 32),
        ):
            changed = copy.deepcopy(self.described)
            place: Any = changed
            for step in path[:-1]:
                place = place[step]
            place[path[-1]] = value
            with self.subTest(path):
                self.assertFalse(validator.is_valid(changed))

    def test_describes_arguments(self) -> None:
        handle, name, guid = self.function("GetDgGuidW")["arguments"]
        self.assertEqual((handle["direction"], handle["ownership"]), ("in", "borrowed"))
        self.assertEqual(
            name,
            {
                "name": "name",
                "type": {"c": "const wchar_t*", "base": "wchar_t", "const": True, "pointers": 1},
                "direction": "in",
                "ownership": "borrowed",
                "string": "wide",
                "required": True,
                "text": "the group's name; required",
            },
        )
        self.assertEqual(
            (guid["direction"], guid["string"], guid["room"]),
            (
                "out",
                "narrow",
                {"count": 65, "unit": "bytes", "constant": "FARLO_GUID_TEXT_SIZE"},
            ),
        )

    def test_describes_who_owns_what(self) -> None:
        owned = {
            (function["name"], argument["name"]): argument["ownership"]
            for function in self.described["functions"]
            for argument in function["arguments"]
            if argument.get("ownership", "borrowed") != "borrowed"
        }
        self.assertEqual(
            owned,
            {
                ("InitializeClusterA", "slot"): "made",
                ("InitializeClusterW", "slot"): "made",
                ("ValidateClusterA", "slot"): "made",
                ("ValidateClusterW", "slot"): "made",
                ("UnInitializeClusterA", "handle"): "released",
                ("UnInitializeClusterW", "handle"): "released",
                ("RegisterForAlerts", "callback"): "kept",
            },
        )

    def test_describes_results(self) -> None:
        self.assertEqual(
            self.function("IsVolumeClusterable")["result"], {"type": "uint8_t", "is": "flag"}
        )
        self.assertEqual(self.function("DeportDgA")["result"], {"type": "uint32_t", "is": "status"})

    def test_describes_forms(self) -> None:
        forms = {
            name: (self.function(name)["form"], self.function(name).get("other_form"))
            for name in ("OnlineDgA", "OnlineDgW", "ReleaseDgW", "GetVolumeInfo")
        }
        self.assertEqual(
            forms,
            {
                "OnlineDgA": ("narrow", "OnlineDgW"),
                "OnlineDgW": ("wide", "OnlineDgA"),
                "ReleaseDgW": ("only", None),
                "GetVolumeInfo": ("only", None),
            },
        )

    def test_breaks_only_lines_that_are_too_long(self) -> None:
        self.assertEqual(formatted({"a": [1, 2]}), '{"a": [1, 2]}')
        long = "x" * 90
        self.assertEqual(formatted({"a": [long, 2]}), f'{{\n  "a": ["{long}", 2]\n}}')
        self.assertEqual(
            formatted({"a": [long, long]}), f'{{\n  "a": [\n    "{long}",\n    "{long}"\n  ]\n}}'
        )


class Checks(unittest.TestCase):
    """Each change of the description must be an error of the compiler."""

    def setUp(self) -> None:
        self.described = load(DESCRIPTION)

    def refused(self, name: str) -> None:
        self.assertIn(f'static assertion failed: "{name}"', compiles(self.described))

    def test_accept_the_description(self) -> None:
        self.assertEqual(compiles(self.described), "")

    def test_find_another_argument_type(self) -> None:
        function = next(it for it in self.described["functions"] if it["name"] == "OnlineDgW")
        function["arguments"][1]["type"]["c"] = "wchar_t*"
        self.refused("OnlineDgW")

    def test_find_another_result(self) -> None:
        function = self.described["functions"][0]
        function["result"]["type"] = "uint8_t"
        self.refused(function["name"])

    def test_find_another_size(self) -> None:
        record = next(it for it in self.described["records"] if it["name"] == "VolInfo")
        record["size"] += 4
        record["fields"][-1]["size"] += 4
        self.refused("VolInfo")

    def test_find_another_offset_and_type(self) -> None:
        record = next(it for it in self.described["records"] if it["name"] == "VolInfo")
        record["fields"][7]["offset"] += 1
        record["fields"][8]["type"] = "int64_t"
        self.refused("VolInfo.state")
        self.refused("VolInfo.size")

    def test_find_a_field_that_is_missing(self) -> None:
        record = next(it for it in self.described["records"] if it["name"] == "DgDiskInfo")
        del record["fields"][2]
        with self.assertRaisesRegex(ValueError, "DgDiskInfo"):
            source(self.described)

    def test_find_another_alignment(self) -> None:
        record = next(it for it in self.described["records"] if it["name"] == "farlo_plex_state")
        record["packed"] = True
        self.refused("farlo_plex_state is packed")

    def test_find_another_type_of_a_constant(self) -> None:
        constant = next(it for it in self.described["constants"] if it["type"] == "int")
        constant["type"] = "uint32_t"
        self.refused(constant["name"])

    def test_find_another_value(self) -> None:
        self.described["statuses"][1]["value"] = 2
        self.described["constants"][0]["value"] = 64
        self.refused("FARLO_NOT_FOUND")
        self.refused(self.described["constants"][0]["name"])


class RustDeclarations(unittest.TestCase):
    def test_are_what_the_description_says(self) -> None:
        self.assertEqual(DECLARATIONS.read_text(encoding="utf-8"), declarations())

    def test_of_a_function(self) -> None:
        text = Declarations(load(DESCRIPTION)).text()
        self.assertIn(
            "    /// The name of a cluster disk group, by its GUID string.\n"
            "    ///\n"
            "    /// - `guid`: required\n"
            "    /// - `name`: receives the name; FARLO_NAME_SIZE wide characters\n"
            "    ///\n"
            "    /// Statuses: `FARLO_SUCCESS`, `FARLO_NULL_HANDLE`, `FARLO_NOT_CONNECTED`,\n"
            "    /// `FARLO_MISSING_ARGUMENT`, `FARLO_NOT_FOUND`, `FARLO_EXCLUDED_TYPE`, "
            "`FARLO_EXCEPTION`.\n"
            "    ///\n"
            "    /// Blocks: 25 s.\n"
            "    fn GetDgNameW(handle: opal_handle, guid: *const c_char, name: *mut u16) -> u32;\n",
            text,
        )

    def test_of_pointers(self) -> None:
        slot = {"base": "opal_handle", "const": False, "pointers": 1}
        self.assertEqual(rust_type(slot), "*mut opal_handle")
        names = {"base": "wchar_t", "const": True, "pointers": 2}
        self.assertEqual(rust_type(names), "*mut *const u16")

    def test_of_a_record(self) -> None:
        text = Declarations(load(DESCRIPTION)).text()
        self.assertIn(
            "#[repr(C, packed)]\n#[derive(Clone, Copy, Debug)]\npub struct VolInfo {", text
        )
        self.assertIn("    pub mount_points: [u16; 261],\n", text)
        self.assertIn("    pub r#type: u32,\n", text)
        self.assertIn("        field!(VolInfo, mount_points, 1110, 522);\n", text)

    def test_of_constants(self) -> None:
        text = Declarations(load(DESCRIPTION)).text()
        self.assertIn("\npub const FARLO_NOT_CONNECTED: u32 = 20;\n", text)
        self.assertIn("\npub const FARLO_INVALID_ARGUMENT: u32 = 0x80070057;\n", text)
        self.assertIn('        FARLO_NOT_FOUND => "FARLO_NOT_FOUND",\n', text)


if __name__ == "__main__":
    unittest.main()
