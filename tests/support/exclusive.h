// Holds a lock while it lives.
#pragma once

#include <windows.h>

namespace support {

class Exclusive {
  public:
    explicit Exclusive(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
    ~Exclusive() { ReleaseSRWLockExclusive(&m_lock); }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

  private:
    SRWLOCK& m_lock;
};

}  // namespace support
