// A cluster agent that brings one volume online:
//
//   online_client NAME GROUP DEVICE
//
// It releases the semaphore NAME.ready once it is connected, then waits for the event
// NAME.go. Exits with the status of OnlineVolW.
#include "end_to_end/agent_program.h"
#include "farlo.h"
#include "support/private_registry.h"

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

using namespace end_to_end;

// Shorter than a start of the node, so that the library waits again.
constexpr std::uint32_t interval_ms = 200;

bool wait_for_go(const std::wstring& name) {
    const HANDLE ready = OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (name + L".ready").c_str());
    const HANDLE go = OpenEventW(SYNCHRONIZE, FALSE, (name + L".go").c_str());
    return ReleaseSemaphore(ready, 1, nullptr) != FALSE &&
           WaitForSingleObject(go, hang_ms) == WAIT_OBJECT_0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4) {
        std::fputs("usage: online_client NAME GROUP DEVICE\n", stderr);
        return could_not_start;
    }
    const support::PrivateRegistry registry;
    const std::string guid = narrow_guid(argv[2]);
    const HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == nullptr) {
        std::fprintf(stderr, "farlo.dll cannot be loaded, error %lu\n", GetLastError());
        return could_not_start;
    }
    opal_handle handle = nullptr;
    const std::uint32_t connected =
        find_export<InitializeClusterW_fn>(farlo, "InitializeClusterW")(&handle);
    if (connected != FARLO_SUCCESS || !wait_for_go(argv[1])) {
        std::fprintf(stderr, "not connected, or NAME.go was not set: 0x%x\n", connected);
        return could_not_start;
    }
    const std::uint32_t status = find_export<OnlineVolW_fn>(farlo, "OnlineVolW")(
        handle, guid.c_str(), argv[3], 0, interval_ms);
    find_export<UnInitializeClusterW_fn>(farlo, "UnInitializeClusterW")(handle);
    return static_cast<int>(status);
}
