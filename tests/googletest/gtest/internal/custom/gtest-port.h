// GoogleTest's own place for what a platform lacks. This tool chain's C++
// library has no mutex and no condition variable: GoogleTest's locks are
// Windows ones anyway, and only this class needs a stand-in.
#ifndef GTEST_INTERNAL_CUSTOM_GTEST_PORT_H
#define GTEST_INTERNAL_CUSTOM_GTEST_PORT_H

#include <windows.h>

#define GTEST_HAS_NOTIFICATION_ 1

namespace testing::internal {

// Holds threads back until it is notified.
class Notification {
  public:
    Notification() : m_event(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    ~Notification() { CloseHandle(m_event); }
    Notification(const Notification&) = delete;
    Notification& operator=(const Notification&) = delete;

    void Notify() { SetEvent(m_event); }
    void WaitForNotification() { WaitForSingleObject(m_event, INFINITE); }

  private:
    HANDLE m_event;
};

}  // namespace testing::internal

#endif
