// The disks of a disk group.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetDgDiskPropertiesW(opal_handle handle, const wchar_t* name,
                                                 const char* guid, DgDiskList* record,
                                                 std::uint32_t* size);

}  // namespace farlo
