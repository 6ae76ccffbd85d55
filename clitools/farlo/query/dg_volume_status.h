// The status of one volume as the volume manager's driver sees it.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetDgVolumeStatusW(opal_handle handle, const char* guid,
                                               const std::uint8_t* volume_guid,
                                               std::uint32_t* status);

}  // namespace farlo
