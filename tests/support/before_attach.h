// Calls a function after a DLL is mapped and its imports are resolved, before any of its code runs.
#pragma once

#include <windows.h>

#include <exception>
#include <functional>

namespace support {

// Calls `action` for every load of the DLL with that name on this thread while the object exists.
// If the action throws, rethrow() throws the same exception.
class BeforeAttach {
  public:
    BeforeAttach(const wchar_t* dll, std::function<void(HMODULE)> action);
    ~BeforeAttach();
    BeforeAttach(const BeforeAttach&) = delete;
    BeforeAttach& operator=(const BeforeAttach&) = delete;

    void rethrow() const;

  private:
    static void CALLBACK notified(ULONG reason, const void* data, void* self) noexcept;

    const wchar_t* m_dll;
    DWORD m_thread = GetCurrentThreadId();
    std::function<void(HMODULE)> m_action;
    std::exception_ptr m_raised;
    void* m_cookie = nullptr;
};

}  // namespace support
