// The plain import of a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Imports a disk group with all option bits set (farlo.h, ImportDg).
[[nodiscard]] std::uint32_t ImportDgW(opal_handle handle, const wchar_t* name, const char* guid,
                                      const wchar_t* new_name, std::uint32_t options);

}  // namespace farlo
