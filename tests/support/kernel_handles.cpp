#include "support/kernel_handles.h"

#include "support/native_string.h"

#include <windows.h>

#include <ntstatus.h>
#include <winternl.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace support {
namespace {

constexpr auto object_name_information = static_cast<OBJECT_INFORMATION_CLASS>(1);
constexpr unsigned long long handle_step = 4;

std::string object_string(unsigned long long handle, OBJECT_INFORMATION_CLASS kind) {
    alignas(UNICODE_STRING) std::byte buffer[2048] = {};
    ULONG size = 0;
    if (NtQueryObject(reinterpret_cast<HANDLE>(handle), kind, buffer, sizeof buffer, &size) != 0) {
        return "?";
    }
    // Both kinds of information begin with the string.
    return narrow(*reinterpret_cast<const UNICODE_STRING*>(buffer));
}

// The size of this process's handle table, which is what Wine reports as the number of handles.
ULONG handle_table_size() {
    static std::vector<std::byte> buffer(64 * 1024);
    ULONG size = 0;
    NTSTATUS status = 0;
    while ((status = NtQuerySystemInformation(SystemProcessInformation, buffer.data(),
                                              static_cast<ULONG>(buffer.size()), &size)) ==
           STATUS_INFO_LENGTH_MISMATCH) {
        buffer.resize(buffer.size() * 2);
    }
    const std::byte* at = status == 0 ? buffer.data() : nullptr;
    while (at != nullptr) {
        const auto& process = *reinterpret_cast<const SYSTEM_PROCESS_INFORMATION*>(at);
        if (reinterpret_cast<ULONG_PTR>(process.UniqueProcessId) == GetCurrentProcessId()) {
            return process.HandleCount;
        }
        at = process.NextEntryOffset != 0 ? at + process.NextEntryOffset : nullptr;
    }
    throw std::runtime_error("the system does not report the size of the handle table");
}

}  // namespace

std::string describe_handle(unsigned long long handle) {
    char value[24];
    std::snprintf(value, sizeof value, "0x%llx ", handle);
    return value + object_string(handle, ObjectTypeInformation) + " " +
           object_string(handle, object_name_information);
}

// Does not query the handles of the whole system: Wine's server would crash if any process had no
// handle.
std::vector<unsigned long long> kernel_handles() {
    const unsigned long long last = handle_table_size() * handle_step;
    std::vector<unsigned long long> handles;
    for (unsigned long long handle = handle_step; handle <= last; handle += handle_step) {
        DWORD flags = 0;
        if (GetHandleInformation(reinterpret_cast<HANDLE>(handle), &flags)) {
            handles.push_back(handle);
        }
    }
    return handles;
}

std::vector<unsigned long long> new_kernel_handles(const std::vector<unsigned long long>& before) {
    const std::vector<unsigned long long> now = kernel_handles();
    std::vector<unsigned long long> added;
    std::set_difference(now.begin(), now.end(), before.begin(), before.end(),
                        std::back_inserter(added));
    return added;
}

}  // namespace support
