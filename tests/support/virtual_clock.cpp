#include "virtual_clock.h"

#include <ostream>

namespace support {
namespace {
VirtualClock* current = nullptr;
CRITICAL_SECTION* guard() {
    static CRITICAL_SECTION section = [] {
        CRITICAL_SECTION made;
        InitializeCriticalSection(&made);
        return made;
    }();
    return &section;
}
}  // namespace

void PrintTo(const Pause& pause, std::ostream* out) {
    *out << pause.function << " " << pause.milliseconds << " ms";
}

VirtualClock::VirtualClock(HMODULE module) {
    current = this;
    if (imports(module, "Sleep")) {
        m_interposers.push_back(
            std::make_unique<Interposer>(module, "Sleep", &VirtualClock::sleep));
    }
    if (imports(module, "ZtSleep")) {
        m_interposers.push_back(
            std::make_unique<Interposer>(module, "ZtSleep", &VirtualClock::zt_sleep));
    }
    if (imports(module, "WaitForSingleObject")) {
        m_interposers.push_back(
            std::make_unique<Interposer>(module, "WaitForSingleObject", &VirtualClock::wait));
    }
}

VirtualClock::~VirtualClock() {
    m_interposers.clear();
    current = nullptr;
}

void VirtualClock::pause(const char* function, DWORD milliseconds) {
    int number = 0;
    EnterCriticalSection(guard());
    current->m_pauses.push_back({function, milliseconds});
    number = static_cast<int>(current->m_pauses.size());
    LeaveCriticalSection(guard());
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
    // Without end: whatever it waits for runs in real time.
    if (milliseconds == 0 || milliseconds == INFINITE) {
        return WaitForSingleObject(object, milliseconds);
    }
    DWORD result = WaitForSingleObject(object, 0);
    if (result == WAIT_TIMEOUT) {
        pause("Wait", milliseconds);
        result = WaitForSingleObject(object, 0);
    }
    return result;
}

}  // namespace support
