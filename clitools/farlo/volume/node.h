// The cluster volume manager on this node: start, stop, state.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, StartCVMClusterW, StopCVMClusterW, GetCVMClusterNodeStateW.
[[nodiscard]] std::uint32_t StartCVMClusterW(opal_handle handle);
[[nodiscard]] std::uint32_t StopCVMClusterW(opal_handle handle);
[[nodiscard]] std::uint32_t GetCVMClusterNodeStateW(opal_handle handle, std::uint32_t* state);

}  // namespace farlo
