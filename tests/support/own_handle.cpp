#include "support/own_handle.h"

#include <stdexcept>

namespace support {

OwnHandle::OwnHandle(Connection connection) {
    InitializeCriticalSection(&m_record.lock);
    m_record.connected = 1;
    if (connection == Connection::open &&
        LabOpenConnection(nullptr, &OwnHandle::on_event, this, &m_record.connection,
                          &m_record.connection_context) != ZTSTATUS_OK) {
        DeleteCriticalSection(&m_record.lock);
        throw std::runtime_error("no connection to the embedded service");
    }
}

OwnHandle::~OwnHandle() {
    if (m_record.connection != nullptr) {
        LabCloseConnection(m_record.connection);
    }
    DeleteCriticalSection(&m_record.lock);
}

void OwnHandle::set_connected(std::uint8_t value) {
    EnterCriticalSection(&m_record.lock);
    m_record.connected = value;
    LeaveCriticalSection(&m_record.lock);
}

void OwnHandle::on_event(void* self, int event, const char* /*name*/) {
    if (event == LAB_EVENT_DISCONNECTED) {
        static_cast<OwnHandle*>(self)->set_connected(0);
    }
}

}  // namespace support
