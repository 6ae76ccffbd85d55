// The interface of the storage management service, implemented by the store in
// this process and by the connection to the service process.
#pragma once

#include "store/fault_plan.h"
#include "store/value.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace lab {

// Every operation returns a bus status (ztbus3.h) and may be called from any
// thread. Out arguments are written on success only, except that a method may
// return results with a failure.
class Service {
  public:
    virtual ~Service() = default;

    // `fault` is what a fault plan of the service does to the result.
    virtual opal_status get_property(const opal_objid& object, const std::string& name,
                                     Value& value, ResultFault& fault) = 0;
    opal_status get_property(const opal_objid& object, const std::string& name, Value& value) {
        ResultFault ignored;
        return get_property(object, name, value, ignored);
    }
    virtual opal_status set_property(const opal_objid& object, const Property& property) = 0;
    virtual opal_status get_properties(const opal_objid& object, PropertySet& properties) = 0;
    virtual opal_status get_type(const opal_objid& object, std::string& type,
                                 ResultFault& fault) = 0;
    opal_status get_type(const opal_objid& object, std::string& type) {
        ResultFault ignored;
        return get_type(object, type, ignored);
    }

    // Objects of all types if `type` is empty.
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

    // Returns the name of an object in the scenario ("dg1"), "null" for the null
    // id, or the id in hexadecimal if it is unknown.
    virtual std::string name_of(const opal_objid& object) = 0;

    // Sets the function that receives the names of alerts on the thread that
    // raises them. An empty function ends delivery; once set_alert_sink returns,
    // no call of the old function is in progress. A service has one sink.
    using AlertSink = std::function<void(const std::string& name)>;
    virtual void set_alert_sink(AlertSink sink) = 0;
};

}  // namespace lab
