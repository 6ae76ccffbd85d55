// What the client programs of these tests have in common.
#pragma once

#include <windows.h>

#include <string>

namespace end_to_end {

// Longer than any wait of a test that passes.
constexpr DWORD hang_ms = 60'000;

// Exit code of a program that could not start its work. No status of the library.
constexpr int could_not_start = 0x10000;

// An export of the library: find_export<OnlineVolW_fn>(farlo, "OnlineVolW").
template <class Function> Function find_export(HMODULE farlo, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(farlo, name)));
}

// A GUID from the command line, as the library takes it.
inline std::string narrow_guid(const std::wstring& guid) {
    return {guid.begin(), guid.end()};
}

}  // namespace end_to_end
