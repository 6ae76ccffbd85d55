// A disk group's name by its GUID string.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Writes the name of a cluster group into a buffer of FARLO_NAME_SIZE wide
// characters.
[[nodiscard]] std::uint32_t GetDgNameW(opal_handle handle, const char* guid, wchar_t* name);

}  // namespace farlo
