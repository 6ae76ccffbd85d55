#include "ztbus3/remote_service.h"

#include "wire/connect.h"
#include "wire/process_identity.h"
#include "wire/stream.h"
#include "ztbus3/process_watch.h"
#include "ztbus3/refusal_report.h"

#include <cstdlib>
#include <cstring>
#include <map>

namespace lab {
namespace {

// A service that is being killed may still accept a connection but never reply.
constexpr DWORD first_answer_ms = 5000;

// Shared by the calling threads and the reading thread. The reading thread keeps
// it alive, because it may release the service last.
class RemoteLink {
  public:
    RemoteLink(SOCKET socket, std::function<void()> on_disconnect)
        : m_stream(socket), m_on_disconnect(std::move(on_disconnect)) {}

    void shut_down() { m_stream.shut_down(); }

    void set_alert_sink(Service::AlertSink sink) {
        const Exclusive hold(m_sink_lock);
        m_sink = std::move(sink);
    }

    // Sends a request and waits for its answer: a status and, if the call succeeded
    // or is a method call, results, which `read_results` reads. If no answer comes
    // within the limit, the connection is lost. `withheld` receives whether a fault plan
    // has kept back the results of a success.
    template <class ReadResults>
    opal_status ask(Writer& request, ReadResults&& read_results, DWORD limit_ms = INFINITE,
                    bool* withheld = nullptr) {
        const std::vector<std::uint8_t> question = request.take();
        if (question.size() > frame_limit) {
            return ZTERROR_INVALID_ARGUMENT;
        }
        Waiting waiting(*this);
        if (!m_stream.send(FrameKind::request, waiting.number(), question)) {
            m_stream.shut_down();
        }
        if (!waiting.wait(limit_ms)) {
            m_stream.shut_down();
            return ZTERROR_NOT_CONNECTED;
        }
        try {
            Reader answer(waiting.body());
            const opal_status status = answer.number();
            const Results results = answer.results();
            if (results == Results::present) {
                read_results(answer);
            } else if (results == Results::none && status == ZTSTATUS_OK) {
                throw Malformed("a success without results");
            }
            if (withheld != nullptr) {
                *withheld = results == Results::withheld;
            }
            answer.finish();
            return status;
        } catch (const Malformed&) {
            m_stream.shut_down();
            wait_for_end();
            return ZTERROR_NOT_CONNECTED;
        }
    }

    void read() {
        try {
            for (Frame frame; m_stream.receive(frame);) {
                take(frame);
            }
        } catch (const std::exception&) {
            // An invalid frame, or no memory for it: the rest of the stream is useless.
            m_stream.shut_down();
        }
        // Reported first: once a call has failed with this loss, the connection
        // must be marked as lost.
        m_on_disconnect();
        const Exclusive hold(m_lock);
        m_ended = true;
        WakeAllConditionVariable(&m_changed);
    }

  private:
    // A request that waits for its answer; on its caller's stack.
    class Waiting {
      public:
        explicit Waiting(RemoteLink& link) : m_link(link) {
            const Exclusive hold(m_link.m_lock);
            m_number = ++m_link.m_last_number;
            m_link.m_waiting[m_number] = this;
        }
        ~Waiting() {
            const Exclusive hold(m_link.m_lock);
            m_link.m_waiting.erase(m_number);
        }
        Waiting(const Waiting&) = delete;
        Waiting& operator=(const Waiting&) = delete;

        std::uint32_t number() const { return m_number; }
        const std::vector<std::uint8_t>& body() const { return m_body; }

        // Returns false if the connection ended first, or if nothing was received
        // on it within the limit.
        bool wait(DWORD limit_ms) {
            const Exclusive hold(m_link.m_lock);
            while (!m_answered && !m_link.m_ended &&
                   SleepConditionVariableSRW(&m_link.m_changed, &m_link.m_lock, limit_ms, 0)) {
            }
            return m_answered;
        }
        // Called under the link's lock.
        void answer(std::vector<std::uint8_t> body) {
            m_body = std::move(body);
            m_answered = true;
        }

      private:
        RemoteLink& m_link;
        std::uint32_t m_number = 0;
        bool m_answered = false;
        std::vector<std::uint8_t> m_body;
    };

    void wait_for_end() {
        const Exclusive hold(m_lock);
        while (!m_ended) {
            SleepConditionVariableSRW(&m_changed, &m_lock, INFINITE, 0);
        }
    }

    void take(Frame& frame) {
        switch (frame.kind) {
        case FrameKind::answer:
            take_answer(frame);
            break;
        case FrameKind::alert:
            take_alert(frame);
            break;
        case FrameKind::request:
        case FrameKind::control:
            throw Malformed("a request from the service");
        }
    }

    void take_answer(Frame& frame) {
        const Exclusive hold(m_lock);
        const auto found = m_waiting.find(frame.number);
        if (found == m_waiting.end()) {
            throw Malformed("an answer without a request");
        }
        Waiting& waiting = *found->second;
        m_waiting.erase(found);
        waiting.answer(std::move(frame.body));
        WakeAllConditionVariable(&m_changed);
    }

    void take_alert(const Frame& frame) {
        Reader body(frame.body);
        const std::string name = body.text();
        body.finish();
        const Shared hold(m_sink_lock);
        if (m_sink) {
            m_sink(name);
        }
    }

    Stream m_stream;
    std::function<void()> m_on_disconnect;
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
    std::map<std::uint32_t, Waiting*> m_waiting;
    std::uint32_t m_last_number = 0;
    bool m_ended = false;
    SRWLOCK m_sink_lock = SRWLOCK_INIT;
    Service::AlertSink m_sink;
};

DWORD WINAPI read_link(void* argument) {
    const std::unique_ptr<std::shared_ptr<RemoteLink>> link(
        static_cast<std::shared_ptr<RemoteLink>*>(argument));
    (*link)->read();
    return 0;
}

class RemoteService : public Service {
  public:
    explicit RemoteService(std::shared_ptr<RemoteLink> link) : m_link(std::move(link)) {}

    ~RemoteService() override {
        m_watch.reset();
        m_link->shut_down();
        if (m_reader != nullptr) {
            if (GetThreadId(m_reader) != GetCurrentThreadId()) {
                WaitForSingleObject(m_reader, INFINITE);
            }
            CloseHandle(m_reader);
        }
    }

    bool start() {
        auto link = std::make_unique<std::shared_ptr<RemoteLink>>(m_link);
        m_reader = CreateThread(nullptr, 0, read_link, link.get(), 0, nullptr);
        if (m_reader == nullptr) {
            return false;
        }
        link.release();
        return true;
    }

    // Also watches the service's process: when it is killed, Wine sometimes leaves
    // its connections open. Fails if the service does not answer.
    opal_status watch_process() {
        Writer request;
        write_introduction(request);
        ProcessIdentity identity{};
        const opal_status status = m_link->ask(
            request,
            [&](Reader& answer) {
                identity.number = answer.number();
                identity.started = answer.big_number();
            },
            first_answer_ms);
        if (status == ZTSTATUS_OK) {
            m_watch = std::make_unique<ProcessWatch>(open_process(identity),
                                                     [link = m_link] { link->shut_down(); });
        }
        return status;
    }

    opal_status get_property(const opal_objid& object, const std::string& name, Value& value,
                             ResultFault& fault) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::get_property));
        request.object(object);
        request.text(name);
        return m_link->ask(
            request,
            [&](Reader& answer) {
                value = answer.value();
                fault.as_type = answer.number();
                fault.lie = answer.lie();
            },
            INFINITE, &fault.nothing);
    }
    opal_status set_property(const opal_objid& object, const Property& property) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::set_property));
        request.object(object);
        request.text(property.name);
        request.value(property.value);
        return m_link->ask(request, [](Reader&) {});
    }
    opal_status get_properties(const opal_objid& object, PropertySet& properties) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::get_properties));
        request.object(object);
        return m_link->ask(request, [&](Reader& answer) { properties = answer.set(); });
    }
    opal_status get_type(const opal_objid& object, std::string& type, ResultFault& fault) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::get_type));
        request.object(object);
        return m_link->ask(
            request, [&](Reader& answer) { type = answer.text(); }, INFINITE, &fault.nothing);
    }
    opal_status get_children(const opal_objid& object, const std::string& type,
                             std::vector<opal_objid>& ids) override {
        return walk(Operation::get_children, object, type, ids);
    }
    opal_status get_parents(const opal_objid& object, const std::string& type,
                            std::vector<opal_objid>& ids) override {
        return walk(Operation::get_parents, object, type, ids);
    }
    opal_status delete_object(const opal_objid& object) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::delete_object));
        request.object(object);
        return m_link->ask(request, [](Reader&) {});
    }
    opal_status get_objects(const std::string& type, std::vector<opal_objid>& ids) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::get_objects));
        request.text(type);
        return m_link->ask(request, [&](Reader& answer) { ids = answer.objects(); });
    }
    opal_status query(const std::wstring& text, std::vector<opal_objid>& ids) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::query));
        request.wide(text);
        return m_link->ask(request, [&](Reader& answer) { ids = answer.objects(); });
    }
    opal_status invoke(const opal_objid& target, const GUID& interface_id, std::uint32_t major,
                       std::uint32_t minor, const PropertySet& input,
                       PropertySet& output) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::invoke));
        request.object(target);
        request.guid(interface_id);
        request.number(major);
        request.number(minor);
        request.set(input);
        return m_link->ask(request, [&](Reader& answer) { output = answer.set(); });
    }
    std::string name_of(const opal_objid& object) override {
        Writer request;
        request.number(static_cast<std::uint32_t>(Operation::name_of));
        request.object(object);
        std::string name = "?";
        m_link->ask(request, [&](Reader& answer) { name = answer.text(); });
        return name;
    }
    void set_alert_sink(AlertSink sink) override { m_link->set_alert_sink(std::move(sink)); }

  private:
    opal_status walk(Operation operation, const opal_objid& object, const std::string& type,
                     std::vector<opal_objid>& ids) {
        Writer request;
        request.number(static_cast<std::uint32_t>(operation));
        request.object(object);
        request.text(type);
        return m_link->ask(request, [&](Reader& answer) { ids = answer.objects(); });
    }

    std::shared_ptr<RemoteLink> m_link;
    HANDLE m_reader = nullptr;
    std::unique_ptr<ProcessWatch> m_watch;
};

}  // namespace

std::unique_ptr<Service> connect_remote(const char* service, std::function<void()> on_disconnect,
                                        opal_status& status) {
    status = ZTERROR_NOT_CONNECTED;
    sockaddr_in address;
    if (const std::string error = parse_address(service, address); !error.empty()) {
        report_refusal("ZTLAB_SERVICE is " + quoted(std::string(service)) + ": " + error +
                       "; expected for example 127.0.0.1:4711");
        status = ZTERROR_INVALID_ARGUMENT;
        return nullptr;
    }
    start_winsock();
    const SOCKET socket = connect_socket(address);
    if (socket == INVALID_SOCKET) {
        return nullptr;
    }
    auto remote = std::make_unique<RemoteService>(
        std::make_shared<RemoteLink>(socket, std::move(on_disconnect)));
    if (!remote->start()) {
        return nullptr;
    }
    status = remote->watch_process();
    return status == ZTSTATUS_OK ? std::move(remote) : nullptr;
}

}  // namespace lab
