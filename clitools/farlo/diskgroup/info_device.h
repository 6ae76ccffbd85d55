// The volume manager's info device, which answers requests about disk groups.
#pragma once

#include <cstdint>

namespace farlo {

// Sends a request (dmcontrol.h) with the address of its record. Returns 0, 1 when the
// device or what the record names is not found, 23 on a sharing violation, or 24 on any
// other failure. The first request of the process opens the device, in up to three
// tries a second apart; it stays open.
[[nodiscard]] std::uint32_t DmInfoIoctl(std::uint32_t code, void* record);

}  // namespace farlo
