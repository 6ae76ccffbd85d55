#include "support/interposer.h"

#include <cstring>
#include <stdexcept>

namespace support {
namespace {

template <class T> T* at(HMODULE module, std::size_t address) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(module) + address);
}

// The entries of the import table for a function, from the DLL with that name, or from any DLL if
// `dll_name` is NULL.
std::vector<void**> entries_of(HMODULE module, const char* dll_name, const char* function) {
    std::vector<void**> entries;
    const auto* headers = at<IMAGE_NT_HEADERS64>(
        module, static_cast<std::size_t>(at<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    const auto& directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    for (const auto* dll = at<IMAGE_IMPORT_DESCRIPTOR>(module, directory.VirtualAddress);
         dll->Name != 0; ++dll) {
        if (dll_name != nullptr && _stricmp(at<char>(module, dll->Name), dll_name) != 0) {
            continue;
        }
        const auto* name = at<IMAGE_THUNK_DATA64>(module, dll->OriginalFirstThunk);
        auto* entry = at<IMAGE_THUNK_DATA64>(module, dll->FirstThunk);
        for (; name->u1.AddressOfData != 0; ++name, ++entry) {
            if ((name->u1.Ordinal & IMAGE_ORDINAL_FLAG64) != 0) {
                continue;
            }
            const auto* imported = at<IMAGE_IMPORT_BY_NAME>(module, name->u1.AddressOfData);
            if (std::strcmp(reinterpret_cast<const char*>(imported->Name), function) == 0) {
                entries.push_back(reinterpret_cast<void**>(&entry->u1.Function));
            }
        }
    }
    return entries;
}

void write(void** entry, void* value) {
    DWORD protection = 0;
    VirtualProtect(entry, sizeof *entry, PAGE_READWRITE, &protection);
    *entry = value;
    VirtualProtect(entry, sizeof *entry, protection, &protection);
}

bool is_loaded(HMODULE module) {
    HMODULE found = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              reinterpret_cast<const wchar_t*>(module), &found) != FALSE &&
           found == module;
}

}  // namespace

Interposer::Interposer(HMODULE module, const char* function, void* replacement)
    : Interposer(module, nullptr, function, replacement) {}

Interposer::Interposer(HMODULE module, const char* dll, const char* function, void* replacement)
    : m_module(module) {
    for (void** entry : entries_of(module, dll, function)) {
        m_slots.push_back({entry, *entry});
        m_original = *entry;
        write(entry, replacement);
    }
    if (m_slots.empty()) {
        throw std::runtime_error(std::string("the DLL does not import ") + function +
                                 (dll != nullptr ? std::string(" from ") + dll : ""));
    }
}

Interposer::~Interposer() {
    if (!is_loaded(m_module)) {
        return;
    }
    for (const Slot& slot : m_slots) {
        write(slot.entry, slot.before);
    }
}

bool imports(HMODULE module, const char* function) {
    return !entries_of(module, nullptr, function).empty();
}

}  // namespace support
