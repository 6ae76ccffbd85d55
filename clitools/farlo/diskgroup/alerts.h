// The agent's callback that is run when the service finished an import or a
// deport.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Resets the agent's own time-out.
using AlertTimeoutCallback = void (*)();

// The callback last registered; NULL when there is none.
AlertTimeoutCallback alert_timeout_callback();

// Stores the callback, a NULL one too, and registers the alert handler of this
// library for the handle. Without a handle or a callback nothing is registered
// and the result is 0; else it is the command library's status.
[[nodiscard]] std::uint32_t RegisterForAlerts(opal_handle handle, AlertTimeoutCallback callback);

// Registers the alert handler for a handle once more, for the callback that is
// stored by then. Does not store it again: one that the agent clears meanwhile
// stays cleared. Result as of RegisterForAlerts.
[[nodiscard]] std::uint32_t register_stored_callback(opal_handle handle);

// Receives the alerts of a handle on a thread of the command library. Reads
// nothing of its arguments but the alert's name.
void OpalEventHandler(const opal_alert* alert, void* connection, void* reserved1, void* reserved2);

}  // namespace farlo
