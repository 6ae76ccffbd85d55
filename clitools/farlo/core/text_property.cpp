#include "core/text_property.h"

#include <cstdint>
#include <cwchar>

namespace farlo {

bool is_text(const CZtObject& object, const char* property, const wchar_t* wanted) {
    WideText text;
    try {
        object.GetProp(property, text);
    } catch (std::uint32_t) {
        return false;
    }
    return _wcsicmp(text.c_str(), wanted) == 0;
}

}  // namespace farlo
