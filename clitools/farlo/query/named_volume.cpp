#include "query/named_volume.h"

#include <cwchar>

namespace farlo {

const CZtObject* find_by_device_name(const std::vector<CZtObject>& volumes, const wchar_t* device) {
    for (const CZtObject& volume : volumes) {
        WideString name;
        volume.GetProp("DEVICE NAME", name);
        if (_wcsicmp(name.c_str(), device) == 0) {
            return &volume;
        }
    }
    return nullptr;
}

}  // namespace farlo
