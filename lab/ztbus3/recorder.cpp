#include "ztbus3/recorder.h"

#include "store/locks.h"
#include "ztbus3/bus_connection.h"
#include "ztbus3/lab_bus.h"
#include "ztbus3/marshal.h"
#include "ztbus3/propset.h"

#include <atomic>
#include <cstring>

namespace lab {
namespace {

std::atomic<int> recording{0};
SRWLOCK lines_lock = SRWLOCK_INIT;
std::string lines;

bool is_client_side(Function function) {
    return works_on_sets(function) || function == Function::ZtTrace ||
           function == Function::ZtSleep;
}

std::string name_of(const opal_objid& id, const void* /*context*/) {
    return name_of_object(id);
}

}  // namespace

bool is_recorded(Function function) {
    const int what = recording.load(std::memory_order_relaxed);
    return what != 0 &&
           (reaches_service(function) || (what == LAB_RECORD_ALL && is_client_side(function)));
}

void record(Function function, const std::string& rest) {
    const Exclusive hold(lines_lock);
    lines += function_name(function);
    lines += rest;
    lines += '\n';
}

CallText call_text() {
    return CallText(name_of, nullptr);
}

std::string object_string(const opal_objid* object) {
    return object == nullptr ? "NULL" : call_text().object(*object);
}

std::string set_string(opal_propset set) {
    return is_propset(set) ? call_text().set(set->properties) : "NULL";
}

std::string client_property_string(const opal_property* property) {
    if (property == nullptr) {
        return "NULL";
    }
    Property taken;
    return name_string(property->name) + " " +
           (take_in(*property, taken) ? call_text().value(taken.value) : "malformed");
}

std::string name_string(const char* name) {
    return name == nullptr ? "NULL" : quoted(std::string(name));
}

}  // namespace lab

using namespace lab;

void LabRecorderStart(int what) {
    const Exclusive hold(lines_lock);
    lines.clear();
    restart_set_numbers();
    recording = what;
}

void LabRecorderStop(void) {
    recording = 0;
}

size_t LabRecorderText(char* buffer, size_t capacity) {
    const Shared hold(lines_lock);
    if (buffer != nullptr && capacity != 0) {
        const std::size_t length = lines.size() < capacity ? lines.size() : capacity - 1;
        std::memcpy(buffer, lines.data(), length);
        buffer[length] = '\0';
    }
    return lines.size() + 1;
}
