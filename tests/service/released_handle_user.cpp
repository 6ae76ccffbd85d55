// Uses a released connection handle in one way, for the tests of the lab's strict mode:
//
//   released_handle_user USE
//
// Prints the handle's address before, and the status that the use returned. Ends with 0 when
// the use did not end it, with 1 when it could not be made.
#include "farlo.h"
#include "service/session_calls.h"
#include "support/service_names.h"
#include "ztbus3/lab_bus.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using support::connected_of;

constexpr DWORD hang_ms = 20'000;

void fail(const char* what) {
    std::fprintf(stderr, "released_handle_user: %s\n", what);
    std::exit(1);
}

template <class Function> Function library_entry(const char* name) {
    const HMODULE library = LoadLibraryW(L"farlo.dll");
    const FARPROC found = library != nullptr ? GetProcAddress(library, name) : nullptr;
    if (found == nullptr) {
        fail(name);
    }
    return reinterpret_cast<Function>(reinterpret_cast<void*>(found));
}
#define LIBRARY(name) library_entry<name##_fn>(#name)

opal_handle connect() {
    opal_handle handle = nullptr;
    if (InitializeZtVmW(0, 0, &handle) != ZTSTATUS_OK) {
        fail("no connection");
    }
    return handle;
}

void print_address(opal_handle handle) {
    std::printf("0x%llx\n",
                static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)));
    std::fflush(stdout);
}

// A handle that was released, and what an agent may have kept of it.
struct Released {
    opal_handle handle = connect();
    opal_connection connection = handle->connection;
    opal_context context = handle->connection_context;

    Released() {
        print_address(handle);
        if (UnInitializeZtVmW(handle) != ZTSTATUS_OK) {
            fail("not released");
        }
    }
};

void ignore_alert(const opal_alert*, void*, void*, void*) {}

opal_status list_groups(opal_connection connection, opal_context context) {
    opal_objid* ids = nullptr;
    std::uint32_t count = 0;
    return DbGetObjects(connection, context, support::object_type::disk_group, &ids, &count);
}

// A record of the program's own with the released connection in it.
opal_handle copy_of(const Released& released) {
    static opal_session copy{};
    copy.connection = released.connection;
    copy.connection_context = released.context;
    copy.connected = 1;
    InitializeCriticalSection(&copy.lock);
    return &copy;
}

opal_handle read_by_callback;
void read_handle() {
    std::printf("%u\n", static_cast<unsigned>(read_by_callback->connected));
}

// The library's handler calls the agent's callback, which reads a released handle.
std::uint32_t read_in_callback() {
    opal_handle handle = nullptr;
    if (LIBRARY(ValidateClusterW)(&handle) != 0 ||
        LIBRARY(RegisterForAlerts)(handle, &read_handle) != 0) {
        fail("no alerts");
    }
    read_by_callback = Released().handle;
    LabRaiseAlert("event.alert.ztvm.ztvm.dg.import.success");
    Sleep(hang_ms);
    return 1;
}

std::uint32_t use(const std::string& how) {
    if (how == "callback") {
        return read_in_callback();
    }
    const Released released;
    wchar_t name[FARLO_NAME_SIZE];
    if (how == "UnInitializeZtVmW") {
        return UnInitializeZtVmW(released.handle);
    }
    if (how == "RegisterAlertCallback") {
        return RegisterAlertCallback(released.handle, ignore_alert);
    }
    if (how == "DbGetObjects") {
        return list_groups(released.connection, released.context);
    }
    if (how == "PrCallDispatch") {
        const opal_objid object{};
        return PrCallDispatch(released.connection, &object, &zt_volume_manager_interface, 0,
                              ZTMETHOD_DGOP_IMPORT, nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr);
    }
    if (how == "context") {
        return list_groups(connect()->connection, released.context);
    }
    if (how == "connected") {
        return released.handle->connected;
    }
    if (how == "lock") {
        return connected_of(released.handle);
    }
    if (how == "UnInitializeClusterW") {
        return LIBRARY(UnInitializeClusterW)(released.handle);
    }
    if (how == "ValidateClusterW") {
        opal_handle slot = released.handle;
        return LIBRARY(ValidateClusterW)(&slot);
    }
    if (how == "GetDgNameW") {
        return LIBRARY(GetDgNameW)(released.handle, "g1", name);
    }
    if (how == "DeportDgA") {
        return LIBRARY(DeportDgA)(released.handle, "dg1", "g1");
    }
    if (how == "GetDgNameW of a copy") {
        return LIBRARY(GetDgNameW)(copy_of(released), "g1", name);
    }
    fail("an unknown use");
    return 1;
}

// Uses while the mode is switched off, of a handle that was made while it was on.
std::uint32_t use_switched_off() {
    const opal_handle handle = connect();
    print_address(handle);
    LabCmdStrict(0);
    if (UnInitializeZtVmW(handle) != ZTSTATUS_OK || handle->connected != 1) {
        fail("not released, or not readable");
    }
    return UnInitializeZtVmW(handle);
}

}  // namespace

int main(int argc, char** argv) {
    LabLoadScenarioText("{}", nullptr, 0);
    if (argc != 2) {
        std::fputs("usage: released_handle_user USE\n", stderr);
        return 1;
    }
    const std::string how = argv[1];
    const std::uint32_t status = how == "switched off" ? use_switched_off() : use(how);
    std::printf("0x%x\n", static_cast<unsigned>(status));
    return 0;
}
