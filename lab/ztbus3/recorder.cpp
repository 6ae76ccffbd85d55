#include "ztbus3/recorder.h"

#include "store/locks.h"
#include "store/string_conversions.h"
#include "ztbus3/bus_connection.h"
#include "ztbus3/lab_bus.h"
#include "ztbus3/marshal.h"
#include "ztbus3/propset.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace lab {
namespace {

std::atomic<int> recording{0};
SRWLOCK lines_lock = SRWLOCK_INIT;
std::string lines;
FILE* record_file = nullptr;  // under lines_lock
auto& record_path = *new std::wstring;
std::atomic<bool> recording_to_file{false};

bool is_client_side(Function function) {
    return works_on_sets(function) || function == Function::ZtTrace ||
           function == Function::ZtSleep;
}

std::string name_of(const opal_objid& id, const void* /*context*/) {
    return name_of_object(id);
}

bool is_in_memory(Function function) {
    const int what = recording.load(std::memory_order_relaxed);
    return what != 0 &&
           (reaches_service(function) || (what == LAB_RECORD_ALL && is_client_side(function)));
}

bool is_in_file(Function function) {
    return recording_to_file.load(std::memory_order_relaxed) && reaches_service(function);
}

}  // namespace

bool is_recorded(Function function) {
    return is_in_memory(function) || is_in_file(function);
}

void record(Function function, const std::string& rest) {
    const std::string line = function_name(function) + rest + "\n";
    const Exclusive hold(lines_lock);
    if (is_in_memory(function)) {
        lines += line;
    }
    if (is_in_file(function) && record_file != nullptr) {
        std::fputs(line.c_str(), record_file);
        std::fflush(record_file);
    }
}

void set_record_file(const std::wstring& path) {
    const Exclusive hold(lines_lock);
    if (path == record_path) {
        return;
    }
    FILE* file = nullptr;
    if (!path.empty()) {
        file = _wfopen(path.c_str(), L"ab");
        if (file == nullptr) {
            throw std::runtime_error(narrow(path) + ": " + std::strerror(errno));
        }
    }
    if (record_file != nullptr) {
        std::fclose(record_file);
    }
    record_file = file;
    record_path = path;
    recording_to_file = file != nullptr;
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

size_t LabRecordedCalls(char* buffer, size_t capacity) {
    const Shared hold(lines_lock);
    if (buffer != nullptr && capacity != 0) {
        const std::size_t length = lines.size() < capacity ? lines.size() : capacity - 1;
        std::memcpy(buffer, lines.data(), length);
        buffer[length] = '\0';
    }
    return lines.size() + 1;
}
