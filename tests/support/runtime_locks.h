// The locks of the C++ runtime inside a DLL. It makes them of semaphores, at
// their first use, and never closes them; the library itself makes none. This
// takes them down and closes them when the DLL is gone, so that they are not
// taken for the library's leaks.
#pragma once

#include "support/interposer.h"

#include <windows.h>

#include <memory>
#include <vector>

namespace support {

// Outlives the DLL. One at a time in a process.
class RuntimeLocks {
  public:
    RuntimeLocks();
    ~RuntimeLocks();
    RuntimeLocks(const RuntimeLocks&) = delete;
    RuntimeLocks& operator=(const RuntimeLocks&) = delete;

    // To be called before the DLL's code runs.
    void watch(HMODULE module);

  private:
    static HANDLE WINAPI create(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum,
                                const wchar_t* name);

    std::vector<HANDLE> m_semaphores;
    std::unique_ptr<Interposer> m_interposer;
};

}  // namespace support
