// The state of a connection handle.
#pragma once

#include "api/farlo.h"
#include "bus/object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Reads `connected` under the handle's lock.
[[nodiscard]] inline bool is_connected(opal_handle handle) {
    EnterCriticalSection(&handle->lock);
    const bool connected = handle->connected != 0;
    LeaveCriticalSection(&handle->lock);
    return connected;
}

// The status of a call that ended with `status`: FARLO_NOT_CONNECTED if the connection
// has dropped, because results obtained over it are then void.
[[nodiscard]] inline std::uint32_t status_if_still_connected(opal_handle handle,
                                                             std::uint32_t status) {
    return is_connected(handle) ? status : FARLO_NOT_CONNECTED;
}

// The handle's own connection.
[[nodiscard]] inline ConnectionPair connection_pair(opal_handle handle) {
    return {handle->connection, handle->connection_context};
}

}  // namespace farlo
