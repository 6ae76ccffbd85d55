// A client process for the tests of the service:
//
//   service_client work NAME COUNT   opens and uses COUNT connections at once
//   service_client import NAME       imports the first disk group
//   service_client watch NAME        prints the alerts it receives
//   service_client leave NAME        exits without closing its connection
//
// It releases the semaphore NAME.ready once it is connected, then waits for the
// event NAME.go. Exits with 0 on success.
#include "service/session_calls.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using namespace support;

constexpr DWORD hang_ms = 60'000;
constexpr int rounds = 10;

void print_alert(const opal_alert* alert, void*, void*, void*) {
    std::printf("%s\n", alert->name);
    std::fflush(stdout);
}

bool wait_for_go(const std::string& name) {
    const HANDLE ready = OpenSemaphoreA(SEMAPHORE_MODIFY_STATE, FALSE, (name + ".ready").c_str());
    const HANDLE go = OpenEventA(SYNCHRONIZE, FALSE, (name + ".go").c_str());
    return ReleaseSemaphore(ready, 1, nullptr) != FALSE &&
           WaitForSingleObject(go, hang_ms) == WAIT_OBJECT_0;
}

bool work(const std::vector<opal_handle>& handles) {
    for (int round = 0; round < rounds; ++round) {
        for (const opal_handle handle : handles) {
            std::vector<opal_objid> groups;
            opal_property name;
            if (list(handle, ZTTYPE_DISK_GROUP, groups) != ZTSTATUS_OK || groups.size() != 1 ||
                ObGetProperty(handle->connection, handle->connection_context, &groups.front(),
                              "dgid", &name) != ZTSTATUS_OK) {
                return false;
            }
            const bool right = std::strcmp(static_cast<const char*>(name.value), "g1") == 0;
            PsFreeProperty(&name);
            if (!right || connected_of(handle) == 0) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    const std::string task = argv[1];
    const std::string name = argv[2];
    std::vector<opal_handle> handles(argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 1);
    for (opal_handle& handle : handles) {
        if (InitializeZtVmW(0, 0, &handle) != ZTSTATUS_OK) {
            return 3;
        }
    }
    if (task == "watch" && RegisterAlertCallback(handles.front(), print_alert) != ZTSTATUS_OK) {
        return 4;
    }
    if (!wait_for_go(name)) {
        return 5;
    }
    if (task == "leave") {
        return 0;
    }
    const bool done = task == "work"     ? work(handles)
                      : task == "import" ? call_group_method(handles.front(), import_method) == 0
                                         : true;
    for (const opal_handle handle : handles) {
        if (UnInitializeZtVmW(handle) != ZTSTATUS_OK) {
            return 6;
        }
    }
    return done ? 0 : 7;
}
