// A connection handle of the command library with its connection and handler.
#pragma once

#include "ztbus3/lab_bus.h"
#include "ztcmd.h"

#include <memory>
#include <vector>

namespace lab {

class Session : public std::enable_shared_from_this<Session> {
  public:
    Session();
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Opens the connection.
    opal_status open(const char* service);
    // Closes it; no alert is queued for this session afterwards.
    void close();

    opal_handle handle() const { return m_record; }
    void set_connected(bool connected);
    bool is_connected();

    // Returns false once the session is retired.
    bool set_handler(opal_alert_handler handler);
    // Calls the handler. Returns false if there is none.
    bool deliver(const opal_alert* alert);
    // Ends delivery: when this returns, no other thread is in the handler, it is not called
    // again, and the record is gone.
    void retire();

  private:
    static void on_event(void* user, int event, const char* name);
    bool others_deliver() const;
    void retire_handler();
    void release_own_record();

    const opal_handle m_record;
    SRWLOCK m_record_lock = SRWLOCK_INIT;
    bool m_record_released = false;  // then nothing of the session touches it
    opal_connection m_connection = nullptr;
    SRWLOCK m_handler_lock = SRWLOCK_INIT;  // not held while the handler runs
    opal_alert_handler m_handler = nullptr;
    bool m_retired = false;
    std::vector<DWORD> m_delivering;  // threads that are in the handler
    CONDITION_VARIABLE m_delivered = CONDITION_VARIABLE_INIT;
};

}  // namespace lab
