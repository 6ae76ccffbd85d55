// The type of the disk group that a volume belongs to.
#pragma once

#include "object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// "LDM DG TYPE" of a cluster group, and of a cluster-shared one.
inline constexpr std::uint32_t cluster_dg_type = 2;
inline constexpr std::uint32_t cluster_shared_dg_type = 8;

// farlo.h, IsVolumeOfSpecifiedDgType. `group` becomes the volume's disk group,
// whatever its type; it stays as it was when none was found.
bool IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name, std::uint32_t type,
                               CZtObject& group);

}  // namespace farlo
