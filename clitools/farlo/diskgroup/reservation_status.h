// The reservation state of a disk group.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetDgReservationStatus.
[[nodiscard]] std::uint32_t GetDgReservationStatusW(opal_handle handle, const wchar_t* name,
                                                    const char* guid, std::uint32_t* reservation);

}  // namespace farlo
