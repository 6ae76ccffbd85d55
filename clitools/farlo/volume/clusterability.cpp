#include "volume/clusterability.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "bus/status.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/trace_log.h"
#include "volume/dg_type.h"

#include <cstring>
#include <cwchar>
#include <tuple>
#include <vector>

namespace farlo {
namespace {

// Room for a signature's digits or a GUID string.
constexpr std::size_t value_characters = 64;

// Formats a disk GUID as the service does.
void format_guid(wchar_t* string, const std::uint8_t* bytes) {
    GUID guid;
    std::memcpy(&guid, bytes, sizeof guid);
    _snwprintf(string, value_characters, L"{%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}",
               static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0],
               guid.Data4[1], guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5],
               guid.Data4[6], guid.Data4[7]);
}

bool is_clusterable(opal_handle handle, std::uint32_t style, std::uint32_t signature,
                    const std::uint8_t* disk_guid) {
    QueryString query;
    const BusBlock<wchar_t> value(
        static_cast<wchar_t*>(_ZtAlloc(value_characters * sizeof(wchar_t))));
    if (!query || value == nullptr) {
        log(0, L"IsStorageClusterable: failed to allocate memory");
        return false;
    }
    // KEPT: for other styles the query stays empty, and the service is asked anyway.
    // Both values fit into the query.
    if (style == FARLO_PARTITION_STYLE_MBR) {
        _snwprintf(value.get(), value_characters, L"%u", signature);
        std::ignore = query.format(ZTTYPE_DISK, "SIGNATURE", value.get());
    } else if (style == FARLO_PARTITION_STYLE_GPT) {
        if (disk_guid == nullptr) {
            log(0, L"IsStorageClusterable() failed , NULL Disk GUID");
            return false;
        }
        format_guid(value.get(), disk_guid);
        std::ignore = query.format(ZTTYPE_DISK, "DISKGUID", value.get());
    }
    std::vector<CZtObject> disks;
    const std::uint32_t status =
        CZtDatabase::GetObjectsByQuery(connection_pair(handle), query.c_str(), disks);
    if (is_failure(status)) {
        log(0, L"IsStorageClusterable:DbGetObjectsByQuery failed, for %s, error = 0x%x",
            query.c_str(), status);
        return false;
    }
    if (disks.empty()) {
        log(0, L"IsStorageClusterable:Disk Object not found");
        return false;
    }
    std::vector<CZtObject> groups;
    disks.front().GetParentObjects(ZTTYPE_DISK_GROUP, groups);
    if (groups.empty()) {
        return false;
    }
    bool cluster_resource = false;
    std::uint32_t type = 0;
    groups.front().GetProp("cluster resource", cluster_resource);
    groups.front().GetProp("LDM DG TYPE", type);
    return type == ZTDGTYPE_CLUSTER && cluster_resource;
}

}  // namespace

bool IsStorageClusterable(opal_handle handle, std::uint32_t style, std::uint32_t signature,
                          const std::uint8_t* disk_guid) {
    log(2, L"Entering IsStorageClusterable");
    if (handle == nullptr) {
        log(0, L"IsStorageClusterable , NULL opal_handle");
        return false;
    }
    if (!is_connected(handle)) {
        log(0, L"IsStorageClusterable failed , opal_handle not connected");
        return false;
    }
    const bool answer =
        guarded_answer([&] { return is_clusterable(handle, style, signature, disk_guid); });
    log(0, L"Exiting IsStorageClusterable");
    return answer;
}

bool IsVolumeClusterable(opal_handle handle, const wchar_t* volume_name) {
    log(2, L"Entering IsVolumeClusterable");
    CZtObject group;
    if (!IsVolumeOfSpecifiedDgType(handle, volume_name, ZTDGTYPE_CLUSTER_SHARED, group,
                                   L"IsVolumeClusterable")) {
        return false;
    }
    const bool answer = guarded_answer([&] {
        bool shared = false;
        group.GetProp("cluster shared", shared);
        if (shared) {
            log(6, L"IsVolumeClusterable: volume %s is clusterable", volume_name);
        } else {
            log(6, L"IsVolumeClusterable: volume %s is NOT clusterable", volume_name);
        }
        return shared;
    });
    log(0, L"Exiting IsVolumeClusterable");
    return answer;
}

}  // namespace farlo
