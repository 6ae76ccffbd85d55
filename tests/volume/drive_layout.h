// The request for a disk's layout, as the library makes it.
#pragma once

#include <windows.h>

#include <cstdint>

namespace support {

inline constexpr DWORD get_drive_layout_code = 0x70050;  // IOCTL_DISK_GET_DRIVE_LAYOUT_EX
// Room for 48 bytes of header and 129 partitions of 144 bytes.
inline constexpr DWORD drive_layout_size = 18624;

// A 32-bit number of GuardedBuffer's filling: an output that was not written.
inline constexpr std::uint32_t untouched_value = 0xC5C5C5C5;

}  // namespace support
