// Wide names as narrow strings.
//
// Two conversions are elsewhere because they follow other rules: to_narrow
// (bus/typed_value.h) converts property values with the bus's own function, and the
// trace log converts whole lines with the ANSI code page.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace farlo {

// Converts a name into a caller's buffer. Returns false when the name and its
// terminator do not fit, or when a character has no narrow form: half a name, or a
// changed one, may name another group.
template <std::size_t Capacity>
[[nodiscard]] bool narrow_name(const wchar_t* name, char (&narrow)[Capacity]) {
    const int length = _snprintf(narrow, Capacity, "%S", name);
    return length >= 0 && static_cast<std::size_t>(length) < Capacity;
}

// Converts a name for a log line whose format takes a narrow string ("%S").
// Unlike narrow_name it never fails, so that the line is always written: a
// character outside ASCII becomes "?".
[[nodiscard]] inline std::string narrow_for_log(const wchar_t* name) {
    std::string narrow;
    for (; *name != L'\0'; ++name) {
        narrow += *name < 0x80 ? static_cast<char>(*name) : '?';
    }
    return narrow;
}

}  // namespace farlo
