#include "support/farlo_dll.h"

#include "support/before_attach.h"

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
    // An earlier process with the same id may have crashed.
    std::filesystem::remove_all(m_folder);
    std::filesystem::create_directories(m_folder / L"logs");
    SetEnvironmentVariableW(L"VMPATH", (m_folder.wstring() + L"\\").c_str());
}

Environment::~Environment() {
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
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
    static Environment instance;
    return instance;
}

FarloDll::FarloDll(std::function<void(HMODULE module)> before_attach) {
    environment();
    constexpr wchar_t name[] = L"farlo.dll";
    if (GetModuleHandleW(name) != nullptr) {
        throw std::runtime_error("farlo.dll is already loaded: it would keep its state");
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
        throw std::runtime_error(std::string("farlo.dll does not export ") + name);
    }
    return found;
}

}  // namespace support
