// Stopping the reservation of a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, StopDgReservation.
[[nodiscard]] std::uint32_t StopDgReservationW(opal_handle handle, const wchar_t* name,
                                               const char* guid);

}  // namespace farlo
