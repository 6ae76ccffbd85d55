// The state of the cluster service, as the agent reports it.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, ClusterServiceState.
[[nodiscard]] std::uint32_t ClusterServiceStateW(opal_handle handle, std::uint32_t state);

}  // namespace farlo
