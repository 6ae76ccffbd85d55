#include "ztsvc/client.h"

#include "wire/process_identity.h"

namespace lab {
namespace {

constexpr std::size_t longest_program_name = 255;

// Thrown when the fault plan closes the client's connection.
struct Dropped {};

// Builds an answer: a status and results.
template <class Write>
std::vector<std::uint8_t> reply(opal_status status, bool has_results, Write&& write) {
    Writer body;
    body.number(status);
    body.flag(has_results);
    if (has_results) {
        write(body);
    }
    return body.take();
}

std::vector<std::uint8_t> reply_ids(opal_status status, const std::vector<opal_objid>& ids) {
    return reply(status, status == ZTSTATUS_OK, [&](Writer& body) { body.objects(ids); });
}

std::vector<std::uint8_t> reply_status(opal_status status) {
    return reply(status, status == ZTSTATUS_OK, [](Writer&) {});
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
            if (frame.kind != FrameKind::request) {
                throw Malformed("expected a request");
            }
            const std::vector<std::uint8_t> body = answer(frame);
            log_connection();
            if (!m_stream.send(FrameKind::answer, frame.number, body)) {
                break;
            }
        }
        log_connection();
        m_log.disconnected(m_name);
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

template <class Work>
opal_status Client::faulty(Operation operation, Work&& work, std::uint32_t minor) {
    const ServiceFault fault = m_faults.next(operation, minor);
    if (fault.delay_ms != 0) {
        Sleep(fault.delay_ms);
    }
    m_kernel.collect();
    const opal_status status = fault.status ? *fault.status : work();
    if (fault.drop) {
        throw Dropped();
    }
    return status;
}

Client::Answer Client::get_property(Reader& body) {
    const opal_objid object = body.object();
    const std::string name = body.text();
    body.finish();
    Value value;
    const opal_status status =
        faulty(Operation::get_property, [&] { return m_store.get_property(object, name, value); });
    return reply(status, status == ZTSTATUS_OK, [&](Writer& out) { out.value(value); });
}

Client::Answer Client::set_property(Reader& body) {
    const opal_objid object = body.object();
    Property property;
    property.name = body.text();
    property.value = body.value();
    body.finish();
    return reply_status(
        faulty(Operation::set_property, [&] { return m_store.set_property(object, property); }));
}

Client::Answer Client::get_properties(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    PropertySet properties;
    const opal_status status = faulty(Operation::get_properties,
                                      [&] { return m_store.get_properties(object, properties); });
    return reply(status, status == ZTSTATUS_OK, [&](Writer& out) { out.set(properties); });
}

Client::Answer Client::get_type(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    std::string type;
    const opal_status status =
        faulty(Operation::get_type, [&] { return m_store.get_type(object, type); });
    return reply(status, status == ZTSTATUS_OK, [&](Writer& out) { out.text(type); });
}

Client::Answer Client::get_related(Reader& body, Operation operation) {
    const opal_objid object = body.object();
    const std::string type = body.text();
    body.finish();
    std::vector<opal_objid> ids;
    const opal_status status = faulty(operation, [&] {
        return operation == Operation::get_children ? m_store.get_children(object, type, ids)
                                                    : m_store.get_parents(object, type, ids);
    });
    return reply_ids(status, ids);
}

Client::Answer Client::delete_object(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    return reply_status(
        faulty(Operation::delete_object, [&] { return m_store.delete_object(object); }));
}

Client::Answer Client::get_objects(Reader& body) {
    const std::string type = body.text();
    body.finish();
    std::vector<opal_objid> ids;
    const opal_status status =
        faulty(Operation::get_objects, [&] { return m_store.get_objects(type, ids); });
    return reply_ids(status, ids);
}

Client::Answer Client::query(Reader& body) {
    const std::wstring text = body.wide();
    body.finish();
    std::vector<opal_objid> ids;
    const opal_status status = faulty(Operation::query, [&] { return m_store.query(text, ids); });
    return reply_ids(status, ids);
}

Client::Answer Client::invoke(Reader& body) {
    const opal_objid target = body.object();
    const GUID interface_id = body.guid();
    const std::uint32_t major = body.number();
    const std::uint32_t minor = body.number();
    const PropertySet input = body.set();
    body.finish();
    PropertySet output;
    const opal_status status = faulty(
        Operation::invoke,
        [&] { return m_store.invoke(target, interface_id, major, minor, input, output); }, minor);
    m_log.called(m_name, interface_id, major, minor, status);
    return reply(status, true, [&](Writer& out) { out.set(output); });
}

Client::Answer Client::name_of(Reader& body) {
    const opal_objid object = body.object();
    body.finish();
    const std::string name = m_store.name_of(object);
    return reply(ZTSTATUS_OK, true, [&](Writer& out) { out.text(name); });
}

Client::Answer Client::process(Reader& body) {
    const std::uint32_t process = body.number();
    const std::string program = body.text();
    body.finish();
    m_name.process = process;
    m_name.program = program.substr(0, longest_program_name);
    const ProcessIdentity identity = this_process();
    return reply(ZTSTATUS_OK, true, [&](Writer& out) {
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
    case Operation::get_parents:
        return get_related(body, operation);
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
