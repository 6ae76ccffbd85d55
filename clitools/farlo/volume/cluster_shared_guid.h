// The GUID string of the cluster-shared disk group that a volume belongs to.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetClusterSharedDgGuid.
[[nodiscard]] std::uint32_t GetClusterSharedDgGuidW(opal_handle handle, const wchar_t* device,
                                                    char* guid);

}  // namespace farlo
