// Bringing one volume of a shared disk group online on this node.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, OnlineVol.
[[nodiscard]] std::uint32_t OnlineVolW(opal_handle handle, const char* guid, const wchar_t* device,
                                       std::uint32_t flags, std::uint32_t timeout_ms);

}  // namespace farlo
