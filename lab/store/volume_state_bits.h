// Bits of a volume's "ztvmstate". For agents, each makes a volume unusable.
#pragma once

#include <cstdint>

namespace lab {

inline constexpr std::uint32_t volume_offline = 0x20;  // cleared by online, set by offline
inline constexpr std::uint32_t volume_broken = 0x4 | 0x10 | 0x100;  // cannot go online

}  // namespace lab
