// Delivers alerts in order, on a thread of its own.
#pragma once

#include <memory>
#include <string>

namespace lab {

class Session;

// Queues an alert; it is dropped when the session is gone by its turn.
void queue_alert(std::weak_ptr<Session> session, const std::string& name);

// Waits until all that is queued has been delivered. Not from a handler.
void flush_alerts();

}  // namespace lab
