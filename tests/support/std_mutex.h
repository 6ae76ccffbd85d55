// std::mutex and std::condition_variable for GoogleTest, over Windows' own: the
// toolchain's win32 thread model leaves them out. Included in front of every
// test source; nothing that ships sees it.
#pragma once

#ifdef __cplusplus
#include <bits/c++config.h>

#ifndef _GLIBCXX_HAS_GTHREADS
#include <windows.h>

#include <mutex>

namespace std {

class mutex {
  public:
    void lock() { AcquireSRWLockExclusive(&m_lock); }
    void unlock() { ReleaseSRWLockExclusive(&m_lock); }
    bool try_lock() { return TryAcquireSRWLockExclusive(&m_lock) != 0; }
    SRWLOCK* native_handle() { return &m_lock; }

  private:
    SRWLOCK m_lock = SRWLOCK_INIT;
};

class condition_variable {
  public:
    void notify_one() { WakeConditionVariable(&m_condition); }
    void notify_all() { WakeAllConditionVariable(&m_condition); }
    template <class Lock, class Predicate> void wait(Lock& lock, Predicate predicate) {
        while (!predicate()) {
            SleepConditionVariableSRW(&m_condition, lock.mutex()->native_handle(), INFINITE, 0);
        }
    }

  private:
    CONDITION_VARIABLE m_condition = CONDITION_VARIABLE_INIT;
};

}  // namespace std
#endif
#endif
