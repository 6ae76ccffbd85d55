// The volume manager's info device, through which its driver is asked about
// disk groups.
#pragma once

#include <cstdint>

namespace farlo {

// Sends a request (dmcontrol.h) with the address of its record: 0, 1 when the
// device or what the record names is not found, 23 on a sharing violation, 24
// on any other failure. The device is opened at the first request of the
// process, in up to three tries a second apart, and stays open.
[[nodiscard]] std::uint32_t DmInfoIoctl(std::uint32_t code, void* record);

}  // namespace farlo
