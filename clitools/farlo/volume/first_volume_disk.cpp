#include "volume/first_volume_disk.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "volume/disk_layout.h"

#include <vector>

namespace farlo {
namespace {

std::uint32_t read_disk_id(opal_handle handle, const wchar_t* group_name, std::uint32_t* disk_id,
                           std::uint32_t* style) {
    if (group_name == nullptr || disk_id == nullptr || style == nullptr) {
        return FARLO_NOT_FOUND;
    }
    if (handle == nullptr) {
        log(0, L"GetFirstVolumesDiskIDW , NULL opal_handle");
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetFirstVolumesDiskIDW failed , opal_handle not connected");
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjIdByName(handle, group_name, group, /*cluster_only=*/true);
    if (status == FARLO_NOT_FOUND) {
        log(0, L"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found %s", group_name);
    }
    if (status != FARLO_SUCCESS) {
        return status;
    }
    std::vector<CZtObject> volumes;
    group.GetChildObjects(volumes, ZTTYPE_VOLUME);
    if (volumes.empty()) {
        // KEPT: an empty group is a success; agents ask for groups that are still
        // empty.
        log(0, L"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW volumes does not exists in DG");
        return status;
    }
    WideString volume_name;
    volumes.front().GetProp("volumename", volume_name);
    std::uint32_t signature = 0;
    std::uint8_t disk_guid[FARLO_GUID_SIZE];
    status = GetDiskTypeAndSignatureW(volume_name.c_str(), &signature, disk_guid, style);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with error = 0x%x", status);
        return status;
    }
    if (*style == FARLO_PARTITION_STYLE_MBR) {
        *disk_id = signature;
    }
    log(0, L"Exiting GetFirstVolumesDiskIDW 0x%x", *disk_id);
    return FARLO_SUCCESS;
}

}  // namespace

// KEPT: the bare name is the entry line and the exit line; administrators search for
// it.
std::uint32_t GetFirstVolumesDiskIDW(opal_handle handle, const wchar_t* group_name,
                                     std::uint32_t* disk_id, std::uint32_t* style) {
    log(6, L"GetFirstVolumesDiskIDW");
    std::uint32_t status =
        guarded([&] { return read_disk_id(handle, group_name, disk_id, style); });
    log(6, L"GetFirstVolumesDiskIDW");
    return status;
}

}  // namespace farlo
