// The functions of the bus that call the service: objects, database, methods.
#include "store/bus_status.h"
#include "ztbus3/bus_connection.h"
#include "ztbus3/function.h"
#include "ztbus3/live.h"
#include "ztbus3/marshal.h"
#include "ztbus3/process_plan.h"
#include "ztbus3/propset.h"
#include "ztbus3/recorder.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace lab {
namespace {

std::string text_or_empty(const char* text) {
    return text != nullptr ? text : "";
}

// What a call refers to, for the fault plan.
struct About {
    const opal_objid* object = nullptr;
    const char* property = nullptr;
    const char* type = nullptr;
    std::uint32_t minor = 0;

    Subject subject() const {
        return {object != nullptr ? name_of_object(*object) : "", text_or_empty(property),
                text_or_empty(type), minor};
    }
};

// One call to the service over a connection.
class ServiceCall {
  public:
    ServiceCall(Function function, opal_connection connection)
        : m_function(function), m_connection(find_connection(connection)),
          m_known(m_connection != nullptr) {
        count_call(function);
        if (!m_known) {
            end_if_released(connection, function_name(function));
        }
    }
    ServiceCall(Function function, opal_connection connection, opal_context context)
        : ServiceCall(function, connection) {
        if (m_known && m_connection->context() != context) {
            m_known = false;
            end_if_released(context, function_name(function));
        }
    }

    // `work` takes the Service and what the service's fault plan does to the results, and
    // returns a status. After a success `deliver` takes the fault and returns the results to
    // the client.
    template <class Work, class Deliver>
    opal_status run(const About& about, Work&& work, Deliver&& deliver) {
        try {
            return m_status = try_run(about, work, deliver);
        } catch (const std::bad_alloc&) {
            return m_status = ZTERROR_NO_MEMORY;
        }
    }
    // For invalid arguments.
    opal_status refuse() { return m_status = ZTERROR_INVALID_ARGUMENT; }

    // Whether results were returned.
    bool delivered() const { return m_delivered; }

    // Records the call. `arguments` and `results` return the parts of the line
    // before and after the status.
    template <class Arguments, class Results>
    void write_down(Arguments&& arguments, Results&& results) const {
        if (is_recorded(m_function)) {
            record(m_function, " " + arguments() + status_string(m_status) + results() +
                                   (m_known ? "" : " !connection"));
        }
    }
    template <class Arguments> void write_down(Arguments&& arguments) const {
        write_down(arguments, [] { return ""; });
    }

  private:
    template <class Work, class Deliver>
    opal_status try_run(const About& about, Work&& work, Deliver&& deliver) {
        if (!m_known || !m_connection->connected()) {
            return ZTERROR_NOT_CONNECTED;
        }
        Fault fault;
        if (has_fault_plan()) {
            fault = next_fault(m_function, about.subject());
        }
        opal_status status = fault.status;
        if (fault.answers) {
            fault.nothing = true;
        } else {
            ResultFault of_service;
            status = work(*m_connection->service(), of_service);
            if (!fault.changes_results()) {
                static_cast<ResultFault&>(fault) = of_service;
            }
            if (fault.nothing && !of_service.nothing) {
                status = ZTSTATUS_OK;
            }
        }
        if (fault.drop) {
            drop_connections();
        }
        if (fault.after) {
            status = fault.status;
        }
        if (!is_failure(status)) {
            deliver(fault);
            m_delivered = !fault.nothing;
        }
        return status;
    }

    Function m_function;
    std::shared_ptr<Connection> m_connection;
    bool m_known;
    opal_status m_status = ZTSTATUS_OK;
    bool m_delivered = false;
};

// Memory that the client frees with _ZtFree; NULL for no bytes.
void* hand_out_block(const void* bytes, std::size_t size) {
    if (size == 0) {
        return nullptr;
    }
    void* block = std::malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(block, bytes, size);
    ++live.blocks;
    return block;
}

// A call that returns ids; `find` takes the Service and the ids.
template <class Find, class Arguments>
opal_status find_objects(ServiceCall& call, const About& about, bool valid, opal_objid** ids,
                         std::uint32_t* count, Find&& find, Arguments&& arguments) {
    std::vector<opal_objid> found;
    const opal_status status =
        !valid || ids == nullptr || count == nullptr
            ? call.refuse()
            : call.run(
                  about, [&](Service& service, ResultFault&) { return find(service, found); },
                  [&](const Fault& fault) {
                      if (fault.nothing) {
                          found.clear();
                      }
                      *ids = static_cast<opal_objid*>(
                          hand_out_block(found.data(), found.size() * sizeof(opal_objid)));
                      *count = static_cast<std::uint32_t>(found.size());
                  });
    call.write_down(arguments,
                    [&] { return is_failure(status) ? "" : " " + call_text().objects(found); });
    return status;
}

// Results of a method replace properties of the same name in the caller's set.
void put_results(PropertySet& set, PropertySet&& results) {
    for (Property& result : results) {
        bool replaced = false;
        for (Property& existing : set) {
            if (existing.name == result.name) {
                existing.value = std::move(result.value);
                replaced = true;
                break;
            }
        }
        if (!replaced) {
            set.push_back(std::move(result));
        }
    }
}

}  // namespace
}  // namespace lab

using namespace lab;

opal_status ObGetProperty(opal_connection connection, opal_context context,
                          const opal_objid* object, const char* name, opal_property* property) {
    ServiceCall call(Function::ObGetProperty, connection, context);
    Value value;
    ResultFault handed_out;
    const opal_status status =
        object == nullptr || name == nullptr || property == nullptr
            ? call.refuse()
            : call.run(
                  {.object = object, .property = name},
                  [&](Service& service, ResultFault& fault) {
                      return service.get_property(*object, name, value, fault);
                  },
                  [&](const Fault& fault) {
                      if (fault.nothing) {
                          *property = {};
                      } else {
                          hand_out_with(fault, name, value, *property);
                      }
                      handed_out = fault.result();
                  });
    call.write_down(
        [&] { return object_string(object) + " " + name_string(name); },
        [&] { return call.delivered() ? " " + call_text().value(value, handed_out) : ""; });
    return status;
}

opal_status ObSetProperty(opal_connection connection, opal_context context,
                          const opal_objid* object, const opal_property* property) {
    ServiceCall call(Function::ObSetProperty, connection, context);
    Property taken;
    const opal_status status =
        object == nullptr || property == nullptr || !take_in(*property, taken)
            ? call.refuse()
            : call.run(
                  {.object = object, .property = taken.name.c_str()},
                  [&](Service& service, ResultFault&) {
                      return service.set_property(*object, taken);
                  },
                  [](const Fault&) {});
    call.write_down([&] { return object_string(object) + " " + client_property_string(property); });
    return status;
}

opal_status ObGetProperties(opal_connection connection, opal_context context,
                            const opal_objid* object, opal_propset* set) {
    ServiceCall call(Function::ObGetProperties, connection, context);
    PropertySet properties;
    const opal_status status =
        object == nullptr || set == nullptr
            ? call.refuse()
            : call.run(
                  {.object = object},
                  [&](Service& service, ResultFault&) {
                      return service.get_properties(*object, properties);
                  },
                  [&](const Fault& fault) {
                      *set = new_propset(fault.nothing ? PropertySet() : properties);
                  });
    call.write_down([&] { return object_string(object); },
                    [&] { return is_failure(status) ? "" : " " + set_string(*set); });
    return status;
}

opal_status ObGetObjectType(opal_connection connection, opal_context context,
                            const opal_objid* object, char** type) {
    ServiceCall call(Function::ObGetObjectType, connection, context);
    std::string found;
    const opal_status status =
        object == nullptr || type == nullptr
            ? call.refuse()
            : call.run(
                  {.object = object},
                  [&](Service& service, ResultFault& fault) {
                      return service.get_type(*object, found, fault);
                  },
                  [&](const Fault& fault) {
                      *type =
                          fault.nothing
                              ? nullptr
                              : static_cast<char*>(hand_out_block(found.c_str(), found.size() + 1));
                  });
    call.write_down([&] { return object_string(object); },
                    [&] { return call.delivered() ? " " + found : ""; });
    return status;
}

opal_status ObGetChildObjects(opal_connection connection, opal_context context,
                              const opal_objid* object, const char* type, opal_objid** ids,
                              uint32_t* count) {
    ServiceCall call(Function::ObGetChildObjects, connection, context);
    return find_objects(
        call, {.object = object, .type = type}, object != nullptr, ids, count,
        [&](Service& service, std::vector<opal_objid>& found) {
            return service.get_children(*object, text_or_empty(type), found);
        },
        [&] { return object_string(object) + " " + (type != nullptr ? type : "*"); });
}

opal_status ObGetParentObjects(opal_connection connection, opal_context context,
                               const opal_objid* object, const char* type, opal_objid** ids,
                               uint32_t* count) {
    ServiceCall call(Function::ObGetParentObjects, connection, context);
    return find_objects(
        call, {.object = object, .type = type}, object != nullptr, ids, count,
        [&](Service& service, std::vector<opal_objid>& found) {
            return service.get_parents(*object, text_or_empty(type), found);
        },
        [&] { return object_string(object) + " " + (type != nullptr ? type : "*"); });
}

opal_status ObDeleteObject(opal_connection connection, opal_context context,
                           const opal_objid* object) {
    ServiceCall call(Function::ObDeleteObject, connection, context);
    // Formatted first, because the deleted object has no name.
    const std::string text = is_recorded(Function::ObDeleteObject) ? object_string(object) : "";
    const opal_status status =
        object == nullptr
            ? call.refuse()
            : call.run(
                  {.object = object},
                  [&](Service& service, ResultFault&) { return service.delete_object(*object); },
                  [](const Fault&) {});
    call.write_down([&] { return text; });
    return status;
}

int32_t ObCompareId(const opal_objid* left, const opal_objid* right) {
    count_call(Function::ObCompareId);
    if (left == nullptr || right == nullptr) {
        return left == right ? 0 : 1;
    }
    return std::memcmp(left, right, sizeof *left);
}

opal_status DbGetObjects(opal_connection connection, opal_context context, const char* type,
                         opal_objid** ids, uint32_t* count) {
    ServiceCall call(Function::DbGetObjects, connection, context);
    return find_objects(
        call, {.type = type}, type != nullptr, ids, count,
        [&](Service& service, std::vector<opal_objid>& found) {
            return service.get_objects(type, found);
        },
        [&] { return std::string(type != nullptr ? type : "NULL"); });
}

opal_status DbGetObjectsByQuery(opal_connection connection, opal_context context,
                                const wchar_t* query, opal_objid** ids, uint32_t* count) {
    ServiceCall call(Function::DbGetObjectsByQuery, connection, context);
    return find_objects(
        call, {}, query != nullptr, ids, count,
        [&](Service& service, std::vector<opal_objid>& found) {
            return service.query(query, found);
        },
        [&] { return query != nullptr ? quoted(std::wstring(query)) : "NULL"; });
}

opal_status PrCallDispatch(opal_connection connection, const opal_objid* target,
                           const GUID* interface_id, uint32_t major, uint32_t minor,
                           opal_propset input, opal_propset output, uintptr_t reserved1,
                           uintptr_t reserved2, uintptr_t reserved3, uintptr_t reserved4,
                           uint64_t* task, uint64_t* result) {
    static std::atomic<std::uint64_t> last_task{0};
    ServiceCall call(Function::PrCallDispatch, connection);
    PropertySet results;
    const bool valid = target != nullptr && interface_id != nullptr &&
                       (input == nullptr || is_propset(input)) &&
                       (output == nullptr || is_propset(output));
    opal_status status = ZTSTATUS_OK;
    if (valid) {
        status = call.run(
            {.object = target, .minor = minor},
            [&](Service& service, ResultFault&) {
                return service.invoke(*target, *interface_id, major, minor,
                                      input != nullptr ? input->properties : PropertySet(),
                                      results);
            },
            [&](const Fault& fault) {
                if (fault.nothing) {
                    results.clear();
                }
            });
        if (output != nullptr) {
            put_results(output->properties, std::move(results));
        }
    } else {
        status = call.refuse();
    }
    if (task != nullptr) {
        *task = ++last_task;
    }
    if (result != nullptr) {
        *result = status;
    }
    call.write_down(
        [&] {
            return object_string(target) + " " +
                   (interface_id != nullptr ? guid_string(*interface_id) : "NULL") + " " +
                   std::to_string(major) + "." + std::to_string(minor) + " " + set_string(input) +
                   " " + std::to_string(reserved1) + "," + std::to_string(reserved2) + "," +
                   std::to_string(reserved3) + "," + std::to_string(reserved4);
        },
        [&] { return " " + set_string(output); });
    return status;
}
