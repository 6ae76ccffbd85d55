// Comparing an object's string property.
#pragma once

#include "bus/object.h"

namespace farlo {

// Whether an object's property is the wanted string, ignoring case. False if the
// property cannot be read.
[[nodiscard]] bool is_string(const CZtObject& object, const char* property, const wchar_t* wanted);

}  // namespace farlo
