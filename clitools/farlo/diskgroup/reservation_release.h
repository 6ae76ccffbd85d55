// Releasing a disk group through the info device.
#pragma once

#include <cstdint>

namespace farlo {

// farlo.h, ReleaseDgW.
[[nodiscard]] std::uint32_t ReleaseDgW(const char* guid);

}  // namespace farlo
