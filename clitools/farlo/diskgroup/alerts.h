// The agent's callback, which runs when the service has finished an import or a deport.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Resets the agent's own time-out.
using AlertTimeoutCallback = void (*)();

// The callback that was registered last, or NULL.
AlertTimeoutCallback alert_timeout_callback();

// Stores the callback, even if NULL, and registers this library's alert handler for the
// handle. Returns the command library's status, or 0 without registering anything if
// there is no handle or no callback.
[[nodiscard]] std::uint32_t RegisterForAlerts(opal_handle handle, AlertTimeoutCallback callback);

// Registers the alert handler for a handle again, with the callback that is stored now.
// Does not store the callback: if the agent clears it meanwhile, it stays cleared.
// Returns the same as RegisterForAlerts.
[[nodiscard]] std::uint32_t register_stored_callback(opal_handle handle);

// Receives the alerts of a handle on a thread of the command library. Reads only the
// alert's name.
void OpalEventHandler(const opal_alert* alert, void* connection, void* reserved1, void* reserved2);

}  // namespace farlo
