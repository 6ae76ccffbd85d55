// The type of the disk group that a volume belongs to.
#pragma once

#include "bus/object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, IsVolumeOfSpecifiedDgType. Stores the volume's disk group in `group`, even
// if it is of another type; leaves `group` unchanged when the volume has none. `entry`
// is the export that was called.
[[nodiscard]] bool IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name,
                                             std::uint32_t type, CZtObject& group,
                                             const wchar_t* entry = L"IsVolumeOfSpecifiedDgType");

}  // namespace farlo
