// Looking for objects by a text of theirs.
#pragma once

#include "object.h"

namespace farlo {

// Whether an object's property is that text, without regard to case. One that
// cannot be read is not.
[[nodiscard]] bool is_text(const CZtObject& object, const char* property, const wchar_t* wanted);

}  // namespace farlo
