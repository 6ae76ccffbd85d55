// Reservations of disk groups.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, ArbitrateDg, StopDgReservation, GetDgReservationStatus, ReleaseDgW.
[[nodiscard]] std::uint32_t ArbitrateDgW(opal_handle handle, const wchar_t* name, const char* guid);
[[nodiscard]] std::uint32_t StopDgReservationW(opal_handle handle, const wchar_t* name,
                                               const char* guid);
[[nodiscard]] std::uint32_t GetDgReservationStatusW(opal_handle handle, const wchar_t* name,
                                                    const char* guid, std::uint32_t* reservation);
[[nodiscard]] std::uint32_t ReleaseDgW(const char* guid);

// GetDgReservationStatusW on a node that reserves through the service. Stores the
// service's own reservation state.
[[nodiscard]] std::uint32_t GetNgcDgReservationStatusW(opal_handle handle, const wchar_t* name,
                                                       const char* guid,
                                                       std::uint32_t* reservation);

}  // namespace farlo
