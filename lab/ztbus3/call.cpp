#include "call.h"

#include "connection.h"
#include "propset.h"

#include <cstring>

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

std::atomic<std::uint64_t> counts[function_count];

std::atomic<int> recording{0};
SRWLOCK record_lock = SRWLOCK_INIT;
std::string record_text;

// Functions that touch the client side only and are of interest.
bool is_client_side(Function function) {
    return function <= Function::PsCopyPropset || function == Function::ZtTrace ||
           function == Function::ZtSleep;
}

std::string name_of_object(const opal_objid& id, const void* /*context*/) {
    return embedded_store()->name_of(id);
}

}  // namespace

const char* function_name(Function function) {
    return names[static_cast<std::size_t>(function)];
}

bool reaches_service(Function function) {
    return function >= Function::ObGetProperty && function <= Function::PrCallDispatch &&
           function != Function::ObCompareId;
}

bool is_recorded(Function function) {
    const int what = recording.load(std::memory_order_relaxed);
    return what != 0 &&
           (reaches_service(function) || (what == LAB_RECORD_ALL && is_client_side(function)));
}

void record(Function function, const std::string& rest) {
    const Exclusive hold(record_lock);
    record_text += function_name(function);
    record_text += rest;
    record_text += '\n';
}

void count_call(Function function) {
    counts[static_cast<std::size_t>(function)].fetch_add(1, std::memory_order_relaxed);
}

std::string object_text(const opal_objid* object) {
    return object == nullptr ? "NULL" : "@" + name_of_object(*object, nullptr);
}

std::string value_text(const Value& value) {
    return std::string(type_name(value.type)) + " " + to_text(value, name_of_object, nullptr);
}

std::string set_text(const PropertySet& set) {
    return to_text(set, name_of_object, nullptr);
}

std::string status_text(opal_status status) {
    char text[24];
    std::snprintf(text, sizeof text, " -> 0x%x", static_cast<unsigned>(status));
    return text;
}

std::string quote(const char* text) {
    return text == nullptr ? "NULL" : "\"" + std::string(text) + "\"";
}

}  // namespace lab

using namespace lab;

void LabRecorderStart(int what) {
    const Exclusive hold(record_lock);
    record_text.clear();
    restart_set_numbers();
    recording = what;
}

void LabRecorderStop(void) {
    recording = 0;
}

size_t LabRecorderText(char* buffer, size_t capacity) {
    const Shared hold(record_lock);
    if (buffer != nullptr && capacity != 0) {
        const std::size_t length =
            record_text.size() < capacity ? record_text.size() : capacity - 1;
        std::memcpy(buffer, record_text.data(), length);
        buffer[length] = '\0';
    }
    return record_text.size() + 1;
}

uint64_t LabCallCount(const char* function) {
    for (std::size_t i = 0; i < function_count; ++i) {
        if (function != nullptr && std::strcmp(function, names[i]) == 0) {
            return counts[i];
        }
    }
    return 0;
}
