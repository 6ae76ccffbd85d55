#include "core/string_property.h"

#include <cstdint>
#include <cwchar>

namespace farlo {

bool is_string(const CZtObject& object, const char* property, const wchar_t* wanted) {
    WideString string;
    try {
        object.GetProp(property, string);
    } catch (std::uint32_t) {
        return false;
    }
    return _wcsicmp(string.c_str(), wanted) == 0;
}

}  // namespace farlo
