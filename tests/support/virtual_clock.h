// Time that passes at once: the DLL's sleeps and waits are taken down and do
// not take place. A test of five 5-second retries takes no time and still
// proves each sleep and its length.
#pragma once

#include "support/interposer.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
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

// One call of WaitForSingleObject.
struct Wait {
    DWORD milliseconds;
    DWORD result;

    bool operator==(const Wait&) const = default;
};
void PrintTo(const Wait& wait, std::ostream* out);

// One at a time in a process. A wait for an object that is signalled takes it;
// otherwise the time-out is over at once, and the object is looked at once more.
// A wait without end is a real one: whatever it waits for runs in real time.
class VirtualClock {
  public:
    explicit VirtualClock(HMODULE module);
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    // Every sleep, and every wait with a time-out that is neither 0 nor passed
    // over by an object that was signalled, in order.
    const std::vector<Pause>& pauses() const { return m_pauses; }
    // Every wait, those that took no time included, in order of their end.
    const std::vector<Wait>& waits() const { return m_waits; }
    // Milliseconds that the pauses took together.
    std::uint64_t elapsed() const;
    void forget();

    // Called at every pause, in virtual time, with its number from 1: things
    // that happen while the library sleeps. On the thread that pauses.
    std::function<void(int number)> on_pause;

  private:
    static void WINAPI sleep(DWORD milliseconds);
    static void zt_sleep(UINT milliseconds);
    static DWORD WINAPI wait(HANDLE object, DWORD milliseconds);
    static void pause(const char* function, DWORD milliseconds);

    DWORD(WINAPI* m_real_wait)(HANDLE object, DWORD milliseconds) = nullptr;
    std::vector<Pause> m_pauses;
    std::vector<Wait> m_waits;
    std::vector<std::unique_ptr<Interposer>> m_interposers;
};

}  // namespace support
