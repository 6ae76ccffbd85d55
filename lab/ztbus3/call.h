// One call of a function of the bus: counted, recorded, and subject to the fault
// plan.
#pragma once

#include "fault_plan.h"
#include "lab_bus.h"
#include "value.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace lab {

// Every exported function of the bus, in the order of the .def file.
enum class Function {
    PsCreatePropset,
    PsDestroyPropset,
    PsAddProperty,
    PsSetProperty,
    PsFindProperty,
    PsOpenPropset,
    PsFindNextProperty,
    PsFreeProperty,
    PsCopyPropset,
    ObGetProperty,
    ObSetProperty,
    ObGetProperties,
    ObGetObjectType,
    ObGetChildObjects,
    ObGetParentObjects,
    ObDeleteObject,
    ObCompareId,
    DbGetObjects,
    DbGetObjectsByQuery,
    PrCallDispatch,
    EvMatch,
    I18nAddInsertionString,
    I18nAddInsertionWideString,
    ZtTrace,
    ZtGUIDToString,
    ZtAlloc,
    ZtFree,
    ZtSleep,
    ZtInitializeCriticalSection,
    ZtEnterCriticalSection,
    ZtLeaveCriticalSection,
    ZtDeleteCriticalSection,
    Ztmbstowcs,
    Ztwcstombs,
    ZtCloseHandle,
    count
};

const char* function_name(Function function);

// Whether calls of a function are written down now.
bool is_recorded(Function function);
// Writes one line, the function's name in front.
void record(Function function, const std::string& rest);

// Counts the call.
void count_call(Function function);

// How the recorder writes things.
std::string object_text(const opal_objid* object);
std::string value_text(const Value& value);
std::string set_text(const PropertySet& set);
std::string status_text(opal_status status);  // " -> 0x0"
std::string quote(const char* text);          // NULL for NULL

}  // namespace lab
