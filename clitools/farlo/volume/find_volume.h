// Finding volumes by the names that an agent knows.
#pragma once

#include "bus/object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Returns FARLO_SUCCESS when a device name fits into a query, else what check_string
// (core/caller_string.h) returns.
[[nodiscard]] std::uint32_t check_device(const wchar_t* entry, const wchar_t* device);

// Finds a volume by a device name that check_device has passed. Returns false, and
// leaves `volume` unchanged, when there is no such volume or the query failed.
[[nodiscard]] bool FindVolObjByDevName(opal_handle handle, const wchar_t* device,
                                       CZtObject& volume);

// Finds the first volume whose "Name", "DEVICE NAME" or "DRIVE LETTER" is `name`,
// ignoring case. Returns false, and leaves `volume` unchanged, when there is no such
// volume.
[[nodiscard]] bool FindVolIdByDLorDevName(opal_handle handle, CZtObject& volume,
                                          const wchar_t* name);

}  // namespace farlo
