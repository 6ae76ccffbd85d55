// The state of a disk.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetDiskState.
[[nodiscard]] std::uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk,
                                          std::uint32_t* state);

}  // namespace farlo
