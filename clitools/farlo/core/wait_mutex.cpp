#include "wait_mutex.h"

#include "trace_log.h"

namespace farlo {

// The lines name the reservation thread's lock whatever mutex is waited for:
// kept, as all users share the wording that administrators search for.
std::uint32_t WaitForMutex(HANDLE mutex, std::uint32_t timeout_ms) {
    const DWORD result = WaitForSingleObject(mutex, timeout_ms);
    switch (result) {
    case WAIT_OBJECT_0:
        log(6, L"WaitForMutex(): Got the reservation_thread_update lock ");
        return 1;
    case WAIT_TIMEOUT:
        log(6, L"WaitForMutex(): Time-out to get the reservation_thread_update lock ");
        return 0;
    default:
        log(6, L"WaitForMutex(): Failed to get the reservation_thread_update lock");
        return 0;
    }
}

}  // namespace farlo
