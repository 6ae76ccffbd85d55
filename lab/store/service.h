// What a storage management service answers, whoever answers it: the store in
// this process, or the service process behind a connection.
#pragma once

#include "value.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lab {

// Every operation returns a bus status (ztbus3.h) and writes its out argument
// on success only, except invoke, which may leave results behind a failure.
// Operations may be called from any thread.
class Service {
  public:
    virtual ~Service() = default;

    virtual opal_status get_property(const opal_objid& object, const std::string& name,
                                     Value& value) = 0;
    virtual opal_status set_property(const opal_objid& object, const Property& property) = 0;
    virtual opal_status get_properties(const opal_objid& object, PropertySet& properties) = 0;
    virtual opal_status get_type(const opal_objid& object, std::string& type) = 0;

    // All types when `type` is empty.
    virtual opal_status get_children(const opal_objid& object, const std::string& type,
                                     std::vector<opal_objid>& ids) = 0;
    virtual opal_status get_parents(const opal_objid& object, const std::string& type,
                                    std::vector<opal_objid>& ids) = 0;
    virtual opal_status delete_object(const opal_objid& object) = 0;

    virtual opal_status get_objects(const std::string& type, std::vector<opal_objid>& ids) = 0;
    virtual opal_status query(const std::wstring& text, std::vector<opal_objid>& ids) = 0;

    virtual opal_status invoke(const opal_objid& target, const GUID& interface_id,
                               std::uint32_t major, std::uint32_t minor, const PropertySet& input,
                               PropertySet& output) = 0;

    // The scenario's name of an object for people to read ("dg1"), "null" for
    // the null id, the id in hexadecimal when it names none.
    virtual std::string name_of(const opal_objid& object) = 0;

    // Receives the names of alerts, on the thread that raises them. An empty
    // function ends the delivery; when the call returns none is under way.
    // One sink a Service.
    using AlertSink = std::function<void(const std::string& name)>;
    virtual void set_alert_sink(AlertSink sink) = 0;
};

}  // namespace lab
