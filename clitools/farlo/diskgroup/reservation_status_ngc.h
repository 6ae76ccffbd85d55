// The reservation state of a disk group on a node that reserves through the service.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// GetDgReservationStatusW on such a node. Stores the service's own reservation state.
[[nodiscard]] std::uint32_t GetNgcDgReservationStatusW(opal_handle handle, const wchar_t* name,
                                                       const char* guid,
                                                       std::uint32_t* reservation);

}  // namespace farlo
