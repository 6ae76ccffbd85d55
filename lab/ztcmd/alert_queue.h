// Delivers alerts in order, on a thread of its own.
#pragma once

#include "ztcmd.h"

#include <string>

namespace lab {

// Queues an alert for a handle; it is dropped when the handle is gone by then.
void queue_alert(opal_handle handle, const std::string& name);

// Waits until all that is queued has been delivered. Not from a handler.
void flush_alerts();

}  // namespace lab
