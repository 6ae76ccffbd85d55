// Dismounting a volume without the service.
#pragma once

#include <cstdint>

namespace farlo {

// farlo.h, OfflineVolume.
[[nodiscard]] std::uint32_t OfflineVolumeW(const char* name, const wchar_t* path,
                                           const void* group_guid);

}  // namespace farlo
