#include "core/string_property.h"

#include "core/read_property.h"

#include <cwchar>

namespace farlo {

bool is_string(const CZtObject& object, const char* property, const wchar_t* wanted) {
    WideString string;
    return try_read_or_throw(object, property, string) && _wcsicmp(string.c_str(), wanted) == 0;
}

}  // namespace farlo
