// Whether a disk group is imported.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetDgState, GetDgStateExW.
[[nodiscard]] std::uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid,
                                        std::uint8_t* imported);
[[nodiscard]] std::uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                                          std::uint8_t* imported);

}  // namespace farlo
