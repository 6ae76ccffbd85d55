#include "diskgroup/reservation_lock.h"

#include "core/guid_string.h"
#include "core/trace_log.h"

#include <cstdio>

namespace farlo {

std::uint32_t IgnoreReservationThreadStatus(Handle& mutex, const char* guid) {
    char name[260];
    static_assert(sizeof name >= sizeof "Global\\" + guid_string_capacity);
    std::snprintf(name, sizeof name, "Global\\%s", guid);
    mutex = Handle(CreateMutexA(nullptr, FALSE, name));
    if (!mutex) {
        log(0, L"IgnoreReservationThreadStatus(): CreateMutexA failed, error=(0x%x) ",
            GetLastError());
        return 1;
    }
    switch (WaitForSingleObject(mutex.get(), 0)) {
    case WAIT_OBJECT_0:
        log(6, L"IgnoreReservationThreadStatus(): Got the reservation_thread_update lock on dg.");
        return 0;
    case WAIT_TIMEOUT:
        log(6, L"IgnoreReservationThreadStatus(): Time-out to get the reservation_thread_update "
               L"lock on dg");
        return 1;
    case WAIT_ABANDONED:
        // KEPT: the lock is owned now, and the caller closes it without releasing it.
        // While another process has it open and this thread lives, the next one to try
        // gets a time-out, not an abandoned lock.
        log(0, L"IgnoreReservationThreadStatus(): WAIT_ABANDONED while waiting for the "
               L"reservation_thread_update lock on dg");
        return 1;
    default:
        log(0, L"IgnoreReservationThreadStatus(): Failed to get the reservation_thread_update "
               L"lock on dg");
        return 1;
    }
}

}  // namespace farlo
