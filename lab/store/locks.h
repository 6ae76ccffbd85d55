// Scoped holds of slim reader/writer locks: the toolchain's C++ library has no
// mutexes.
#pragma once

#include <windows.h>

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

}  // namespace lab
