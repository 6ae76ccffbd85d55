// Time that passes at once: the DLL's sleeps and waits are taken down and do
// not take place. A test of five 5-second retries takes no time and still
// proves each sleep and its length.
#pragma once

#include "interposer.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace support {

struct Pause {
    std::string function;  // "Sleep", "ZtSleep" or "Wait"
    DWORD milliseconds;

    bool operator==(const Pause&) const = default;
};
void PrintTo(const Pause& pause, std::ostream* out);

// One at a time in a process.
class VirtualClock {
  public:
    explicit VirtualClock(HMODULE module);
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    // Every sleep, and every wait with a time-out that is neither 0 nor passed
    // over by an object that was signalled, in order.
    const std::vector<Pause>& pauses() const { return m_pauses; }
    void forget() { m_pauses.clear(); }

    // Called at every pause, in virtual time, with its number from 1: things
    // that happen while the library sleeps.
    std::function<void(int number)> on_pause;

  private:
    static void WINAPI sleep(DWORD milliseconds);
    static void zt_sleep(UINT milliseconds);
    static DWORD WINAPI wait(HANDLE object, DWORD milliseconds);
    static void pause(const char* function, DWORD milliseconds);

    std::vector<Pause> m_pauses;
    std::vector<std::unique_ptr<Interposer>> m_interposers;
};

}  // namespace support
