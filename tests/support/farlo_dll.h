// Loads farlo.dll into the test program, with an environment of its own.
#pragma once

#include "farlo.h"
#include "support/private_registry.h"

#include <windows.h>

#include <filesystem>
#include <functional>
#include <string>

namespace support {

// The environment in which the DLL is loaded: a folder for VMPATH with a folder "logs" in it, and a
// registry of this process's own in place of HKEY_LOCAL_MACHINE. Both are empty at first and are
// deleted with the object.
class Environment {
  public:
    Environment();
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    // The same as in PrivateRegistry.
    void set_registry(const wchar_t* key, const wchar_t* name, DWORD type, const void* data,
                      DWORD size) {
        m_registry.set(key, name, type, data, size);
    }
    void set_registry(const wchar_t* key, const wchar_t* name, DWORD value) {
        m_registry.set(key, name, value);
    }
    void set_registry(const wchar_t* key, const wchar_t* name, const std::wstring& value) {
        m_registry.set(key, name, value);
    }
    void clear_registry(const wchar_t* key) { m_registry.clear(key); }

    void set_trace_level(DWORD level);
    void clear_trace_level();

    const std::filesystem::path& folder() const { return m_folder; }
    std::filesystem::path log_file() const { return m_folder / L"logs" / L"farlo.log"; }
    void remove_logs();

  private:
    std::filesystem::path m_folder;
    PrivateRegistry m_registry;
};

// The environment of the process. The first call creates it.
Environment& environment();

// A new load of the DLL into the process's environment, with none of the state of an earlier load.
class FarloDll {
  public:
    // Calls `before_attach` after the DLL is mapped and its imports are resolved, before any of its
    // code runs, so that functions that process attach calls can be replaced. Throws
    // std::runtime_error if the DLL cannot be loaded or is already loaded.
    explicit FarloDll(std::function<void(HMODULE module)> before_attach = nullptr);
    ~FarloDll();
    FarloDll(const FarloDll&) = delete;
    FarloDll& operator=(const FarloDll&) = delete;

    HMODULE module() const { return m_module; }

    // The export with that name. Throws std::runtime_error if there is none. Example:
    // dll.entry<OnlineDgExW_fn>("OnlineDgExW").
    template <class Function> Function entry(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(address(name)));
    }

  private:
    FARPROC address(const char* name) const;

    HMODULE m_module;
};

}  // namespace support

// Calls an export by its name: CALL(dll, OnlineDgW)(handle, ...).
#define CALL(dll, name) ((dll).entry<name##_fn>(#name))
