// The volume manager's config device, which takes requests about volumes.
#pragma once

#include <cstdint>

namespace farlo {

// Sends a request (dmcontrol.h) with the address of its dm_volume_request. Returns 0,
// 23 on a sharing violation, 36 when the driver was unsuccessful, 1 when there is no
// such device, 19 on an invalid parameter, or 24 on any other failure. Each request
// opens the device, in up to three tries a second apart.
[[nodiscard]] std::uint32_t SendDmConfigRequest(std::uint32_t code, void* record);

}  // namespace farlo
