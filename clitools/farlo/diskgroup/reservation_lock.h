// The lock that a disk group's reservation thread holds while it updates the
// group.
#pragma once

#include "core/windows_handle.h"

#include <cstdint>

namespace farlo {

// Tries to take the lock of a group without waiting. Returns 0 when it was taken, else
// 1. The caller releases `mutex` only on 0, and always closes it.
[[nodiscard]] std::uint32_t IgnoreReservationThreadStatus(Handle& mutex, const char* guid);

}  // namespace farlo
