// Connects through the library twice and prints the statuses, one line each:
//
//   connecting_client
#include "farlo.h"

#include <windows.h>

#include <cstdio>

int main() {
    const HMODULE library = LoadLibraryW(L"farlo.dll");
    farlo_api api;
    if (library == nullptr || farlo_api_load(&api, library) != nullptr) {
        return 2;
    }
    for (int i = 0; i < 2; ++i) {
        opal_handle handle = nullptr;
        std::printf("%u\n", static_cast<unsigned>(api.InitializeClusterW(&handle)));
        if (handle != nullptr) {
            api.UnInitializeClusterW(handle);
        }
    }
    return 0;
}
