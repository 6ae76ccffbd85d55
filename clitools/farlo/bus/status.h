// Which statuses of the bus, the service or a driver are failures.
#pragma once

#include <cstdint>

namespace farlo {

[[nodiscard]] constexpr bool is_failure(std::uint32_t status) {
    const std::uint32_t facility = (status >> 16) & 0xFFF;
    const std::uint32_t severity = status >> 30;
    if (facility == 0x100) {
        return severity == 3;
    }
    if (facility != 0) {
        return severity >= 2;
    }
    return status != 0;
}

// The class layer reports a failure by throwing the status itself.
inline void throw_on_failure(std::uint32_t status) {
    if (is_failure(status)) {
        throw status;
    }
}

}  // namespace farlo
