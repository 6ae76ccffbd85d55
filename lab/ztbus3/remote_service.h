// A connection to the storage service in another process.
#pragma once

#include "store/service.h"

#include <functional>
#include <memory>

namespace lab {

// Connects to `service` ("127.0.0.1:4711"). Returns null and sets `status` on
// failure. When the connection is lost, `on_disconnect` is called once on the
// connection's own thread, and calls return ZTERROR_NOT_CONNECTED.
std::unique_ptr<Service> connect_remote(const char* service, std::function<void()> on_disconnect,
                                        opal_status& status);

}  // namespace lab
