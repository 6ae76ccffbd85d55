// Bits of a volume's "ztvmstate". Agents take a volume with any of them for
// unusable.
#pragma once

#include <cstdint>

namespace lab {

inline constexpr std::uint32_t volume_offline = 0x20;               // online and offline change it
inline constexpr std::uint32_t volume_broken = 0x4 | 0x10 | 0x100;  // cannot go online

}  // namespace lab
