// The symbolic links that the system's mount-point manager keeps for a device.
#pragma once

#include <cstddef>

namespace farlo {

// Characters of the buffer for a link's name, the terminator included.
inline constexpr std::size_t mount_link_capacity = 260;

// The first link of a device whose name contains `search`, into a buffer of
// mount_link_capacity characters; a longer name is passed over. False, and the
// link empty, when there is none or the mount-point manager could not be asked. An
// empty device name has no links; nothing is asked for it.
[[nodiscard]] bool QueryMountPointName(const wchar_t* device, wchar_t* link, const wchar_t* search);

}  // namespace farlo
