// The state of one volume of a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetDgVolumeStateW(opal_handle handle, const wchar_t* name,
                                              const char* guid, const wchar_t* device,
                                              std::uint32_t* state);

}  // namespace farlo
