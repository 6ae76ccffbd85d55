// Taking a disk group offline on this host, with option bits.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Deports a disk group (farlo.h, OfflineDg).
[[nodiscard]] std::uint32_t OfflineDgW(opal_handle handle, const wchar_t* name, const char* guid,
                                       std::uint32_t options);

}  // namespace farlo
