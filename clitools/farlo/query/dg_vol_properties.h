// The light record of a disk group: its first disk's signature and its volumes.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

[[nodiscard]] std::uint32_t GetDgVolPropertiesW(opal_handle handle, const wchar_t* name,
                                                const char* guid, DgVolInfo* record,
                                                std::uint32_t* size);

}  // namespace farlo
