// Which module an instruction is in.
#pragma once

#include <windows.h>

#include <psapi.h>

#include <cstddef>
#include <cstdint>

namespace support {

struct CodeAddress {
    char module[MAX_PATH] = "?";
    std::size_t offset = 0;  // from the beginning of the module
};

// Does not allocate memory.
inline CodeAddress code_address(const void* instruction) {
    CodeAddress result;
    HMODULE module = nullptr;
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const char*>(instruction), &module) != FALSE) {
        K32GetModuleBaseNameA(GetCurrentProcess(), module, result.module, sizeof result.module);
    }
    result.offset =
        reinterpret_cast<std::uintptr_t>(instruction) - reinterpret_cast<std::uintptr_t>(module);
    return result;
}

}  // namespace support
