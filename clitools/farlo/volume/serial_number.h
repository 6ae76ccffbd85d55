// Finding the volume of a disk group whose file system has a serial number.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetVolumeNameForSerialNumber.
[[nodiscard]] std::uint32_t
GetVolumeNameForSerialNumberW(opal_handle handle, const wchar_t* group_name, const char* guid,
                              std::uint32_t serial_number, wchar_t* volume_name,
                              std::uint32_t* size);

}  // namespace farlo
