// The record of a volume: its disks and the volume itself.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetVolPropertiesW(opal_handle handle, const wchar_t* device,
                                              VolPropInfo* record, std::uint32_t* size);

}  // namespace farlo
