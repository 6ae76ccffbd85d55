// The recorder of calls (lab_bus.h, LabRecorderStart).
#pragma once

#include "store/value.h"
#include "ztbus3/function.h"

#include <string>

namespace lab {

// Whether calls of a function are recorded now. Costs one load.
bool is_recorded(Function function);
// Records one line: the function's name and `rest`.
void record(Function function, const std::string& rest);

// Parts of a line.
std::string object_text(const opal_objid* object);
std::string objects_text(const std::vector<opal_objid>& objects);
std::string value_text(const Value& value);
std::string set_text(const PropertySet& set);
std::string set_text(opal_propset set);                           // the contents of the set
std::string client_property_text(const opal_property* property);  // name, type and value
std::string status_text(opal_status status);                      // " -> 0x0"
std::string name_text(const char* text);                          // in quotes; NULL for NULL

}  // namespace lab
