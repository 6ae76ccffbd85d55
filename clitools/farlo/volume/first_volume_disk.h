// The disk identity of a disk group's first volume.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetFirstVolumesDiskID.
[[nodiscard]] std::uint32_t GetFirstVolumesDiskIDW(opal_handle handle, const wchar_t* group_name,
                                                   std::uint32_t* disk_id, std::uint32_t* style);

}  // namespace farlo
