#include "core/method_descriptor.h"

#include "bus/bus_memory.h"

#include <cstdio>
#include <cstring>

namespace farlo {

std::string FormatMethodDescriptor(const opal_objid& object, const GUID& interface_id,
                                   std::uint32_t major, std::uint32_t minor) {
    GUID object_guid;
    static_assert(sizeof object_guid == sizeof object);
    std::memcpy(&object_guid, &object, sizeof object_guid);

    const BusBlock<char> object_string(ZtGUIDToString(&object_guid));
    const BusBlock<char> interface_string(ZtGUIDToString(&interface_id));
    if (object_string == nullptr || interface_string == nullptr) {
        throw ZTERROR_NO_MEMORY;
    }
    char string[256];
    const int length = _snprintf(string, sizeof string, "OBJ:%s,INTF:%s,MJ:%d,MN:%d",
                                 object_string.get(), interface_string.get(), major, minor);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof string) {
        throw ZTERROR_INVALID_ARGUMENT;
    }
    return string;
}

}  // namespace farlo
