// The volumes of a disk group that cannot be used.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Whether the operating system has given a volume a GUID name. A volume without one
// cannot be used.
[[nodiscard]] bool has_volume_guid_name(const wchar_t* device);

[[nodiscard]] std::uint32_t GetUnusableVolumesInfo(opal_handle handle, const wchar_t* name,
                                                   const char* guid, VolInfo* records,
                                                   std::uint32_t* count);

}  // namespace farlo
