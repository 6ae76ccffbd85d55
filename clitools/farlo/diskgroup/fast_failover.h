// The fast-failover flag of a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, SetFastFailoverFlagW.
[[nodiscard]] std::uint32_t SetFastFailoverFlagW(opal_handle handle, const wchar_t* name,
                                                 const char* guid, std::uint32_t flag);

}  // namespace farlo
