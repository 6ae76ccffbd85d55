#include "core/wait_mutex.h"

#include "core/trace_log.h"

namespace farlo {

// KEPT: the lines name the reservation thread's lock for every mutex; administrators
// search for this wording.
std::uint32_t WaitForMutex(HANDLE mutex, std::uint32_t timeout_ms) {
    const DWORD result = WaitForSingleObject(mutex, timeout_ms);
    switch (result) {
    case WAIT_OBJECT_0:
        log(6, L"WaitForMutex(): Got the reservation_thread_update lock ");
        return 1;
    case WAIT_TIMEOUT:
        log(6, L"WaitForMutex(): Time-out to get the reservation_thread_update lock ");
        return 0;
    case WAIT_ABANDONED:
        // The mutex is owned now, but its owner left the work half done: the next wait
        // obtains it.
        ReleaseMutex(mutex);
        [[fallthrough]];
    default:
        log(6, L"WaitForMutex(): Failed to get the reservation_thread_update lock");
        return 0;
    }
}

}  // namespace farlo
