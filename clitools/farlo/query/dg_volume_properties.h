// The record of one volume of a disk group.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetDgVolumePropertiesW(opal_handle handle, const wchar_t* name,
                                                   const char* guid, const wchar_t* device,
                                                   VolInfo* record, std::uint32_t* size);

}  // namespace farlo
