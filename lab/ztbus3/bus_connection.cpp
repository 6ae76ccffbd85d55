#include "ztbus3/bus_connection.h"

#include "store/scenario.h"
#include "ztbus3/environment.h"
#include "ztbus3/live.h"
#include "ztbus3/process_files.h"
#include "ztbus3/refusal_report.h"
#include "ztbus3/remote_service.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace lab {
namespace {

SRWLOCK registry_lock = SRWLOCK_INIT;
std::unordered_map<opal_connection, std::shared_ptr<Connection>> registry;

// A connection whose handle was released in strict mode. Its words are kept: their
// addresses must not become another connection's.
struct Released {
    std::shared_ptr<Connection::Words> words;
    const void* handle = nullptr;
};
std::unordered_map<const void*, Released> released;  // by either word; under registry_lock

SRWLOCK store_lock = SRWLOCK_INIT;
std::shared_ptr<Store> store;

std::atomic<opal_status> refusal{ZTSTATUS_OK};

std::shared_ptr<Store> existing_store() {
    const Shared hold(store_lock);
    return store;
}

std::vector<std::shared_ptr<Connection>> all_connections() {
    const Shared hold(registry_lock);
    std::vector<std::shared_ptr<Connection>> connections;
    for (const auto& [handle, connection] : registry) {
        connections.push_back(connection);
    }
    return connections;
}

void alert_embedded(const std::string& name) {
    for (const auto& connection : all_connections()) {
        if (connection->is_embedded()) {
            connection->alert(name);
        }
    }
}

// Throws std::runtime_error with one line.
std::shared_ptr<Store> load_store() {
    const std::wstring path = environment_variable(L"ZTLAB_SCENARIO");
    if (path.empty()) {
        throw std::runtime_error("neither ZTLAB_SERVICE nor ZTLAB_SCENARIO is set");
    }
    return std::make_shared<Store>(load_scenario(path.c_str()));
}

// If `released_handle` is not null, later uses of the connection's words end the process.
opal_status close_connection(opal_connection connection, const void* released_handle) {
    std::shared_ptr<Connection> closed;
    {
        const Exclusive hold(registry_lock);
        const auto found = registry.find(connection);
        if (found == registry.end()) {
            return ZTERROR_INVALID_ARGUMENT;
        }
        closed = found->second;
        registry.erase(found);
        if (released_handle != nullptr) {
            const Released dead{closed->words(), released_handle};
            released[closed->handle()] = dead;
            released[closed->context()] = dead;
        }
    }
    closed->close_sink();
    --live.connections;
    return ZTSTATUS_OK;
}

// The loss of a remote service, which may come before the connection to it exists.
class Loss {
  public:
    void happen() {
        std::shared_ptr<Connection> connection;
        {
            const Exclusive hold(m_lock);
            m_happened = true;
            connection = m_connection.lock();
        }
        if (connection != nullptr) {
            connection->drop();
        }
    }
    // Drops the connection when the loss happens, or now if it already did.
    void drop_later(const std::shared_ptr<Connection>& connection) {
        bool happened = false;
        {
            const Exclusive hold(m_lock);
            m_connection = connection;
            happened = m_happened;
        }
        if (happened) {
            connection->drop();
        }
    }

  private:
    SRWLOCK m_lock = SRWLOCK_INIT;
    std::weak_ptr<Connection> m_connection;
    bool m_happened = false;
};

// Connects to the service at an address. `made` receives the connection on success.
opal_status connect_to(const char* service, lab_event_sink sink, void* user,
                       std::shared_ptr<Connection>& made) {
    const auto loss = std::make_shared<Loss>();
    opal_status status = ZTSTATUS_OK;
    std::shared_ptr<Service> remote = connect_remote(
        service, [loss] { loss->happen(); }, status);
    if (remote == nullptr) {
        return status;
    }
    made = std::make_shared<Connection>(remote, sink, user);
    remote->set_alert_sink([target = std::weak_ptr<Connection>(made)](const std::string& name) {
        if (const auto alive = target.lock()) {
            alive->alert(name);
        }
    });
    loss->drop_later(made);
    return ZTSTATUS_OK;
}

// Uses the files of the environment for a connection to the embedded service or to another one.
// Returns false, after one line on stderr, if that is impossible.
bool use_files(bool embedded) {
    FaultScope scope;
    if (embedded) {
        scope.has_object = service_scope(*existing_store()).has_object;
    }
    try {
        use_process_files(scope);
        return true;
    } catch (const std::exception& error) {
        report_refusal(error.what());
        return false;
    }
}

}  // namespace

Connection::Connection(std::shared_ptr<Service> remote, lab_event_sink sink, void* user)
    : m_remote(std::move(remote)), m_sink(sink), m_user(user) {}

std::shared_ptr<Service> Connection::service() const {
    return is_embedded() ? embedded_store() : m_remote;
}

void Connection::report(int event, const char* name) {
    const Shared hold(m_sink_lock);
    if (m_sink != nullptr) {
        m_sink(m_user, event, name);
    }
}

void Connection::drop() {
    if (m_connected.exchange(false)) {
        report(LAB_EVENT_DISCONNECTED, nullptr);
    }
}

void Connection::alert(const std::string& name) {
    if (m_connected) {
        report(LAB_EVENT_ALERT, name.c_str());
    }
}

void Connection::close_sink() {
    const Exclusive hold(m_sink_lock);
    m_sink = nullptr;
}

std::shared_ptr<Connection> find_connection(opal_connection handle) {
    const Shared hold(registry_lock);
    const auto found = registry.find(handle);
    return found == registry.end() ? nullptr : found->second;
}

void end_if_released(const void* word, const char* function) {
    const void* handle = nullptr;
    {
        const Shared hold(registry_lock);
        const auto found = released.find(word);
        if (found == released.end()) {
            return;
        }
        handle = found->second.handle;
    }
    char use[128];
    std::snprintf(use, sizeof use, "the connection of released handle 0x%llx was passed to %s",
                  static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)),
                  function);
    LabEndReleasedUse(use, nullptr);
}

std::shared_ptr<Store> embedded_store() {
    if (std::shared_ptr<Store> there = existing_store()) {
        return there;
    }
    const Exclusive hold(store_lock);
    if (store == nullptr) {
        try {
            store = load_store();
        } catch (const std::exception& error) {
            report_refusal(error.what());
            return nullptr;
        }
        store->set_alert_sink(alert_embedded);
    }
    return store;
}

void set_embedded_store(std::shared_ptr<Store> new_store) {
    new_store->set_alert_sink(alert_embedded);
    const Exclusive hold(store_lock);
    store = std::move(new_store);
}

void drop_connections() {
    for (const auto& connection : all_connections()) {
        connection->drop();
    }
}

std::string name_of_object(const opal_objid& id) {
    if (IdEqual()(id, opal_objid{})) {
        return "null";
    }
    const std::string unknown = hex_string(id.bytes, sizeof id.bytes);
    if (const std::shared_ptr<Store> embedded = existing_store()) {
        const std::string name = embedded->name_of(id);
        if (name != unknown) {
            return name;
        }
    }
    for (const auto& connection : all_connections()) {
        if (!connection->is_embedded() && connection->connected()) {
            const std::string name = connection->service()->name_of(id);
            if (name != unknown && name != "?") {
                return name;
            }
        }
    }
    return unknown;
}

}  // namespace lab

using namespace lab;

opal_status LabOpenConnection(const char* service, lab_event_sink sink, void* user,
                              opal_connection* connection, opal_context* context) {
    if (connection == nullptr || context == nullptr) {
        return ZTERROR_INVALID_ARGUMENT;
    }
    if (refusal != ZTSTATUS_OK) {
        return refusal;
    }
    std::shared_ptr<Connection> made;
    if (service == nullptr) {
        if (embedded_store() == nullptr || !use_files(true)) {
            return ZTERROR_NOT_CONNECTED;
        }
        made = std::make_shared<Connection>(nullptr, sink, user);
    } else if (!use_files(false)) {
        return ZTERROR_NOT_CONNECTED;
    } else if (const opal_status status = connect_to(service, sink, user, made);
               status != ZTSTATUS_OK) {
        return status;
    }
    {
        const Exclusive hold(registry_lock);
        registry[made->handle()] = made;
    }
    ++live.connections;
    *connection = made->handle();
    *context = made->context();
    return ZTSTATUS_OK;
}

opal_status LabCloseConnection(opal_connection handle) {
    return close_connection(handle, nullptr);
}

opal_status LabReleaseConnection(opal_connection connection, const void* handle) {
    return close_connection(connection, handle);
}

void LabDropConnections(void) {
    drop_connections();
}

void LabRefuseConnections(opal_status status) {
    refusal = status;
}

void LabRaiseAlert(const char* name) {
    if (const std::shared_ptr<Store> embedded = embedded_store()) {
        embedded->raise_alert(name);
    }
}
