// A cluster agent that brings one volume online:
//
//   online_client NAME GROUP DEVICE
//
// It releases the semaphore NAME.ready once it is connected, then waits for the event
// NAME.go. Exits with the status of the online.
#include "farlo.h"
#include "support/private_registry.h"

#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr DWORD hang_ms = 60'000;
constexpr int could_not_begin = 0x10000;
// Shorter than a start of the node, so that the wait is repeated.
constexpr std::uint32_t interval_ms = 200;

template <class Function> Function find(HMODULE farlo, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(farlo, name)));
}

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
        return could_not_begin;
    }
    const support::PrivateRegistry registry;
    const std::wstring wide_guid = argv[2];
    const std::string guid(wide_guid.begin(), wide_guid.end());
    const HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == nullptr) {
        std::fprintf(stderr, "farlo.dll cannot be loaded, error %lu\n", GetLastError());
        return could_not_begin;
    }
    opal_handle handle = nullptr;
    const std::uint32_t connected =
        find<InitializeClusterW_fn>(farlo, "InitializeClusterW")(&handle);
    if (connected != 0 || !wait_for_go(argv[1])) {
        std::fprintf(stderr, "not connected, or nobody said go: 0x%x\n", connected);
        return could_not_begin;
    }
    const std::uint32_t status =
        find<OnlineVolW_fn>(farlo, "OnlineVolW")(handle, guid.c_str(), argv[3], 0, interval_ms);
    find<UnInitializeClusterW_fn>(farlo, "UnInitializeClusterW")(handle);
    return static_cast<int>(status);
}
