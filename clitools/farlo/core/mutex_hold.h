// Releasing a mutex.
#pragma once

#include <windows.h>

#include <utility>

namespace farlo {

// Releases a mutex once: when release() is called, or when it goes out of scope.
// Neither waits for the mutex nor closes its handle, which must outlive this.
class MutexHold {
  public:
    // Holds nothing.
    MutexHold() = default;
    explicit MutexHold(HANDLE mutex) : m_mutex(mutex) {}
    ~MutexHold() { release(); }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

    // Releases what is held, and holds `mutex` from now on.
    void take(HANDLE mutex) {
        release();
        m_mutex = mutex;
    }

    void release() {
        if (m_mutex != nullptr) {
            ReleaseMutex(std::exchange(m_mutex, nullptr));
        }
    }

  private:
    HANDLE m_mutex = nullptr;
};

}  // namespace farlo
