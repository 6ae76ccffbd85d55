"""What is read from a header in the form of farlo.hpp, and the pages that are made from it."""

import tempfile
import unittest
from pathlib import Path

from bindings.cpp_header import HEADER, CppHeader, Entity, read_cpp_header
from bindings.header import read_header
from docs.site.cpp_reference import CppReference

SAMPLE = """\
// small.hpp - for C++ agents.
//
//   small::Thing thing;
//
// THREADS. Any thread may use it.
#ifndef SMALL_HPP
#define SMALL_HPP

#include <vector>

namespace small {

// ------------------------------------------------------------------ states

// The service's own.

// What it is.
enum class Status : std::uint32_t {
    success = FARLO_SUCCESS,
    lost = 20,  // no longer there
};

namespace detail {

// Not for users.
struct Hidden {
    int value;
};

}  // namespace detail

// ------------------------------------------------------------------- Thing

// Does things.
class Thing final : public Base {
  public:
    // Makes one. See THREADS above.
    explicit Thing(int size = 1'000) : m_size(size), m_name{"a{b"} {}
    Thing(const Thing&) = delete;
    ~Thing() { close(); }

    // ------------------------------------------------------------- names

    // Imports (OnlineDgW). Fails with Status::lost.
    template <class Result, class = std::enable_if_t<(sizeof(Result) > 1)>>
    Result online_thing(const std::wstring& path = L"farlo.dll") const noexcept {
        return call(path, [] { return "}"; });
    }
    // The size. The name is as long.
    int size() const { return m_size; }
    int name() const { return m_size; }

    int count{5};  // how many there are,
                   // and were
    std::function<bool(const Status&)> on_change;

  private:
    friend class Other;
    int m_size;
};

using Things = std::vector<Thing>;

inline bool operator==(const Thing& a, const Thing& b) {
    return a.size() == b.size();
}

}  // namespace small

template <> struct std::is_error_code_enum<small::Status> : std::true_type {};

#endif
"""


def read_sample() -> CppHeader:
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "small.hpp"
        path.write_text(SAMPLE, encoding="utf-8")
        return read_cpp_header(path)


def outline(entities: list[Entity]) -> list[tuple[str, str, str]]:
    return [(each.kind, each.declaration or each.name, each.comment) for each in entities]


class Sample(unittest.TestCase):
    def setUp(self) -> None:
        self.header = read_sample()

    def test_has_the_sections_that_declare_something(self) -> None:
        self.assertEqual([each.title for each in self.header.sections], ["states", "Thing"])
        self.assertEqual(self.header.sections[0].about, ["The service's own."])

    def test_declares_an_enumeration(self) -> None:
        status = self.header.sections[0].entities[0]
        self.assertEqual((status.kind, status.declaration), ("enum", "Status : std::uint32_t"))
        self.assertEqual(
            outline(status.members),
            [
                ("enumerator", "success = FARLO_SUCCESS", ""),
                ("enumerator", "lost = 20", "no longer there"),
            ],
        )

    def test_declares_the_public_members_of_a_class(self) -> None:
        thing = self.header.sections[1].entities[0]
        self.assertEqual(
            (thing.kind, thing.declaration, thing.comment),
            ("class", "Thing final : public Base", "Does things."),
        )
        sizes = "The size. The name is as long."
        self.assertEqual(
            outline(thing.members),
            [
                (
                    "function",
                    "explicit Thing(int size = 1'000)",
                    "Makes one. See THREADS above.",
                ),
                ("title", "names", ""),
                (
                    "function",
                    "template <class Result, class = std::enable_if_t<(sizeof(Result) > 1)>> "
                    'Result online_thing(const std::wstring& path = L"farlo.dll") const noexcept',
                    "Imports (OnlineDgW). Fails with Status::lost.",
                ),
                ("function", "int size() const", sizes),
                ("function", "int name() const", sizes),
                ("variable", "int count{5}", "how many there are, and were"),
                ("variable", "std::function<bool(const Status&)> on_change", ""),
            ],
        )

    def test_declares_aliases_and_operators(self) -> None:
        self.assertEqual(
            outline(self.header.sections[1].entities[1:]),
            [
                ("alias", "Things = std::vector<Thing>", ""),
                ("function", "bool operator==(const Thing& a, const Thing& b)", ""),
            ],
        )

    def test_becomes_pages(self) -> None:
        reference = CppReference(read_header(), self.header)
        pages = dict(reference.pages())
        self.assertEqual(sorted(pages), ["cpp/index", "cpp/states", "cpp/thing"])
        self.assertIn("small.hpp - for C++ agents.", pages["cpp/index"])
        self.assertIn(".. _cpp-threads:\n\nThreads\n-------\n", pages["cpp/index"])
        self.assertIn(".. cpp:enum-class:: Status : std::uint32_t\n", pages["cpp/states"])
        self.assertIn("   .. cpp:enumerator:: lost = 20\n\n      no longer", pages["cpp/states"])
        thing = pages["cpp/thing"]
        self.assertIn("   .. cpp:function:: int size() const\n", thing)
        self.assertIn(":ref:`THREADS <cpp-threads>`", thing)
        self.assertIn("Imports (\\ :c:func:`OnlineDgW`\\ )", thing)
        self.assertIn(":cpp:enumerator:`Status::lost <farlo::Status::lost>`", thing)
        self.assertEqual(reference.calls()["OnlineDgW"], ["farlo::Thing::online_thing"])


@unittest.skipUnless(HEADER.exists(), "there is no farlo.hpp")
class FarloHpp(unittest.TestCase):
    def test_reaches_every_wide_export(self) -> None:
        interface = read_header()
        calls = CppReference(interface, read_cpp_header()).calls()
        named = {name for name in interface.functions if not name.endswith("A")}
        # Those that a handle's owner calls for its users.
        named -= {"InitializeClusterW", "ValidateClusterW", "UnInitializeClusterW", "OnlineDgW"}
        self.assertEqual(named - set(calls), set())


if __name__ == "__main__":
    unittest.main()
