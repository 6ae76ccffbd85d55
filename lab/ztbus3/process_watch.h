// Waits for the end of another process.
#pragma once

#include <windows.h>

#include <functional>

namespace lab {

class ProcessWatch {
  public:
    // Takes the handle over; null watches nothing. `on_end` is called on a thread
    // of the watch's own, at most once, when the process ends. Where that thread
    // cannot be made nothing is watched.
    ProcessWatch(HANDLE process, std::function<void()> on_end);
    // Not from within `on_end`, which is not called any more afterwards.
    ~ProcessWatch();
    ProcessWatch(const ProcessWatch&) = delete;
    ProcessWatch& operator=(const ProcessWatch&) = delete;

  private:
    static DWORD WINAPI watch(void* argument);

    HANDLE m_process;
    std::function<void()> m_on_end;
    HANDLE m_stop = nullptr;
    HANDLE m_thread = nullptr;
};

}  // namespace lab
