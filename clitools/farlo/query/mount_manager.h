// The symbolic links that the system's mount-point manager keeps for a device.
#pragma once

#include <cstddef>

namespace farlo {

// The size of the buffer for a link's name in characters, including the terminator.
inline constexpr std::size_t mount_link_capacity = 260;

// Finds the first link of a device whose name contains `search`, and copies the name
// into a buffer of mount_link_capacity characters. Skips names that do not fit. Returns
// false, and an empty link, when there is no such link or the mount-point manager could
// not be asked. A device with an empty name has no links.
[[nodiscard]] bool QueryMountPointName(const wchar_t* device, wchar_t* link, const wchar_t* search);

}  // namespace farlo
