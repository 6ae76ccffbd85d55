// What operations ask of a connection handle.
#pragma once

#include "object.h"
#include "ztcmd.h"

namespace farlo {

// Reads `connected` under the handle's lock.
inline bool is_connected(opal_handle handle) {
    EnterCriticalSection(&handle->lock);
    const bool connected = handle->connected != 0;
    LeaveCriticalSection(&handle->lock);
    return connected;
}

// The handle's own two connection words.
inline ConnectionPair connection_pair(opal_handle handle) {
    return {handle->connection, handle->connection_context};
}

}  // namespace farlo
