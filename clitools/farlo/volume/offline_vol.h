// Taking one volume of a shared disk group offline on this node.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, OfflineVol.
[[nodiscard]] std::uint32_t OfflineVolW(opal_handle handle, const char* guid, const wchar_t* device,
                                        std::uint32_t flags);

}  // namespace farlo
