// farlo.dll, loaded into the test with an environment of its own.
#pragma once

#include "farlo.h"
#include "support/private_registry.h"

#include <windows.h>

#include <filesystem>
#include <functional>
#include <string>

namespace support {

// What the DLL finds when it is loaded: a folder for VMPATH with "logs" in it,
// and a registry of this process's own in place of HKEY_LOCAL_MACHINE. Both are
// empty at first and gone at the end.
class Environment {
  public:
    Environment();
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

    // As of PrivateRegistry.
    void set_registry(const wchar_t* key, const wchar_t* name, DWORD type, const void* data,
                      DWORD size) {
        m_registry.set(key, name, type, data, size);
    }
    void set_registry(const wchar_t* key, const wchar_t* name, DWORD value) {
        m_registry.set(key, name, value);
    }
    void set_registry(const wchar_t* key, const wchar_t* name, const std::wstring& text) {
        m_registry.set(key, name, text);
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

// The environment of the process, made at its first use.
Environment& environment();

// The DLL, loaded afresh into the process's environment: all its process-wide state is as
// after a load.
class FarloDll {
  public:
    // `before_attach` is called when the DLL is mapped and its imports are
    // resolved, before any of its code has run: the place to replace what
    // process attach calls. Throws std::runtime_error when the DLL cannot be
    // loaded, or is loaded already.
    explicit FarloDll(std::function<void(HMODULE module)> before_attach = nullptr);
    ~FarloDll();
    FarloDll(const FarloDll&) = delete;
    FarloDll& operator=(const FarloDll&) = delete;

    HMODULE module() const { return m_module; }

    // The entry of that name: dll.entry<OnlineDgExW_fn>("OnlineDgExW").
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
