// Virtual time: the DLL's sleeps and waits are recorded and end at once. A test of five retries
// that are 5 seconds apart takes no time and still checks the length of each sleep.
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

// One at a time in a process. A wait for a signalled object succeeds. Otherwise the wait pauses for
// its timeout in virtual time and then checks the object once more. A wait without a timeout is a
// real wait, because the event that ends it happens in real time.
class VirtualClock {
  public:
    explicit VirtualClock(HMODULE module);
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    // Every sleep, and every wait for an object that was not signalled at first and whose timeout
    // is neither 0 nor INFINITE, in order.
    const std::vector<Pause>& pauses() const { return m_pauses; }
    // Every wait, including those that took no time, in the order in which they ended.
    const std::vector<Wait>& waits() const { return m_waits; }
    // The length of all pauses, in milliseconds.
    std::uint64_t elapsed() const;
    // Forgets the pauses and waits so far.
    void forget();

    // Called at every pause, on the thread that pauses, with the number of the pause from 1. It can
    // change something while the library sleeps.
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
