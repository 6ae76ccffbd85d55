// The state of disk groups, disks and plexes, for the agent's monitors.
#pragma once

#include "farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetDgState, GetDgStateExW, GetDiskState, GetDgDiskAvailability,
// GetDgVolPlexStates.
[[nodiscard]] std::uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid,
                                        std::uint8_t* imported);
[[nodiscard]] std::uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                                          std::uint8_t* imported);
[[nodiscard]] std::uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk,
                                          std::uint32_t* state);
[[nodiscard]] std::uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name,
                                                   const char* guid, std::uint32_t* total,
                                                   std::uint32_t* live);
[[nodiscard]] std::uint32_t GetDgVolPlexStatesW(opal_handle handle, const wchar_t* name,
                                                const char* guid, const wchar_t* device,
                                                std::uint32_t* count, farlo_plex_state* plexes);

}  // namespace farlo
