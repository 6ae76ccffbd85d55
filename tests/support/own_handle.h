// A connection handle with a record that the test creates itself.
#pragma once

#include "ztbus3/lab_bus.h"
#include "ztcmd.h"

#include <cstdint>

namespace support {

// A record with or without a connection to the embedded service. The command library did not create
// it and cannot release it.
class OwnHandle {
  public:
    enum class Connection { open, none };

    // Without a connection, the connection and its context are NULL, but `connected` is 1.
    explicit OwnHandle(Connection connection = Connection::open);
    ~OwnHandle();
    OwnHandle(const OwnHandle&) = delete;
    OwnHandle& operator=(const OwnHandle&) = delete;

    opal_handle get() { return &m_record; }
    opal_session& record() { return m_record; }

    // Any value except 0 counts as connected.
    void set_connected(std::uint8_t value);

  private:
    static void on_event(void* self, int event, const char* name);

    opal_session m_record{};
};

}  // namespace support
