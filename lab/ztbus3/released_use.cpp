// The end of a process that used a released connection handle (lab_bus.h,
// LabEndReleasedUse).
#include "ztbus3/lab_bus.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace lab {
namespace {

// A function on a stack, and the address in it at which execution continues.
struct Place {
    HMODULE module = nullptr;
    DWORD64 function = 0;  // 0 when unknown
    DWORD64 address = 0;
};

struct ModuleName {
    explicit ModuleName(HMODULE module) {
        char path[MAX_PATH] = "";
        GetModuleFileNameA(module, path, MAX_PATH);
        const char* slash = std::strrchr(path, '\\');
        std::snprintf(text, sizeof text, "%s", slash != nullptr ? slash + 1 : path);
    }
    bool is(const char* other) const { return lstrcmpiA(text, other) == 0; }

    char text[MAX_PATH];
};

HMODULE module_at(DWORD64 address) {
    HMODULE module = nullptr;
    GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                           GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const char*>(address), &module);
    return module;
}

// Calls `visit` with each place from the context outward, until it returns false.
template <class Visit> void walk_stack(CONTEXT context, Visit&& visit) {
    constexpr int most_frames = 256;
    for (int frame = 0; frame < most_frames; ++frame) {
        // A return address may already be the next function's first byte.
        const DWORD64 address = context.Rip - (frame == 0 ? 0 : 1);
        const HMODULE module = module_at(address);
        if (module == nullptr) {
            return;
        }
        DWORD64 base = 0;
        RUNTIME_FUNCTION* function = RtlLookupFunctionEntry(address, &base, nullptr);
        if (!visit({module, function != nullptr ? base + function->BeginAddress : 0, address})) {
            return;
        }
        if (function == nullptr) {  // it has no frame: the return address is on top
            context.Rip = *reinterpret_cast<const DWORD64*>(context.Rsp);
            context.Rsp += sizeof(DWORD64);
        } else {
            void* handler_data = nullptr;
            DWORD64 establisher = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context,
                             &handler_data, &establisher, nullptr);
        }
    }
}

// The names of the exports that begin at the place's function, separated by "/"; empty for
// a function that is not an export.
struct ExportNames {
    explicit ExportNames(const Place& place) {
        const auto base = reinterpret_cast<std::uintptr_t>(place.module);
        const auto at = [base](DWORD offset) { return base + offset; };
        const auto* dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        const auto* headers =
            reinterpret_cast<const IMAGE_NT_HEADERS64*>(at(static_cast<DWORD>(dos->e_lfanew)));
        const IMAGE_DATA_DIRECTORY& directory =
            headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
        if (directory.Size == 0 || place.function == 0) {
            return;
        }
        const auto* exports =
            reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(at(directory.VirtualAddress));
        const auto* functions = reinterpret_cast<const DWORD*>(at(exports->AddressOfFunctions));
        const auto* names = reinterpret_cast<const DWORD*>(at(exports->AddressOfNames));
        const auto* ordinals = reinterpret_cast<const WORD*>(at(exports->AddressOfNameOrdinals));
        for (DWORD i = 0; i < exports->NumberOfNames; ++i) {
            if (at(functions[ordinals[i]]) == place.function) {
                add(reinterpret_cast<const char*>(at(names[i])));
            }
        }
    }
    bool empty() const { return *text == '\0'; }

    char text[256] = "";

  private:
    void add(const char* name) {
        const std::size_t length = std::strlen(text);
        std::snprintf(text + length, sizeof text - length, "%s%s", empty() ? "" : "/", name);
    }
};

bool is_of_system_or_lab(HMODULE module) {
    const ModuleName name(module);
    constexpr const char* passed_over[] = {"ntdll.dll", "kernelbase.dll", "kernel32.dll",
                                           "ztbus3.dll", "ZtCMD.DLL"};
    return std::any_of(std::begin(passed_over), std::end(passed_over),
                       [&name](const char* other) { return name.is(other); });
}

// Which code used the handle: the library's export under which it was used, else the
// first code that is neither the system's nor the lab's. A program that replaces an
// import of the library is on the stack, too, inside the export.
Place user_of(const CONTEXT& context) {
    const HMODULE library = GetModuleHandleW(L"farlo.dll");
    Place in_library;  // its outermost function below which no other code called it
    Place outside;
    walk_stack(context, [&](const Place& place) {
        if (library != nullptr && place.module == library) {
            in_library = place;
            return true;
        }
        if (in_library.module != nullptr) {
            return false;
        }
        if (outside.module == nullptr && !is_of_system_or_lab(place.module)) {
            outside = place;
        }
        return true;
    });
    // The command library calls a function that is not an export to deliver an alert. The
    // caller in question is then the agent's callback, if there is one.
    const bool in_export = in_library.module != nullptr && !ExportNames(in_library).empty();
    return in_export || outside.module == nullptr ? in_library : outside;
}

void describe(const Place& place, char* text, std::size_t size) {
    if (place.module == nullptr) {
        std::snprintf(text, size, "unknown code");
        return;
    }
    const ModuleName module(place.module);
    if (const ExportNames names(place); !names.empty()) {
        std::snprintf(text, size, "%s in %s", names.text, module.text);
    } else {
        std::snprintf(text, size, "%s + 0x%llx", module.text,
                      static_cast<unsigned long long>(
                          place.address - reinterpret_cast<std::uintptr_t>(place.module)));
    }
}

}  // namespace
}  // namespace lab

using namespace lab;

void LabEndReleasedUse(const char* use, const CONTEXT* context) {
    // Only the first thread reports. It never releases the lock; the others wait for the end.
    static SRWLOCK reporting = SRWLOCK_INIT;
    AcquireSRWLockExclusive(&reporting);
    CONTEXT own{};
    if (context == nullptr) {
        RtlCaptureContext(&own);
    }
    char user[512];
    describe(user_of(context != nullptr ? *context : own), user, sizeof user);
    char line[sizeof user + 256];
    const int length = std::snprintf(line, sizeof line, "ztlab: %s by %s\n", use, user);
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), line, static_cast<DWORD>(length), &written, nullptr);
    TerminateProcess(GetCurrentProcess(), LAB_RELEASED_USE_EXIT);
}
