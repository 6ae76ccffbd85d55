// One volume of a disk group, by its device name.
#pragma once

#include "bus/object.h"

#include <vector>

namespace farlo {

// Returns the first volume with that device name, ignoring case, or NULL. Throws when a
// device name cannot be read.
[[nodiscard]] const CZtObject* find_by_device_name(const std::vector<CZtObject>& volumes,
                                                   const wchar_t* device);

}  // namespace farlo
