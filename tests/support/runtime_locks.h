// The semaphores that the C++ runtime of a DLL uses as locks. The runtime creates them at their
// first use and never closes them; the library itself uses no semaphores. RuntimeLocks records and
// closes them, so that they do not count as leaks of the library.
#pragma once

#include "support/interposer.h"

#include <windows.h>

#include <memory>
#include <vector>

namespace support {

// Must outlive the DLL. One at a time in a process.
class RuntimeLocks {
  public:
    RuntimeLocks();
    ~RuntimeLocks();
    RuntimeLocks(const RuntimeLocks&) = delete;
    RuntimeLocks& operator=(const RuntimeLocks&) = delete;

    // Must be called before the DLL's code runs.
    void watch(HMODULE module);

  private:
    static HANDLE WINAPI create(SECURITY_ATTRIBUTES* security, LONG initial, LONG maximum,
                                const wchar_t* name);

    std::vector<HANDLE> m_semaphores;
    std::unique_ptr<Interposer> m_interposer;
};

}  // namespace support
