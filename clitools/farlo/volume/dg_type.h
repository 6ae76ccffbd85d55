// The type of the disk group that a volume belongs to.
#pragma once

#include "object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, IsVolumeOfSpecifiedDgType. `group` becomes the volume's disk group,
// whatever its type; it stays as it was when none was found. `entry` is the
// export that was called.
[[nodiscard]] bool IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name,
                                             std::uint32_t type, CZtObject& group,
                                             const wchar_t* entry = L"IsVolumeOfSpecifiedDgType");

}  // namespace farlo
