// The lock that a disk group's reservation thread holds while it updates the
// group.
#pragma once

#include "windows_handle.h"

#include <cstdint>

namespace farlo {

// Tries the lock of a group without waiting: 0 when it was taken, else 1. The
// caller releases `mutex` on 0 only, and closes it in every case.
[[nodiscard]] std::uint32_t IgnoreReservationThreadStatus(Handle& mutex, const char* guid);

}  // namespace farlo
