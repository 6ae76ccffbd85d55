// Whether storage may be put under cluster control.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, IsStorageClusterable, IsVolumeClusterable.
[[nodiscard]] bool IsStorageClusterable(opal_handle handle, std::uint32_t style,
                                        std::uint32_t signature, const std::uint8_t* disk_guid);
[[nodiscard]] bool IsVolumeClusterable(opal_handle handle, const wchar_t* volume_name);

}  // namespace farlo
