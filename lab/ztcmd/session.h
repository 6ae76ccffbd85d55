// A connection handle of the command library and all that hangs on it.
#pragma once

#include "lab_bus.h"
#include "ztcmd.h"

#include <memory>

namespace lab {

class Session {
  public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Opens the connection.
    opal_status open(const char* service);
    // Closes it; no alert is queued for this session afterwards.
    void close();

    opal_handle handle() { return &m_record; }
    void set_connected(bool connected);
    bool is_connected();

    void set_handler(opal_alert_handler handler);
    // Calls the handler, if there is one. Once `retire` returned it is not
    // called again.
    bool deliver(const opal_alert* alert);
    void retire();

  private:
    static void on_event(void* user, int event, const char* name);

    opal_session m_record{};
    SRWLOCK m_handler_lock = SRWLOCK_INIT;  // guards the handler, not its calls
    opal_alert_handler m_handler = nullptr;
    DWORD m_delivering_thread = 0;
    CONDITION_VARIABLE m_delivered = CONDITION_VARIABLE_INIT;
};

// Null for a handle that is not live.
std::shared_ptr<Session> find_session(opal_handle handle);

}  // namespace lab
