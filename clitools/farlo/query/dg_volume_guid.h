// The GUID string of a volume in a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Writes the string that the cluster-service object returns for a volume into a buffer
// of FARLO_GUID_TEXT_SIZE characters.
[[nodiscard]] std::uint32_t GetDgVolumeGuidW(opal_handle handle, const wchar_t* name,
                                             const char* guid, const wchar_t* device,
                                             char* volume_guid);

}  // namespace farlo
