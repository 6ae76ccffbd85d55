// The texts that go with each type tag.
#pragma once

#include <cstdint>

namespace farlo {

struct TypeNames {
    std::uint32_t tag;
    // In front of a value that is rendered with its type.
    const char* label;
    // Trace of a reader that met another type; takes the provider's name and
    // the property's.
    const char* mismatch;
};

// The row of a tag; one with an empty label when the tag is none.
const TypeNames& names_of_type(std::uint32_t tag);

}  // namespace farlo
