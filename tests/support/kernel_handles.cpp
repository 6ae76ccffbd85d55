#include "kernel_handles.h"

#include <windows.h>

#include <winternl.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace support {
namespace {

// Of the extended handle information, which no header of the tool chain declares.
constexpr ULONG extended_handle_information = 64;
using QuerySystem = NTSTATUS(NTAPI*)(ULONG kind, void* buffer, ULONG capacity, ULONG* size);

constexpr auto object_name_information = static_cast<OBJECT_INFORMATION_CLASS>(1);
constexpr NTSTATUS length_mismatch = static_cast<NTSTATUS>(0xC0000004);

struct HandleEntry {
    void* object;
    ULONG_PTR process;
    ULONG_PTR handle;
    ULONG access;
    USHORT trace;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
};

struct HandleTable {
    ULONG_PTR count;
    ULONG_PTR reserved;
    HandleEntry entries[1];
};

std::string object_text(unsigned long long handle, OBJECT_INFORMATION_CLASS kind) {
    alignas(UNICODE_STRING) std::byte buffer[2048] = {};
    ULONG size = 0;
    if (NtQueryObject(reinterpret_cast<HANDLE>(handle), kind, buffer, sizeof buffer, &size) != 0) {
        return "?";
    }
    // Both answers begin with a text.
    const auto& text = *reinterpret_cast<const UNICODE_STRING*>(buffer);
    std::string result;
    for (std::size_t i = 0; i < text.Length / sizeof(wchar_t); ++i) {
        result += static_cast<char>(text.Buffer[i]);
    }
    return result;
}

}  // namespace

std::string describe_handle(unsigned long long handle) {
    char value[24];
    std::snprintf(value, sizeof value, "0x%llx ", handle);
    return value + object_text(handle, ObjectTypeInformation) + " " +
           object_text(handle, object_name_information);
}

std::vector<unsigned long long> kernel_handles() {
    static const auto query_system = reinterpret_cast<QuerySystem>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    static std::vector<std::byte> buffer(64 * 1024);
    ULONG size = 0;
    NTSTATUS status = 0;
    while ((status = query_system(extended_handle_information, buffer.data(),
                                  static_cast<ULONG>(buffer.size()), &size)) == length_mismatch) {
        buffer.resize(buffer.size() * 2);
    }
    if (status != 0) {
        throw std::runtime_error("the system does not tell its handles");
    }
    const auto& table = *reinterpret_cast<const HandleTable*>(buffer.data());
    std::vector<unsigned long long> handles;
    for (ULONG_PTR i = 0; i < table.count; ++i) {
        if (table.entries[i].process == GetCurrentProcessId()) {
            handles.push_back(table.entries[i].handle);
        }
    }
    std::sort(handles.begin(), handles.end());
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
