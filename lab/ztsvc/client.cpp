#include "ztsvc/client.h"

#include "store/bus_status.h"
#include "wire/process_identity.h"
#include "ztsvc/control.h"

namespace lab {
namespace {

constexpr std::size_t longest_program_name = 255;

// Thrown when the fault plan closes the client's connection.
struct Dropped {};

// Builds an answer: a status and, after a success that the fault plan does not withhold, results.
template <class Write>
std::vector<std::uint8_t> reply(opal_status status, const Fault& fault, Write&& write) {
    Writer body;
    body.number(status);
    const Results results = is_failure(status) ? Results::none
                            : fault.nothing    ? Results::withheld
                                               : Results::present;
    body.results(results);
    if (results == Results::present) {
        write(body);
    }
    return body.take();
}

std::vector<std::uint8_t> reply_ids(opal_status status, const Fault& fault,
                                    const std::vector<opal_objid>& ids) {
    return reply(status, fault, [&](Writer& body) { body.objects(ids); });
}

std::vector<std::uint8_t> reply_status(opal_status status, const Fault& fault) {
    return reply(status, fault, [](Writer&) {});
}

// The objects that a request has returned, as the end of its line in the record.
std::string ids_string(const CallText& text, opal_status status, const Fault& fault,
                       const std::vector<opal_objid>& ids) {
    if (is_failure(status)) {
        return {};
    }
    return " " + text.objects(fault.nothing ? std::vector<opal_objid>() : ids);
}

}  // namespace

void Client::log_connection() {
    if (!m_logged) {
        m_logged = true;
        m_log.connected(m_name);
    }
}

void Client::serve() {
    try {
        for (Frame frame; m_stream.receive(frame);) {
            if (frame.kind != FrameKind::request && frame.kind != FrameKind::control) {
                throw Malformed("expected a request");
            }
            const std::vector<std::uint8_t> body =
                frame.kind == FrameKind::control ? run_control(frame) : answer(frame);
            log_connection();
            if (!m_stream.send(FrameKind::answer, frame.number, body)) {
                break;
            }
        }
        log_connection();
        if (m_dropped) {
            m_log.dropped(m_name, "labctl");
        } else {
            m_log.disconnected(m_name);
        }
    } catch (const Dropped&) {
        m_log.dropped(m_name, "the fault plan");
    } catch (const Malformed& error) {
        log_connection();
        m_log.rejected(m_name, error.what());
    }
    m_stream.shut_down();
}

void Client::alert(const std::string& name) {
    Writer body;
    body.text(name);
    if (!m_stream.send(FrameKind::alert, 0, body.take())) {
        m_stream.shut_down();
    }
}

void Client::drop() {
    m_dropped = true;
    m_stream.shut_down();
}

ClientName Client::name() const {
    const Shared hold(m_name_lock);
    return m_name;
}

// The answer to a control request is a flag and JSON: the result, or why it is refused.
Client::Answer Client::run_control(const Frame& request) {
    Reader body(request.body);
    const std::string command = body.text();
    body.finish();
    std::string result;
    bool done = false;
    try {
        result = control(m_parts, command);
        done = true;
    } catch (const std::exception& error) {
        result = error.what();
    }
    if (result.size() > frame_limit / 2) {
        done = false;
        result = "the answer is too large";
    }
    Writer answer;
    answer.flag(done);
    answer.text(result);
    return answer.take();
}

CallText Client::call_text() const {
    return CallText(
        [](const opal_objid& id, const void* store) {
            return const_cast<Store*>(static_cast<const Store*>(store))->name_of(id);
        },
        &m_store);
}

template <class Arguments, class Results>
void Client::record(Function function, opal_status status, Arguments&& arguments,
                    Results&& results) {
    if (m_parts.recorder.is_on()) {
        m_parts.recorder.add(m_name.text() + ": " + function_name(function) + " " + arguments() +
                             status_string(status) + results());
    }
}

// What a request refers to, for the fault plan.
struct Client::About {
    const opal_objid* object = nullptr;
    std::string property = {};
    std::string type = {};
    std::uint32_t minor = 0;
};

template <class Work>
Fault Client::perform(Function function, const About& about, opal_status& status, Work&& work) {
    Fault fault;
    if (!m_parts.faults.empty()) {
        fault = m_parts.faults.next(function,
                                    {about.object != nullptr ? m_store.name_of(*about.object) : "",
                                     about.property, about.type, about.minor});
        if (fault.delay_ms != 0) {
            Sleep(fault.delay_ms);
        }
    }
    m_parts.kernel.collect();
    status = fault.status;
    if (fault.answers) {
        fault.nothing = true;
    } else {
        status = work();
        if (fault.nothing) {
            status = ZTSTATUS_OK;
        }
    }
    if (fault.drop) {
        throw Dropped();
    }
    if (fault.after) {
        status = fault.status;
    }
    return fault;
}

Client::Answer Client::get_property(Reader& body) {
    const opal_objid object = body.object();
    const std::string name = body.text();
    body.finish();
    Value value;
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(Function::ObGetProperty, {.object = &object, .property = name},
                                status, [&] { return m_store.get_property(object, name, value); });
    record(
        Function::ObGetProperty, status,
        [&] { return call_text().object(object) + " " + quoted(name); },
        [&] {
            return std::string(
                is_failure(status) || fault.nothing ? "" : " " + call_text().value(value, fault));
        });
    return reply(status, fault, [&](Writer& out) {
        out.value(value);
        out.number(fault.as_type);
        out.lie(fault.lie);
    });
}

Client::Answer Client::set_property(Reader& body) {
    const opal_objid object = body.object();
    Property property;
    property.name = body.text();
    property.value = body.value();
    body.finish();
    opal_status status = ZTSTATUS_OK;
    const Fault fault =
        perform(Function::ObSetProperty, {.object = &object, .property = property.name}, status,
                [&] { return m_store.set_property(object, property); });
    record(
        Function::ObSetProperty, status,
        [&] {
            return call_text().object(object) + " " + quoted(property.name) + " " +
                   call_text().value(property.value);
        },
        [&] { return std::string(); });
    return reply_status(status, fault);
}

Client::Answer Client::get_properties(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    PropertySet properties;
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(Function::ObGetProperties, {.object = &object}, status,
                                [&] { return m_store.get_properties(object, properties); });
    record(
        Function::ObGetProperties, status, [&] { return call_text().object(object); },
        [&] {
            return std::string(
                is_failure(status)
                    ? ""
                    : " " + call_text().set(fault.nothing ? PropertySet() : properties));
        });
    return reply(status, fault, [&](Writer& out) { out.set(properties); });
}

Client::Answer Client::get_type(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    std::string type;
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(Function::ObGetObjectType, {.object = &object}, status,
                                [&] { return m_store.get_type(object, type); });
    record(
        Function::ObGetObjectType, status, [&] { return call_text().object(object); },
        [&] { return std::string(is_failure(status) || fault.nothing ? "" : " " + type); });
    return reply(status, fault, [&](Writer& out) { out.text(type); });
}

Client::Answer Client::get_related(Reader& body, Function function) {
    const opal_objid object = body.object();
    const std::string type = body.text();
    body.finish();
    std::vector<opal_objid> ids;
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(function, {.object = &object, .type = type}, status, [&] {
        return function == Function::ObGetChildObjects ? m_store.get_children(object, type, ids)
                                                       : m_store.get_parents(object, type, ids);
    });
    record(
        function, status,
        [&] { return call_text().object(object) + " " + (type.empty() ? "*" : type); },
        [&] { return ids_string(call_text(), status, fault, ids); });
    return reply_ids(status, fault, ids);
}

Client::Answer Client::delete_object(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    const std::string name = call_text().object(object);  // the deleted object has none
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(Function::ObDeleteObject, {.object = &object}, status,
                                [&] { return m_store.delete_object(object); });
    record(
        Function::ObDeleteObject, status, [&] { return name; }, [&] { return std::string(); });
    return reply_status(status, fault);
}

Client::Answer Client::get_objects(Reader& body) {
    const std::string type = body.text();
    body.finish();
    std::vector<opal_objid> ids;
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(Function::DbGetObjects, {.type = type}, status,
                                [&] { return m_store.get_objects(type, ids); });
    record(
        Function::DbGetObjects, status, [&] { return type; },
        [&] { return ids_string(call_text(), status, fault, ids); });
    return reply_ids(status, fault, ids);
}

Client::Answer Client::query(Reader& body) {
    const std::wstring text = body.wide();
    body.finish();
    std::vector<opal_objid> ids;
    opal_status status = ZTSTATUS_OK;
    const Fault fault = perform(Function::DbGetObjectsByQuery, {}, status,
                                [&] { return m_store.query(text, ids); });
    record(
        Function::DbGetObjectsByQuery, status, [&] { return quoted(text); },
        [&] { return ids_string(call_text(), status, fault, ids); });
    return reply_ids(status, fault, ids);
}

Client::Answer Client::invoke(Reader& body) {
    const opal_objid target = body.object();
    const GUID interface_id = body.guid();
    const std::uint32_t major = body.number();
    const std::uint32_t minor = body.number();
    const PropertySet input = body.set();
    body.finish();
    PropertySet output;
    opal_status status = ZTSTATUS_OK;
    const Fault fault =
        perform(Function::PrCallDispatch, {.object = &target, .minor = minor}, status,
                [&] { return m_store.invoke(target, interface_id, major, minor, input, output); });
    if (fault.nothing) {
        output.clear();
    }
    record(
        Function::PrCallDispatch, status,
        [&] {
            return call_text().object(target) + " " + guid_string(interface_id) + " " +
                   std::to_string(major) + "." + std::to_string(minor) + " " +
                   call_text().set(input);
        },
        [&] { return " " + call_text().set(output); });
    m_log.called(m_name, interface_id, major, minor, status);
    // A method may return results with a failure.
    Writer answer;
    answer.number(status);
    answer.results(Results::present);
    answer.set(output);
    return answer.take();
}

Client::Answer Client::name_of(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    const std::string name = m_store.name_of(object);
    return reply(ZTSTATUS_OK, {}, [&](Writer& out) { out.text(name); });
}

Client::Answer Client::process(Reader& body) {
    const std::uint32_t process = body.number();
    const std::string program = body.text();
    body.finish();
    {
        const Exclusive hold(m_name_lock);
        m_name.process = process;
        m_name.program = program.substr(0, longest_program_name);
    }
    const ProcessIdentity identity = this_process();
    return reply(ZTSTATUS_OK, {}, [&](Writer& out) {
        out.number(identity.number);
        out.big_number(identity.started);
    });
}

Client::Answer Client::answer(const Frame& request) {
    Reader body(request.body);
    const auto operation = static_cast<Operation>(body.number());
    if (operation != Operation::process) {
        log_connection();
    }
    switch (operation) {
    case Operation::get_property:
        return get_property(body);
    case Operation::set_property:
        return set_property(body);
    case Operation::get_properties:
        return get_properties(body);
    case Operation::get_type:
        return get_type(body);
    case Operation::get_children:
        return get_related(body, Function::ObGetChildObjects);
    case Operation::get_parents:
        return get_related(body, Function::ObGetParentObjects);
    case Operation::delete_object:
        return delete_object(body);
    case Operation::get_objects:
        return get_objects(body);
    case Operation::query:
        return query(body);
    case Operation::invoke:
        return invoke(body);
    case Operation::name_of:
        return name_of(body);
    case Operation::process:
        return process(body);
    }
    throw Malformed("an unknown operation");
}

}  // namespace lab
