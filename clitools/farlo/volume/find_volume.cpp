#include "volume/find_volume.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "bus/status.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/lookup.h"
#include "core/string_property.h"
#include "core/trace_log.h"

#include <tuple>
#include <vector>

namespace farlo {
namespace {
constexpr char device_name[] = "DEVICE NAME";
}  // namespace

std::uint32_t check_device(const wchar_t* entry, const wchar_t* device) {
    return check_string(entry, L"device", device,
                        QueryString::value_capacity(ZTTYPE_VOLUME, device_name));
}

bool FindVolObjByDevName(opal_handle handle, const wchar_t* device, CZtObject& volume) {
    QueryString query;
    if (!query) {
        log(0, L"FindVolObjByDevName: failed to allocate memory");
        return false;
    }
    // It fits: check_device has passed the name.
    std::ignore = query.format(ZTTYPE_VOLUME, device_name, device);
    std::vector<CZtObject> volumes;
    const std::uint32_t status =
        CZtDatabase::GetObjectsByQuery(connection_pair(handle), query.c_str(), volumes);
    if (is_failure(status)) {
        log(0, L"FindVolObjByDevName:DbGetObjectsByQuery failed, for %s, error = 0x%x", device,
            status);
        return false;
    }
    if (volumes.empty()) {
        log(0, L"FindVolObjByDevName:Volume Object not found");
        return false;
    }
    volume.assign(volumes.front());
    return true;
}

bool FindVolIdByDLorDevName(opal_handle handle, CZtObject& volume, const wchar_t* name) {
    const std::vector<CZtObject> volumes = objects_of_type(handle, ZTTYPE_VOLUME);
    for (const CZtObject& candidate : volumes) {
        if (is_string(candidate, "Name", name) || is_string(candidate, device_name, name) ||
            is_string(candidate, "DRIVE LETTER", name)) {
            volume.assign(candidate);
            return true;
        }
    }
    return false;
}

}  // namespace farlo
