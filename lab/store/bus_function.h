// The functions of the bus, and their names.
#pragma once

#include <optional>
#include <string>

namespace lab {

// Every exported function, in the order of the .def file.
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
std::optional<Function> function_named(const std::string& name);

// Whether calls of the function go to the service.
bool reaches_service(Function function);
// Whether it works on a property set or on a property that the bus returned.
bool works_on_sets(Function function);

}  // namespace lab
