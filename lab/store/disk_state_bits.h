// Bits of a disk's "ztvmstate".
#pragma once

#include <cstdint>

namespace lab {

inline constexpr std::uint32_t disk_missing = 0x1;
inline constexpr std::uint32_t disk_failed = 0x2;
inline constexpr std::uint32_t disk_dead = disk_missing | disk_failed;

}  // namespace lab
