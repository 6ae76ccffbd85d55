// Scoped locks. The toolchain's C++ library has no mutexes.
#pragma once

#include <windows.h>

#include <system_error>

namespace lab {

class Shared {
  public:
    explicit Shared(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockShared(&m_lock); }
    ~Shared() { ReleaseSRWLockShared(&m_lock); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

  private:
    SRWLOCK& m_lock;
};

class Exclusive {
  public:
    explicit Exclusive(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
    ~Exclusive() { ReleaseSRWLockExclusive(&m_lock); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

  private:
    SRWLOCK& m_lock;
};

// Holds a named mutex, so that only one process on the machine runs the guarded
// code at a time. Throws std::system_error.
class MachineLock {
  public:
    explicit MachineLock(const wchar_t* name) : m_mutex(CreateMutexW(nullptr, FALSE, name)) {
        if (m_mutex == nullptr) {
            throw std::system_error(static_cast<int>(GetLastError()), std::system_category(),
                                    "creating a machine-wide lock");
        }
        WaitForSingleObject(m_mutex, INFINITE);
    }
    ~MachineLock() {
        ReleaseMutex(m_mutex);
        CloseHandle(m_mutex);
    }
    MachineLock(const MachineLock&) = delete;
    MachineLock& operator=(const MachineLock&) = delete;

  private:
    HANDLE m_mutex;
};

}  // namespace lab
