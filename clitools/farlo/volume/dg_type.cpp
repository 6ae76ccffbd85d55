#include "volume/dg_type.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "bus/status.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/trace_log.h"

#include <tuple>
#include <vector>

namespace farlo {
namespace {

constexpr char volume_name_property[] = "volumename";

bool is_of_type(opal_handle handle, const QueryString& query, const wchar_t* volume_name,
                std::uint32_t type, CZtObject& group) {
    std::vector<CZtObject> volumes;
    const std::uint32_t status =
        CZtDatabase::GetObjectsByQuery(connection_pair(handle), query.c_str(), volumes);
    if (is_failure(status)) {
        log(0,
            L"IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for volume - %s, error = 0x%x",
            volume_name, status);
        return false;
    }
    if (volumes.empty()) {
        return false;
    }
    std::vector<CZtObject> groups;
    volumes.front().GetParentObjects(ZTTYPE_DISK_GROUP, groups);
    if (groups.empty()) {
        return false;
    }
    group.assign(groups.front());
    std::uint32_t actual = 0;
    group.GetProp("LDM DG TYPE", actual);
    log(6, L"IsVolumeOfSpecifiedDgType: input type = %d, actual type = %d", type, actual);
    return actual == type;
}

}  // namespace

bool IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name, std::uint32_t type,
                               CZtObject& group, const wchar_t* entry) {
    log(2, L"Entering IsVolumeOfSpecifiedDgType");
    if (handle == nullptr) {
        log(0, L"IsVolumeOfSpecifiedDgType , NULL opal_handle");
        return false;
    }
    if (!is_connected(handle)) {
        log(0, L"IsVolumeOfSpecifiedDgType failed , opal_handle not connected");
        return false;
    }
    if (volume_name == nullptr) {
        log(0, L"IsVolumeOfSpecifiedDgType() failed , NULL Volume Name");
        return false;
    }
    if (check_string(entry, L"volume_name", volume_name,
                     QueryString::value_capacity(ZTTYPE_VOLUME, volume_name_property)) !=
        FARLO_SUCCESS) {
        return false;
    }
    QueryString query;
    if (!query) {
        log(0, L"IsVolumeOfSpecifiedDgType: failed to allocate memory");
        return false;
    }
    // It fits, as checked above.
    std::ignore = query.format(ZTTYPE_VOLUME, volume_name_property, volume_name);
    const bool answer =
        guarded_answer([&] { return is_of_type(handle, query, volume_name, type, group); });
    log(0, L"Exiting IsVolumeOfSpecifiedDgType");
    return answer;
}

}  // namespace farlo
