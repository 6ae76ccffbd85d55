// Owners of Windows handles.
#pragma once

#include <windows.h>

#include <utility>

namespace farlo {

// A handle that CloseHandle closes. NULL and INVALID_HANDLE_VALUE, with which the
// system's functions report a failure, are both no handle.
class Handle {
  public:
    Handle() = default;
    explicit Handle(HANDLE handle) : m_handle(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    ~Handle() { close(); }
    Handle(Handle&& other) noexcept : m_handle(other.release()) {}
    Handle& operator=(Handle&& other) noexcept {
        close();
        m_handle = other.release();
        return *this;
    }

    explicit operator bool() const { return m_handle != nullptr; }
    HANDLE get() const { return m_handle; }
    HANDLE release() { return std::exchange(m_handle, nullptr); }

    void close() {
        if (m_handle != nullptr) {
            CloseHandle(std::exchange(m_handle, nullptr));
        }
    }

  private:
    HANDLE m_handle = nullptr;
};
using FileHandle = Handle;

class RegistryKey {
  public:
    RegistryKey() = default;
    ~RegistryKey() { close(); }
    RegistryKey(const RegistryKey&) = delete;
    RegistryKey& operator=(const RegistryKey&) = delete;

    // Out argument of an open call. Closes the key that is open.
    HKEY* receive() {
        close();
        return &m_key;
    }
    HKEY get() const { return m_key; }

    void close() {
        if (m_key != nullptr) {
            RegCloseKey(std::exchange(m_key, nullptr));
        }
    }

  private:
    HKEY m_key = nullptr;
};

}  // namespace farlo
