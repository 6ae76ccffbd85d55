#include "support/virtual_clock.h"

#include "support/exclusive.h"

#include <ostream>
#include <stdexcept>
#include <type_traits>

namespace support {
namespace {
VirtualClock* current = nullptr;
SRWLOCK guard = SRWLOCK_INIT;
}  // namespace

void PrintTo(const Pause& pause, std::ostream* out) {
    *out << pause.function << " " << pause.milliseconds << " ms";
}

void PrintTo(const Wait& wait, std::ostream* out) {
    *out << "wait of " << wait.milliseconds << " ms, result " << wait.result;
}

VirtualClock::VirtualClock(HMODULE module) {
    if (current != nullptr) {
        throw std::logic_error("there is already a virtual clock");
    }
    current = this;
    const auto replace = [&](const char* name, auto* function) {
        if (imports(module, name)) {
            m_interposers.push_back(std::make_unique<Interposer>(module, name, function));
            return m_interposers.back()->original<std::remove_pointer_t<decltype(function)>>();
        }
        return function;
    };
    replace("Sleep", &VirtualClock::sleep);
    replace("ZtSleep", &VirtualClock::zt_sleep);
    // If the module is the test program, a thread of GoogleTest may call wait() before replace()
    // has returned.
    m_real_wait = &WaitForSingleObject;
    m_real_wait = replace("WaitForSingleObject", &VirtualClock::wait);
}

VirtualClock::~VirtualClock() {
    m_interposers.clear();
    current = nullptr;
}

std::uint64_t VirtualClock::elapsed() const {
    std::uint64_t sum = 0;
    for (const Pause& pause : m_pauses) {
        sum += pause.milliseconds;
    }
    return sum;
}

void VirtualClock::forget() {
    m_pauses.clear();
    m_waits.clear();
}

void VirtualClock::pause(const char* function, DWORD milliseconds) {
    int number = 0;
    {
        const Exclusive hold(guard);
        current->m_pauses.push_back({function, milliseconds});
        number = static_cast<int>(current->m_pauses.size());
    }
    if (current->on_pause) {
        current->on_pause(number);
    }
}

void WINAPI VirtualClock::sleep(DWORD milliseconds) {
    pause("Sleep", milliseconds);
}

void VirtualClock::zt_sleep(UINT milliseconds) {
    pause("ZtSleep", milliseconds);
}

DWORD WINAPI VirtualClock::wait(HANDLE object, DWORD milliseconds) {
    const bool passes = milliseconds != 0 && milliseconds != INFINITE;
    DWORD result = current->m_real_wait(object, passes ? 0 : milliseconds);
    if (passes && result == WAIT_TIMEOUT) {
        pause("Wait", milliseconds);
        result = current->m_real_wait(object, 0);
    }
    const DWORD error = GetLastError();
    {
        const Exclusive hold(guard);
        current->m_waits.push_back({milliseconds, result});
    }
    SetLastError(error);
    return result;
}

}  // namespace support
