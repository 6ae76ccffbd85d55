// The record of a disk group: its disks and its volumes.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetDgPropertiesW(opal_handle handle, const wchar_t* name,
                                             const char* guid, DgInfo* record, std::uint32_t* size);

}  // namespace farlo
