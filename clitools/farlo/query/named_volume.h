// One volume of a disk group, by its device name.
#pragma once

#include "object.h"

#include <vector>

namespace farlo {

// The first of the volumes with that device name, compared without regard to
// case; NULL when there is none. Throws when a device name cannot be read.
[[nodiscard]] const CZtObject* find_by_device_name(const std::vector<CZtObject>& volumes,
                                                   const wchar_t* device);

}  // namespace farlo
