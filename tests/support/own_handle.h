// A connection handle whose record the test makes itself.
#pragma once

#include "ztbus3/lab_bus.h"
#include "ztcmd.h"

#include <cstdint>

namespace support {

// A record with a connection to the embedded service, or with none. The command
// library does not know it: it cannot be given back to it.
class OwnHandle {
  public:
    enum class Connection { open, none };

    // With none, both connection words are NULL; the handle says that it is
    // connected all the same.
    explicit OwnHandle(Connection connection = Connection::open);
    ~OwnHandle();
    OwnHandle(const OwnHandle&) = delete;
    OwnHandle& operator=(const OwnHandle&) = delete;

    opal_handle get() { return &m_record; }
    opal_session& record() { return m_record; }

    // Any value counts as connected but 0.
    void set_connected(std::uint8_t value);

  private:
    static void on_event(void* self, int event, const char* name);

    opal_session m_record{};
};

}  // namespace support
