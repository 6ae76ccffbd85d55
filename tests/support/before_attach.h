// A moment that a program otherwise does not see: a DLL is mapped and its
// imports are resolved, but none of its code has run.
#pragma once

#include <windows.h>

#include <exception>
#include <functional>

namespace support {

// Calls `action` at that moment, for every load of the DLL of that name on this
// thread during the object's life. An exception of the action is kept until
// rethrow().
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
