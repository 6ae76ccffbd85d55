// Checks callers' strings against the library's own buffers.
#pragma once

#include "api/farlo.h"
#include "core/guid_string.h"
#include "core/trace_log.h"

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

// Returns FARLO_SUCCESS when a string and its terminator fit into `capacity`
// characters, or when there is no string. A longer string is refused, never cut short,
// because half a name may name another group: logs the entry and the argument and
// returns FARLO_INVALID_ARGUMENT. That line is enough, so an operation logs its own
// failure only if its status differs from what this returned. A line that is logged on
// success, too, is logged for a refusal as well.
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
    return check_string(entry, L"guid", guid, guid_string_capacity);
}

}  // namespace farlo
