// Shared by the sources that fill records: copying strings into fields, and reporting the
// size that is needed.
#pragma once

#include "api/farlo.h"
#include "bus/object.h"
#include "core/guarded.h"
#include "core/read_property.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace farlo {

// Copies a string, cut off to fit, into a field of `field_size` bytes at any address.
// Bytes after the terminator are not changed.
inline void put_string(void* field, std::size_t field_size, const wchar_t* string,
                       std::size_t length) {
    constexpr wchar_t terminator = L'\0';
    const std::size_t size = std::min(length * sizeof *string, field_size - sizeof terminator);
    std::memcpy(field, string, size);
    std::memcpy(static_cast<char*>(field) + size, &terminator, sizeof terminator);
}

// The same for a property. A property that cannot be read leaves the field unchanged.
inline void copy_property(const CZtObject& object, const char* name, void* field,
                          std::size_t field_size) {
    WideString string;
    if (try_read(object, name, string)) {
        put_string(field, field_size, string.c_str(), string.length());
    }
}

// Checks whether a caller's size is enough for `needed` bytes. Returns 0, or 97 after
// storing the low 32 bits of the needed size. If those bits hide that the buffer is too
// small, ends the guarded operation.
[[nodiscard]] inline std::uint32_t check_record_size(std::uint64_t needed, std::uint32_t& size) {
    const auto stored = static_cast<std::uint32_t>(needed);
    if (stored > size) {
        size = stored;
        return FARLO_BUFFER_TOO_SMALL;
    }
    if (needed > size) {
        end_with_exception_status();
    }
    return FARLO_SUCCESS;
}

}  // namespace farlo
