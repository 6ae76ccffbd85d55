#include "farlo_dll.h"

#include "before_attach.h"

#include <optional>
#include <stdexcept>
#include <utility>

namespace support {
namespace {

std::runtime_error failed(const std::string& what, DWORD error) {
    return std::runtime_error(what + ": system error " + std::to_string(error));
}

}  // namespace

Environment::Environment() {
    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    m_folder =
        std::filesystem::path(temp) / (L"farlo-test-" + std::to_wstring(GetCurrentProcessId()));
    // A process of the same id may have crashed before.
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directories(m_folder / L"logs");
    SetEnvironmentVariableW(L"VMPATH", (m_folder.wstring() + L"\\").c_str());

    m_root = L"Software\\farlo-test\\" + std::to_wstring(GetCurrentProcessId());
    RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
    LSTATUS status = RegCreateKeyExW(HKEY_CURRENT_USER, m_root.c_str(), 0, nullptr,
                                     REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &m_key, nullptr);
    if (status == ERROR_SUCCESS) {
        status = RegOverridePredefKey(HKEY_LOCAL_MACHINE, m_key);
    }
    if (status != ERROR_SUCCESS) {
        throw failed("no registry for the test", static_cast<DWORD>(status));
    }
}

Environment::~Environment() {
    RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
    RegCloseKey(m_key);
    RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

void Environment::set_registry(const wchar_t* key, const wchar_t* name, DWORD type,
                               const void* data, DWORD size) {
    HKEY opened = nullptr;
    LSTATUS status = RegCreateKeyExW(HKEY_LOCAL_MACHINE, key, 0, nullptr, REG_OPTION_VOLATILE,
                                     KEY_ALL_ACCESS, nullptr, &opened, nullptr);
    if (status == ERROR_SUCCESS) {
        status = RegSetValueExW(opened, name, 0, type, static_cast<const BYTE*>(data), size);
        RegCloseKey(opened);
    }
    if (status != ERROR_SUCCESS) {
        throw failed("a registry value could not be set", static_cast<DWORD>(status));
    }
}

void Environment::set_registry(const wchar_t* key, const wchar_t* name, DWORD value) {
    set_registry(key, name, REG_DWORD, &value, sizeof value);
}

void Environment::set_registry(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
    set_registry(key, name, REG_SZ, text.c_str(),
                 static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

void Environment::clear_registry(const wchar_t* key) {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
}

void Environment::set_trace_level(DWORD level) {
    set_registry(tracing_key, L"TRACELEVEL", level);
}

void Environment::clear_trace_level() {
    clear_registry(tracing_key);
}

void Environment::remove_logs() {
    std::error_code ignored;
    std::filesystem::remove(log_file(), ignored);
    std::filesystem::remove(log_file().wstring() + L".0", ignored);
}

Environment& environment() {
    static Environment made;
    return made;
}

FarloDll::FarloDll(std::function<void(HMODULE module)> before_attach) {
    constexpr wchar_t name[] = L"farlo.dll";
    if (GetModuleHandleW(name) != nullptr) {
        throw std::runtime_error("farlo.dll is loaded already: its state would not be fresh");
    }
    std::optional<BeforeAttach> notification;
    if (before_attach) {
        notification.emplace(name, std::move(before_attach));
    }
    m_module = LoadLibraryW(name);
    if (m_module == nullptr) {
        throw failed("farlo.dll could not be loaded", GetLastError());
    }
    try {
        if (notification) {
            notification->rethrow();
        }
    } catch (...) {
        FreeLibrary(m_module);
        throw;
    }
}

FarloDll::~FarloDll() {
    FreeLibrary(m_module);
}

FARPROC FarloDll::address(const char* name) const {
    const FARPROC found = GetProcAddress(m_module, name);
    if (found == nullptr) {
        throw std::runtime_error(std::string("farlo.dll has no entry ") + name);
    }
    return found;
}

}  // namespace support
