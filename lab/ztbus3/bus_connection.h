// The connections of this process, and the service embedded in it.
#pragma once

#include "store/store.h"
#include "ztbus3/lab_bus.h"

#include <atomic>
#include <memory>
#include <string>

namespace lab {

class Connection {
  public:
    // Connects to the embedded service if `remote` is null.
    Connection(std::shared_ptr<Service> remote, lab_event_sink sink, void* user);

    // Provides the two addresses that a client knows the connection by. No other connection
    // has them as long as the words exist.
    struct Words {
        char connection = 0;
        char context = 0;
    };
    opal_connection handle() const {
        return reinterpret_cast<opal_connection>(&m_words->connection);
    }
    opal_context context() const { return reinterpret_cast<opal_context>(&m_words->context); }
    std::shared_ptr<Words> words() const { return m_words; }

    bool is_embedded() const { return m_remote == nullptr; }
    bool connected() const { return m_connected; }
    std::shared_ptr<Service> service() const;

    // Marks the connection as lost and reports that to the sink, once.
    void drop();
    void alert(const std::string& name);
    // When this returns, no call of the sink is in progress and none will follow.
    void close_sink();

  private:
    void report(int event, const char* name);

    std::shared_ptr<Service> m_remote;
    std::atomic<bool> m_connected{true};
    SRWLOCK m_sink_lock = SRWLOCK_INIT;
    lab_event_sink m_sink;
    void* m_user;
    std::shared_ptr<Words> m_words = std::make_shared<Words>();
};

// Returns null if the handle is not a connection of this process.
std::shared_ptr<Connection> find_connection(opal_connection handle);

// Ends the process when `word` is of a connection that LabReleaseConnection closed;
// `function` was called with it.
void end_if_released(const void* word, const char* function);

// The storage of this process. Returns null, after one line on stderr, if it has none and
// there is no usable scenario for it.
std::shared_ptr<Store> embedded_store();
void set_embedded_store(std::shared_ptr<Store> store);

void drop_connections();

// Returns an object's name in the scenario of any service that this process is
// connected to, "null" for the null id, hexadecimal digits for an unknown id.
std::string name_of_object(const opal_objid& id);

}  // namespace lab
