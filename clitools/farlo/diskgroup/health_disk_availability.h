// The number of disks of a group, and how many of them are available.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetDgDiskAvailability.
[[nodiscard]] std::uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name,
                                                   const char* guid, std::uint32_t* total,
                                                   std::uint32_t* live);

}  // namespace farlo
