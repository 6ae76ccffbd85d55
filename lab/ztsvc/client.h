// One client of the service: its connection and the requests on it.
#pragma once

#include "store/call_text.h"
#include "wire/stream.h"
#include "ztsvc/service_parts.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lab {

class Client {
  public:
    Client(SOCKET socket, ServiceParts& parts, std::uint32_t number)
        : m_stream(socket), m_parts(parts), m_store(parts.store), m_log(parts.log) {
        m_name.number = number;
    }

    // Answers requests until the client disconnects or sends an invalid frame.
    void serve();
    // Sends an alert. Disconnects a client that does not take it.
    void alert(const std::string& name);
    // Disconnects the client.
    void drop();
    ClientName name() const;

  private:
    using Answer = std::vector<std::uint8_t>;

    // Returns the answer to a request. Throws Malformed and Dropped.
    Answer answer(const Frame& request);
    // Each reads the rest of the request's body, performs the operation and returns the answer.
    Answer get_property(Reader& body);
    Answer set_property(Reader& body);
    Answer get_properties(Reader& body);
    Answer get_type(Reader& body);
    Answer get_related(Reader& body, Function function);
    Answer delete_object(Reader& body);
    Answer get_objects(Reader& body);
    Answer query(Reader& body);
    Answer invoke(Reader& body);
    Answer name_of(Reader& body);
    Answer process(Reader& body);
    // Does the work of a request with the fault that applies to it, and returns the fault.
    // Throws Dropped.
    struct About;
    template <class Work>
    Fault perform(Function function, const About& about, opal_status& status, Work&& work);
    Answer run_control(const Frame& request);
    // Records a call. `arguments` and `results` return the parts of the line before and after
    // the status.
    template <class Arguments, class Results>
    void record(Function function, opal_status status, Arguments&& arguments, Results&& results);
    CallText call_text() const;
    // Logs the connection, once the client's name is known or must do without.
    void log_connection();

    Stream m_stream;
    ServiceParts& m_parts;
    Store& m_store;
    const Log& m_log;
    mutable SRWLOCK m_name_lock = SRWLOCK_INIT;
    ClientName m_name;  // changed by the serving thread only
    std::atomic<bool> m_dropped{false};
    bool m_logged = false;  // the connection
};

}  // namespace lab
