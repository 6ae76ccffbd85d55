// Reports the end of another process.
#pragma once

#include <windows.h>

#include <functional>

namespace lab {

class ProcessWatch {
  public:
    // Takes ownership of the handle, which may be null. When the process ends,
    // `on_end` is called once on the watch's own thread. Watches nothing if the
    // handle is null or the thread cannot be created.
    ProcessWatch(HANDLE process, std::function<void()> on_end);
    // `on_end` is not called afterwards. Must not be called from within `on_end`.
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
