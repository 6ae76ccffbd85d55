// Finding volumes by the names that an agent knows.
#pragma once

#include "object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// FARLO_SUCCESS when a device name fits into a query, else what check_string
// (core/caller_string.h) returns.
[[nodiscard]] std::uint32_t check_device(const wchar_t* entry, const wchar_t* device);

// Asks the service for the volume of a device name that check_device has passed.
// False, and `volume` as it was, when there is none or the query failed.
[[nodiscard]] bool FindVolObjByDevName(opal_handle handle, const wchar_t* device,
                                       CZtObject& volume);

// The first volume whose "Name", "DEVICE NAME" or "DRIVE LETTER" is `name`,
// compared without regard to case. False, and `volume` as it was, when there is
// none.
[[nodiscard]] bool FindVolIdByDLorDevName(opal_handle handle, CZtObject& volume,
                                          const wchar_t* name);

}  // namespace farlo
