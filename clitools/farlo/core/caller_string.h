// Checks callers' strings against the library's own buffers.
#pragma once

#include "farlo.h"
#include "guid_text.h"
#include "trace_log.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <cwchar>

namespace farlo {

inline std::size_t bounded_length(const char* string, std::size_t limit) {
    return strnlen(string, limit);
}
inline std::size_t bounded_length(const wchar_t* string, std::size_t limit) {
    return wcsnlen(string, limit);
}

// FARLO_SUCCESS when a string and its terminator fit into `capacity` characters,
// or there is none. A longer one is refused, never cut short, as half a name may
// name another group: FARLO_INVALID_ARGUMENT, and a line that names the entry and
// the argument. That line is the call's only one, so an operation logs its own
// failure line when its status differs from what this returned. An outcome line
// that a success has, too, is written for a refusal as well.
template <class Char>
[[nodiscard]] std::uint32_t check_string(const wchar_t* entry, const wchar_t* argument,
                                         const Char* string, std::size_t capacity) {
    if (string == nullptr || bounded_length(string, capacity) < capacity) {
        return FARLO_SUCCESS;
    }
    log(0, L"%s() failed , %s string of more than %u characters, error=(0x%x)", entry, argument,
        static_cast<unsigned>(capacity - 1), FARLO_INVALID_ARGUMENT);
    return FARLO_INVALID_ARGUMENT;
}

// The same for a disk group's GUID string.
[[nodiscard]] inline std::uint32_t check_guid(const wchar_t* entry, const char* guid) {
    return check_string(entry, L"guid", guid, guid_text_capacity);
}

}  // namespace farlo
