// The bus's objects, database and methods: what goes to the service.
#include "call.h"
#include "connection.h"
#include "live.h"
#include "marshal.h"
#include "propset.h"

#include <cstring>

namespace lab {
namespace {

std::string name_of_subject(Service& service, const opal_objid* object) {
    return object != nullptr ? service.name_of(*object) : std::string();
}

// What a call did: its status, and whether it is to hand out nothing.
struct Outcome {
    opal_status status = ZTSTATUS_OK;
    Fault fault;

    // Whether results are to be handed out.
    bool delivers() const { return status == ZTSTATUS_OK && !fault.nothing; }
};

// One call that goes to the service on a connection. `context` is not looked at
// where the function does not take it.
class ServiceCall {
  public:
    ServiceCall(Function function, opal_connection connection)
        : m_function(function), m_connection(find_connection(connection)),
          m_known(m_connection != nullptr) {
        count_call(function);
    }
    ServiceCall(Function function, opal_connection connection, opal_context context)
        : ServiceCall(function, connection) {
        m_known = m_known && m_connection->context() == context;
    }

    // `work` takes the Service and returns a status.
    template <class Work>
    Outcome run(const opal_objid* object, const char* property, const char* type,
                std::uint32_t minor, Work&& work) {
        Outcome outcome;
        if (!m_known || !m_connection->connected()) {
            outcome.status = ZTERROR_NOT_CONNECTED;
            return outcome;
        }
        const std::shared_ptr<Service> service = m_connection->service();
        if (has_fault_plan()) {
            outcome.fault = next_fault(m_function, {name_of_subject(*service, object),
                                                    property != nullptr ? property : "",
                                                    type != nullptr ? type : "", minor});
            if (outcome.fault.delay_ms != 0) {
                Sleep(outcome.fault.delay_ms);
            }
            if (outcome.fault.answers) {
                outcome.status = outcome.fault.status;
                return outcome;
            }
        }
        outcome.status = work(*service);
        if (outcome.fault.drop) {
            drop_connections();
        }
        if (outcome.fault.after) {
            outcome.status = outcome.fault.status;
        } else if (outcome.fault.nothing) {
            outcome.status = ZTSTATUS_OK;
        }
        return outcome;
    }

    // Writes the call down; `text` makes what stands behind the function's name.
    template <class Text> void write_down(Text&& text) const {
        if (is_recorded(m_function)) {
            record(m_function, text() + (m_known ? "" : " !connection"));
        }
    }

  private:
    Function m_function;
    std::shared_ptr<Connection> m_connection;
    bool m_known;
};

// An id array of the client's; NULL for none.
opal_objid* hand_out_ids(const std::vector<opal_objid>& ids) {
    if (ids.empty()) {
        return nullptr;
    }
    auto* array = static_cast<opal_objid*>(std::malloc(ids.size() * sizeof(opal_objid)));
    if (array == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(array, ids.data(), ids.size() * sizeof(opal_objid));
    ++live.blocks;
    return array;
}

std::string ids_text(const std::vector<opal_objid>& ids) {
    std::string text = " [";
    for (const opal_objid& id : ids) {
        text += (text.size() == 2 ? "" : " ") + object_text(&id);
    }
    return text + "]";
}

// Hands ids out, or none.
void deliver_ids(const Outcome& outcome, std::vector<opal_objid>& found, opal_objid** ids,
                 std::uint32_t* count) {
    if (outcome.status != ZTSTATUS_OK) {
        return;
    }
    if (!outcome.delivers()) {
        found.clear();
    }
    *ids = hand_out_ids(found);
    *count = static_cast<std::uint32_t>(found.size());
}

template <class Walk>
opal_status walk_objects(Function function, opal_connection connection, opal_context context,
                         const opal_objid* object, const char* type, opal_objid** ids,
                         std::uint32_t* count, Walk&& walk) {
    ServiceCall call(function, connection, context);
    std::vector<opal_objid> found;
    Outcome outcome;
    if (object == nullptr || ids == nullptr || count == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(object, nullptr, type, 0,
                           [&](Service& service) { return walk(service, found); });
        deliver_ids(outcome, found, ids, count);
    }
    call.write_down([&] {
        return " " + object_text(object) + " " + (type != nullptr ? type : "*") +
               status_text(outcome.status) + (outcome.status == ZTSTATUS_OK ? ids_text(found) : "");
    });
    return outcome.status;
}

}  // namespace
}  // namespace lab

using namespace lab;

opal_status ObGetProperty(opal_connection connection, opal_context context,
                          const opal_objid* object, const char* name, opal_property* property) {
    ServiceCall call(Function::ObGetProperty, connection, context);
    Value value;
    Outcome outcome;
    if (object == nullptr || name == nullptr || property == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(object, name, nullptr, 0, [&](Service& service) {
            return service.get_property(*object, name, value);
        });
        if (outcome.delivers()) {
            hand_out_with(outcome.fault, name, value, *property);
        } else if (outcome.status == ZTSTATUS_OK) {
            *property = {};
        }
    }
    call.write_down([&] {
        return " " + object_text(object) + " " + quote(name) + status_text(outcome.status) +
               (outcome.delivers() ? " " + value_text(value) : "");
    });
    return outcome.status;
}

opal_status ObSetProperty(opal_connection connection, opal_context context,
                          const opal_objid* object, const opal_property* property) {
    ServiceCall call(Function::ObSetProperty, connection, context);
    Property taken;
    Outcome outcome;
    if (object == nullptr || property == nullptr || !take_in(*property, taken)) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(object, taken.name.c_str(), nullptr, 0,
                           [&](Service& service) { return service.set_property(*object, taken); });
    }
    call.write_down([&] {
        return " " + object_text(object) + " " + quote(taken.name.c_str()) + " " +
               value_text(taken.value) + status_text(outcome.status);
    });
    return outcome.status;
}

opal_status ObGetProperties(opal_connection connection, opal_context context,
                            const opal_objid* object, opal_propset* set) {
    ServiceCall call(Function::ObGetProperties, connection, context);
    PropertySet properties;
    Outcome outcome;
    if (object == nullptr || set == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(object, nullptr, nullptr, 0, [&](Service& service) {
            return service.get_properties(*object, properties);
        });
        if (outcome.status == ZTSTATUS_OK) {
            *set = outcome.fault.nothing ? nullptr : new_propset(properties);
        }
    }
    call.write_down([&] {
        return " " + object_text(object) + status_text(outcome.status) +
               (outcome.delivers() ? " " + set_text(properties) : "");
    });
    return outcome.status;
}

opal_status ObGetObjectType(opal_connection connection, opal_context context,
                            const opal_objid* object, char** type) {
    ServiceCall call(Function::ObGetObjectType, connection, context);
    std::string found;
    Outcome outcome;
    if (object == nullptr || type == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(object, nullptr, nullptr, 0,
                           [&](Service& service) { return service.get_type(*object, found); });
        if (outcome.delivers()) {
            char* text = static_cast<char*>(std::malloc(found.size() + 1));
            if (text == nullptr) {
                outcome.status = ZTERROR_NO_MEMORY;
            } else {
                std::memcpy(text, found.c_str(), found.size() + 1);
                ++live.blocks;
                *type = text;
            }
        } else if (outcome.status == ZTSTATUS_OK) {
            *type = nullptr;
        }
    }
    call.write_down([&] {
        return " " + object_text(object) + status_text(outcome.status) +
               (outcome.delivers() ? " " + found : "");
    });
    return outcome.status;
}

opal_status ObGetChildObjects(opal_connection connection, opal_context context,
                              const opal_objid* object, const char* type, opal_objid** ids,
                              uint32_t* count) {
    return walk_objects(Function::ObGetChildObjects, connection, context, object, type, ids, count,
                        [&](Service& service, std::vector<opal_objid>& found) {
                            return service.get_children(*object, type != nullptr ? type : "",
                                                        found);
                        });
}

opal_status ObGetParentObjects(opal_connection connection, opal_context context,
                               const opal_objid* object, const char* type, opal_objid** ids,
                               uint32_t* count) {
    return walk_objects(Function::ObGetParentObjects, connection, context, object, type, ids, count,
                        [&](Service& service, std::vector<opal_objid>& found) {
                            return service.get_parents(*object, type != nullptr ? type : "", found);
                        });
}

opal_status ObDeleteObject(opal_connection connection, opal_context context,
                           const opal_objid* object) {
    ServiceCall call(Function::ObDeleteObject, connection, context);
    // Written down before: afterwards the object has no name.
    const std::string text = is_recorded(Function::ObDeleteObject) ? object_text(object) : "";
    Outcome outcome;
    if (object == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(object, nullptr, nullptr, 0,
                           [&](Service& service) { return service.delete_object(*object); });
    }
    call.write_down([&] { return " " + text + status_text(outcome.status); });
    return outcome.status;
}

int32_t ObCompareId(const opal_objid* left, const opal_objid* right) {
    count_call(Function::ObCompareId);
    return std::memcmp(left, right, sizeof *left);
}

opal_status DbGetObjects(opal_connection connection, opal_context context, const char* type,
                         opal_objid** ids, uint32_t* count) {
    ServiceCall call(Function::DbGetObjects, connection, context);
    std::vector<opal_objid> found;
    Outcome outcome;
    if (type == nullptr || ids == nullptr || count == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(nullptr, nullptr, type, 0,
                           [&](Service& service) { return service.get_objects(type, found); });
        deliver_ids(outcome, found, ids, count);
    }
    call.write_down([&] {
        return " " + std::string(type != nullptr ? type : "NULL") + status_text(outcome.status) +
               (outcome.status == ZTSTATUS_OK ? ids_text(found) : "");
    });
    return outcome.status;
}

opal_status DbGetObjectsByQuery(opal_connection connection, opal_context context,
                                const wchar_t* query, opal_objid** ids, uint32_t* count) {
    ServiceCall call(Function::DbGetObjectsByQuery, connection, context);
    std::vector<opal_objid> found;
    Outcome outcome;
    if (query == nullptr || ids == nullptr || count == nullptr) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(nullptr, nullptr, nullptr, 0,
                           [&](Service& service) { return service.query(query, found); });
        deliver_ids(outcome, found, ids, count);
    }
    call.write_down([&] {
        const Value text = wide_value(query != nullptr ? query : L"");
        return " " + value_text(text).substr(sizeof "WSTR") + status_text(outcome.status) +
               (outcome.status == ZTSTATUS_OK ? ids_text(found) : "");
    });
    return outcome.status;
}

opal_status PrCallDispatch(opal_connection connection, const opal_objid* target,
                           const GUID* interface_id, uint32_t major, uint32_t minor,
                           opal_propset input, opal_propset output, uintptr_t reserved1,
                           uintptr_t reserved2, uintptr_t reserved3, uintptr_t reserved4,
                           uint64_t* task, uint64_t* result) {
    static std::atomic<std::uint64_t> last_task{0};
    ServiceCall call(Function::PrCallDispatch, connection);
    const PropertySet no_parameters;
    PropertySet results;
    Outcome outcome;
    if (target == nullptr || interface_id == nullptr || (input != nullptr && !is_propset(input)) ||
        (output != nullptr && !is_propset(output))) {
        outcome.status = ZTERROR_INVALID_ARGUMENT;
    } else {
        outcome = call.run(target, nullptr, nullptr, minor, [&](Service& service) {
            return service.invoke(*target, *interface_id, major, minor,
                                  input != nullptr ? input->properties : no_parameters, results);
        });
        if (output != nullptr && !outcome.fault.nothing) {
            for (Property& property : results) {
                output->properties.push_back(property);
            }
        }
        if (task != nullptr) {
            *task = ++last_task;
        }
        if (result != nullptr) {
            *result = outcome.status;
        }
    }
    call.write_down([&] {
        const auto text_of = [](opal_propset set) {
            return is_propset(set) ? set_text(set->properties) : std::string("NULL");
        };
        return " " + object_text(target) + " " +
               (interface_id != nullptr ? guid_text(*interface_id) : "NULL") + " " +
               std::to_string(major) + "." + std::to_string(minor) + " " + text_of(input) + " " +
               std::to_string(reserved1) + "," + std::to_string(reserved2) + "," +
               std::to_string(reserved3) + "," + std::to_string(reserved4) +
               status_text(outcome.status) + " " + text_of(output);
    });
    return outcome.status;
}
