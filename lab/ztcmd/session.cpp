#include "ztcmd/session.h"

#include "store/locks.h"
#include "ztcmd/alert_queue.h"
#include "ztcmd/record.h"

#include <algorithm>

namespace lab {

Session::Session() : m_record(make_record()) {
    InitializeCriticalSection(&m_record->lock);
}

Session::~Session() {
    release_own_record();
}

opal_status Session::open(const char* service) {
    // Set first, because the service may drop the connection at once.
    set_connected(true);
    const opal_status status = LabOpenConnection(service, on_event, this, &m_record->connection,
                                                 &m_record->connection_context);
    m_connection = m_record->connection;
    return status;
}

void Session::close() {
    if (is_strict()) {
        LabReleaseConnection(m_connection, m_record);
    } else {
        LabCloseConnection(m_connection);
    }
}

void Session::release_own_record() {
    const Exclusive hold(m_record_lock);
    if (!m_record_released) {
        m_record_released = true;
        DeleteCriticalSection(&m_record->lock);
        release_record(m_record);
    }
}

void Session::set_connected(bool connected) {
    const Exclusive hold(m_record_lock);
    if (!m_record_released) {
        EnterCriticalSection(&m_record->lock);
        m_record->connected = connected ? 1 : 0;
        LeaveCriticalSection(&m_record->lock);
    }
}

bool Session::is_connected() {
    const Exclusive hold(m_record_lock);
    if (m_record_released) {
        return false;
    }
    EnterCriticalSection(&m_record->lock);
    const bool connected = m_record->connected != 0;
    LeaveCriticalSection(&m_record->lock);
    return connected;
}

bool Session::set_handler(opal_alert_handler handler) {
    const Exclusive hold(m_handler_lock);
    if (!m_retired) {
        m_handler = handler;
    }
    return !m_retired;
}

bool Session::deliver(const opal_alert* alert) {
    opal_alert_handler handler = nullptr;
    {
        const Exclusive hold(m_handler_lock);
        if (m_handler == nullptr) {
            return false;
        }
        handler = m_handler;
        m_delivering.push_back(GetCurrentThreadId());
    }
    handler(alert, m_connection, nullptr, nullptr);
    const Exclusive hold(m_handler_lock);
    m_delivering.erase(std::find(m_delivering.begin(), m_delivering.end(), GetCurrentThreadId()));
    WakeAllConditionVariable(&m_delivered);
    return true;
}

bool Session::others_deliver() const {
    // A handler may release its own handle and must not wait for itself.
    return std::any_of(m_delivering.begin(), m_delivering.end(),
                       [](DWORD thread) { return thread != GetCurrentThreadId(); });
}

void Session::retire() {
    retire_handler();
    release_own_record();
}

void Session::retire_handler() {
    const Exclusive hold(m_handler_lock);
    m_retired = true;
    m_handler = nullptr;
    while (others_deliver()) {
        SleepConditionVariableSRW(&m_delivered, &m_handler_lock, INFINITE, 0);
    }
}

void Session::on_event(void* user, int event, const char* name) {
    auto* session = static_cast<Session*>(user);
    if (event == LAB_EVENT_DISCONNECTED) {
        session->set_connected(false);
    } else {
        queue_alert(session->weak_from_this(), name);
    }
}

}  // namespace lab
