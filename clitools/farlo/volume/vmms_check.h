// Whether the node's folders of virtual machines may be removed.
#pragma once

#include <cstdint>

namespace farlo {

// farlo.h, CheckOSVersionAndReg.
[[nodiscard]] std::uint32_t CheckOSVersionAndReg();

}  // namespace farlo
