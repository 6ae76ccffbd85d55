#include "session.h"

#include "alert_queue.h"
#include "locks.h"

namespace lab {

Session::Session() {
    InitializeCriticalSection(&m_record.lock);
}

Session::~Session() {
    DeleteCriticalSection(&m_record.lock);
}

opal_status Session::open(const char* service) {
    // Before the connection is there: the service may drop it at once.
    set_connected(true);
    return LabOpenConnection(service, on_event, this, &m_record.connection,
                             &m_record.connection_context);
}

void Session::close() {
    LabCloseConnection(m_record.connection);
}

void Session::set_connected(bool connected) {
    EnterCriticalSection(&m_record.lock);
    m_record.connected = connected ? 1 : 0;
    LeaveCriticalSection(&m_record.lock);
}

bool Session::is_connected() {
    EnterCriticalSection(&m_record.lock);
    const bool connected = m_record.connected != 0;
    LeaveCriticalSection(&m_record.lock);
    return connected;
}

void Session::set_handler(opal_alert_handler handler) {
    const Exclusive hold(m_handler_lock);
    m_handler = handler;
}

bool Session::deliver(const opal_alert* alert) {
    opal_alert_handler handler = nullptr;
    {
        const Exclusive hold(m_handler_lock);
        handler = m_handler;
        m_delivering_thread = handler != nullptr ? GetCurrentThreadId() : 0;
    }
    if (handler == nullptr) {
        return false;
    }
    handler(alert, m_record.connection, nullptr, nullptr);
    const Exclusive hold(m_handler_lock);
    m_delivering_thread = 0;
    WakeAllConditionVariable(&m_delivered);
    return true;
}

void Session::retire() {
    const Exclusive hold(m_handler_lock);
    m_handler = nullptr;
    // A handler may release its own handle: it does not wait for itself.
    while (m_delivering_thread != 0 && m_delivering_thread != GetCurrentThreadId()) {
        SleepConditionVariableSRW(&m_delivered, &m_handler_lock, INFINITE, 0);
    }
}

void Session::on_event(void* user, int event, const char* name) {
    auto* session = static_cast<Session*>(user);
    if (event == LAB_EVENT_DISCONNECTED) {
        session->set_connected(false);
    } else {
        queue_alert(session->handle(), name);
    }
}

}  // namespace lab
