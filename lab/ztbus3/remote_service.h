// The storage service of another process, behind a connection.
#pragma once

#include "service.h"

#include <functional>
#include <memory>

namespace lab {

// Connects to "127.0.0.1:4711". Null and a status on failure. `on_disconnect`
// is called once, on a thread of the connection's own, when the service is
// gone; calls then answer ZTERROR_NOT_CONNECTED.
std::unique_ptr<Service> connect_remote(const char* service, std::function<void()> on_disconnect,
                                        opal_status& status);

}  // namespace lab
