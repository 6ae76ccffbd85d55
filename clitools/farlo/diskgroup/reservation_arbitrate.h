// Arbitration for a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, ArbitrateDg.
[[nodiscard]] std::uint32_t ArbitrateDgW(opal_handle handle, const wchar_t* name, const char* guid);

}  // namespace farlo
