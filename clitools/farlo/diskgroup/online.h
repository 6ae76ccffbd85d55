// Bringing a disk group online on this host, with all option bits.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// OnlineDgW passes this as the last argument of OnlineDgExW.
inline constexpr std::uint32_t online_default_reserved = 120;

// Imports a disk group (farlo.h, OnlineDgEx). `reserved` is not used; `entry` is
// the export that was called.
[[nodiscard]] std::uint32_t OnlineDgExW(opal_handle handle, const wchar_t* name, const char* guid,
                                        const wchar_t* new_name, std::uint32_t options,
                                        std::uint32_t reserved,
                                        const wchar_t* entry = L"OnlineDgExW");

}  // namespace farlo
