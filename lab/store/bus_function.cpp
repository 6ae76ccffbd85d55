#include "store/bus_function.h"

#include <cstddef>

namespace lab {
namespace {

constexpr const char* names[] = {"PsCreatePropset",
                                 "PsDestroyPropset",
                                 "PsAddProperty",
                                 "PsSetProperty",
                                 "PsFindProperty",
                                 "PsOpenPropset",
                                 "PsFindNextProperty",
                                 "PsFreeProperty",
                                 "PsCopyPropset",
                                 "ObGetProperty",
                                 "ObSetProperty",
                                 "ObGetProperties",
                                 "ObGetObjectType",
                                 "ObGetChildObjects",
                                 "ObGetParentObjects",
                                 "ObDeleteObject",
                                 "ObCompareId",
                                 "DbGetObjects",
                                 "DbGetObjectsByQuery",
                                 "PrCallDispatch",
                                 "EvMatch",
                                 "I18nAddInsertionString",
                                 "I18nAddInsertionWideString",
                                 "ZtTrace",
                                 "ZtGUIDToString",
                                 "_ZtAlloc",
                                 "_ZtFree",
                                 "ZtSleep",
                                 "ZtInitializeCriticalSection",
                                 "ZtEnterCriticalSection",
                                 "ZtLeaveCriticalSection",
                                 "ZtDeleteCriticalSection",
                                 "Ztmbstowcs",
                                 "Ztwcstombs",
                                 "ZtCloseHandle"};
constexpr std::size_t function_count = static_cast<std::size_t>(Function::count);
static_assert(sizeof names / sizeof names[0] == function_count);

}  // namespace

const char* function_name(Function function) {
    return names[static_cast<std::size_t>(function)];
}

std::optional<Function> function_named(const std::string& name) {
    for (std::size_t i = 0; i < function_count; ++i) {
        if (name == names[i]) {
            return static_cast<Function>(i);
        }
    }
    return std::nullopt;
}

bool reaches_service(Function function) {
    return function >= Function::ObGetProperty && function <= Function::PrCallDispatch &&
           function != Function::ObCompareId;
}

bool works_on_sets(Function function) {
    return function <= Function::PsCopyPropset;
}

}  // namespace lab
