#include "query/dg_properties.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "query/fill_disk_record.h"
#include "query/fill_vol_info.h"
#include "query/record_fields.h"

#include <vector>

namespace farlo {
namespace {

void fill_record(opal_handle handle, const std::vector<CZtObject>& disks,
                 const std::vector<CZtObject>& volumes, DgInfo* record) {
    record->disk_count = static_cast<std::uint32_t>(disks.size());
    record->volume_count = static_cast<std::uint32_t>(volumes.size());
    auto* const disk_records = reinterpret_cast<DgDiskInfo*>(record + 1);
    // KEPT: "%ul", which writes an "l" after the number; administrators search for it.
    FillDiskRecords(disks,
                    L"farlo: GetDgPropertiesW: No signature property on disk..so forming it..Id = "
                    L"%S, guidToNumString = %ul, signature = %u",
                    disk_records);
    auto* volume_record = reinterpret_cast<VolInfo*>(disk_records + disks.size());
    for (const CZtObject& volume : volumes) {
        FillVolInfo(handle, volume, *volume_record++);
    }
}

// Logs a missing argument itself.
std::uint32_t query_group(opal_handle handle, const CZtObject& group, DgInfo* record,
                          std::uint32_t* size) {
    // Fails if the group cannot be read.
    WideString group_name;
    group.GetProp("Name", group_name);
    std::vector<CZtObject> disks;
    group.GetChildObjects(disks, ZTTYPE_DISK);
    std::vector<CZtObject> volumes;
    group.GetChildObjects(volumes, ZTTYPE_VOLUME);
    if (size == nullptr) {
        log(0, L"GetDgPropertiesW() failed , pInfoSize == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    const std::uint32_t status = check_record_size(
        sizeof(DgInfo) + sizeof(DgDiskInfo) * disks.size() + sizeof(VolInfo) * volumes.size(),
        *size);
    if (status == FARLO_SUCCESS) {
        if (record == nullptr) {
            log(0, L"GetDgPropertiesW() failed , pDgInfo == NULL, error=(0x%x)",
                FARLO_MISSING_ARGUMENT);
            return FARLO_MISSING_ARGUMENT;
        }
        fill_record(handle, disks, volumes, record);
    }
    return status;
}

}  // namespace

std::uint32_t GetDgPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                               DgInfo* record, std::uint32_t* size) {
    log(4, L"Entering GetDgPropertiesW - %s", name);
    if (handle == nullptr) {
        log(0, L"GetDgPropertiesW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgPropertiesW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgPropertiesW():GetDgObjId() failed, error=(0x%x)", status);
        return status;
    }
    status = guarded([&] { return query_group(handle, group, record, size); });
    if (status == FARLO_MISSING_ARGUMENT) {
        return status;
    }
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetDgPropertiesW() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting GetDgPropertiesW");
    return status;
}

}  // namespace farlo
