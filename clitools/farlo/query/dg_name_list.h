// The names of the disk groups that are imported on this host.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Lays the names back to back into the caller's buffer (farlo.h, GetDgNameList):
// wide or narrow, of the cluster groups, or of all others when
// `cluster_groups` is not set.
[[nodiscard]] std::uint32_t GetDgNameListCommon(opal_handle handle, void** buffer,
                                                std::uint32_t* size, std::uint32_t* count,
                                                bool cluster_groups, bool wide);

}  // namespace farlo
