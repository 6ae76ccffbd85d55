#include "volume/cluster_shared_guid.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "bus/status.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/guid_string.h"
#include "core/trace_log.h"
#include "volume/find_volume.h"

#include <cerrno>
#include <cwchar>
#include <tuple>
#include <vector>

namespace farlo {
namespace {

std::uint32_t find_guid(opal_handle handle, const wchar_t* device, char* guid) {
    if (device == nullptr) {
        log(0, L"GetClusterSharedDgGuidW() failed , NULL Volume Device Name");
        return FARLO_INVALID_ARGUMENT;
    }
    if (guid == nullptr) {
        log(0, L"GetClusterSharedDgGuidW() failed , NULL DG GUID");
        return FARLO_INVALID_ARGUMENT;
    }
    QueryString query;
    if (!query) {
        log(0, L"GetClusterSharedDgGuidW: failed to allocate memory");
        return FARLO_OUT_OF_MEMORY;
    }
    // It fits: check_device has passed the name.
    std::ignore = query.format(ZTTYPE_VOLUME, "DEVICE NAME", device);
    // KEPT: some of these lines have two blanks before "- %s", others one;
    // administrators search for this wording.
    std::vector<CZtObject> volumes;
    const std::uint32_t status =
        CZtDatabase::GetObjectsByQuery(connection_pair(handle), query.c_str(), volumes);
    if (is_failure(status)) {
        log(0, L"GetClusterSharedDgGuidW:DbGetObjectsByQuery failed for volume  - %s, error = 0x%x",
            device, status);
        return status;
    }
    if (volumes.empty()) {
        log(0, L"GetClusterSharedDgGuidW:Volume Object not found for volume  - %s", device);
        return FARLO_PROVIDER_FAILED;
    }
    std::vector<CZtObject> groups;
    volumes.front().GetParentObjects(ZTTYPE_DISK_GROUP, groups);
    if (groups.empty()) {
        log(0, L"GetClusterSharedDgGuidW: Dg object not found for volume  - %s", device);
        return FARLO_PROVIDER_FAILED;
    }
    std::uint32_t type = 0;
    groups.front().GetProp("LDM DG TYPE", type);
    if (type != ZTDGTYPE_CLUSTER_SHARED) {
        log(0, L"GetClusterSharedDgGuidW: DgType is not Cluster Shared for volume - %s", device);
        return FARLO_INVALID_ARGUMENT;
    }
    NarrowString dgid;
    groups.front().GetProp("dgid", dgid);
    if (!copy_string(guid, guid_string_capacity, dgid.c_str(), dgid.length())) {
        // KEPT: the string is emptied; callers rely on a terminator.
        *guid = '\0';
        log(0, L"GetClusterSharedDgGuidW: secure string copy failed for volume  - %s, error = %s",
            device, _wcserror(ERANGE));
        return FARLO_PROVIDER_FAILED;
    }
    return FARLO_SUCCESS;
}

}  // namespace

std::uint32_t GetClusterSharedDgGuidW(opal_handle handle, const wchar_t* device, char* guid) {
    log(2, L"Entering GetClusterSharedDgGuidW");
    if (handle == nullptr) {
        log(0, L"GetClusterSharedDgGuidW() failed , NULL opal_handle");
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetClusterSharedDgGuidW() failed , opal_handle not connected");
        return FARLO_NOT_CONNECTED;
    }
    const std::uint32_t refused = check_device(L"GetClusterSharedDgGuidW", device);
    std::uint32_t status = guarded(
        [&] { return refused != FARLO_SUCCESS ? refused : find_guid(handle, device, guid); });
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"GetClusterSharedDgGuidW() failed, error=(0x%x) ", status);
    }
    return status;
}

}  // namespace farlo
