// The parts of the recorder's lines (ztbus3/lab_bus.h), for the bus and the service process.
#pragma once

#include "store/fault_plan.h"
#include "store/value.h"

#include <string>
#include <vector>

namespace lab {

class CallText {
  public:
    // `name_of` returns the names of objects.
    CallText(ObjectNamer name_of, const void* context) : m_name_of(name_of), m_context(context) {}

    std::string object(const opal_objid& object) const;                 // @dg1
    std::string objects(const std::vector<opal_objid>& objects) const;  // [@dg1 @dg2]
    std::string set(const PropertySet& set) const;                      // {"Name": WSTR "dg1"}
    std::string value(const Value& value) const;                        // WSTR "dg1"
    // As a client receives the value with a fault.
    std::string value(const Value& value, const ResultFault& fault) const;

  private:
    ObjectNamer m_name_of;
    const void* m_context;
};

std::string status_string(opal_status status);  // " -> 0x0"

}  // namespace lab
