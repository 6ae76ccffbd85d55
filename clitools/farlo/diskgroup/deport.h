// The plain deport of a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Deports a disk group (farlo.h, DeportDg).
[[nodiscard]] std::uint32_t DeportDgW(opal_handle handle, const wchar_t* name, const char* guid);

}  // namespace farlo
