// Making, remaking and giving back the connection of a handle.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Connects the handle in `slot`, or reconnects one that is no longer connected
// (three tries, 500 ms apart). 0, or 20 when there is no connection.
std::uint32_t ValidateClusterW(opal_handle* slot);

// Releases a handle: 0, or 21 when the command library refused. The caller's
// slot is not cleared.
std::uint32_t UnInitializeClusterW(opal_handle handle);

}  // namespace farlo
