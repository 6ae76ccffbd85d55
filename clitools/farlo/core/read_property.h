// Reading properties that may be missing or malformed.
#pragma once

#include <cstdint>
#include <optional>
#include <utility>

namespace farlo {

// Reads a property of an object or a property set. Returns false, and leaves `value`
// unchanged, when it cannot be read.
template <class Source, class T>
[[nodiscard]] bool try_read(const Source& source, const char* name, T& value) noexcept {
    try {
        return source.GetProp(name, value);
    } catch (...) {
        return false;
    }
}

// The same, but throws when out of memory: only the bus's statuses mean that it cannot be read.
template <class Source, class T>
[[nodiscard]] bool try_read_or_throw(const Source& source, const char* name, T& value) {
    try {
        return source.GetProp(name, value);
    } catch (std::uint32_t) {
        return false;
    }
}

// try_read for types that can be copied. Returns nothing when it cannot be read.
template <class T, class Source>
[[nodiscard]] std::optional<T> read_optional(const Source& source, const char* name) noexcept {
    T value{};
    return try_read(source, name, value) ? std::optional<T>(std::move(value)) : std::nullopt;
}

}  // namespace farlo
