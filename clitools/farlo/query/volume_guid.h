// The GUID text of a volume inside a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Writes the text that the cluster-service object reports for a volume into a
// buffer of FARLO_GUID_TEXT_SIZE characters.
[[nodiscard]] std::uint32_t GetDgVolumeGuidW(opal_handle handle, const wchar_t* name,
                                             const char* guid, const wchar_t* device,
                                             char* volume_guid);

}  // namespace farlo
