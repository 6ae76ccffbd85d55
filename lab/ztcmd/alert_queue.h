// Delivers alerts in order on a separate thread.
#pragma once

#include <memory>
#include <string>

namespace lab {

class Session;

// Queues an alert. It is discarded if the session no longer exists when it is due.
void queue_alert(std::weak_ptr<Session> session, const std::string& name);

// Waits until all queued alerts are delivered. Must not be called from a handler.
void flush_alerts();

}  // namespace lab
