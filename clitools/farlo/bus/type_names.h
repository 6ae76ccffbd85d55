// The strings of each type tag.
#pragma once

#include <cstdint>

namespace farlo {

struct TypeNames {
    std::uint32_t tag;
    // Precedes a value that is formatted with its type.
    const char* label;
    // The trace of a reader that found another type. Takes the provider's name and the
    // property's name.
    const char* mismatch;
};

// The row of a tag. Its label is empty when the tag is not a valid one.
const TypeNames& names_of_type(std::uint32_t tag);

}  // namespace farlo
