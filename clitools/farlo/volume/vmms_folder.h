// Removing the empty folders that the virtual-machine management service leaves
// on a volume.
#pragma once

#include <cstdint>

namespace farlo {

// farlo.h, DeleteVMMSFolder. Reparse points are neither entered nor removed.
[[nodiscard]] std::uint32_t DeleteVMMSFolder(const wchar_t* folder);

}  // namespace farlo
