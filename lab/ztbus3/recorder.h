// The recorder of calls (lab_bus.h, LabRecorderStart).
#pragma once

#include "store/call_text.h"
#include "store/value.h"
#include "ztbus3/function.h"

#include <string>

namespace lab {

// Whether calls of a function are recorded now. Costs one load.
bool is_recorded(Function function);
// Records one line: the function's name and `rest`.
void record(Function function, const std::string& rest);

// Appends the calls that reach the service to a file from now on; an empty path ends that. Throws
// std::runtime_error if the file cannot be written.
void set_record_file(const std::wstring& path);

// Parts of a line, with the names of objects in the scenarios of this process's services.
CallText call_text();
std::string object_string(const opal_objid* object);
std::string set_string(opal_propset set);                           // the contents of the set
std::string client_property_string(const opal_property* property);  // name, type and value
std::string name_string(const char* name);                          // in quotes; NULL for NULL

}  // namespace lab
