// Errors of the system as statuses.
#pragma once

#include <windows.h>

#include <cstdint>

namespace farlo {

// Values below 1 are not converted.
[[nodiscard]] constexpr std::uint32_t hresult_of(LONG error) {
    const auto value = static_cast<std::uint32_t>(error);
    return error <= 0 ? value : (value & 0xFFFF) | 0x80070000;
}

}  // namespace farlo
