// Asking the service to refresh the mount path of a volume.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, FFUpdateMountPath.
[[nodiscard]] std::uint32_t FFUpdateMountPathW(opal_handle handle, const wchar_t* name);

}  // namespace farlo
