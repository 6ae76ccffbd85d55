#include "query/dg_disk_properties.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "query/fill_disk_record.h"
#include "query/record_fields.h"

#include <vector>

namespace farlo {
namespace {

void fill_list(const std::vector<CZtObject>& disks, DgDiskList* record) {
    record->disk_count = static_cast<std::uint32_t>(disks.size());
    auto* disk_record = reinterpret_cast<DgDiskInfo*>(record + 1);
    for (const CZtObject& disk : disks) {
        FillDiskRecord(disk, *disk_record++);
    }
}

// Logs a missing argument itself.
std::uint32_t query_group(const CZtObject& group, DgDiskList* record, std::uint32_t* size) {
    // Fails if the group cannot be read.
    WideString group_name;
    group.GetProp("Name", group_name);
    std::vector<CZtObject> disks;
    group.GetChildObjects(disks, ZTTYPE_DISK);
    if (size == nullptr) {
        log(0, L"GetDgDiskPropertiesW() failed , pInfoSize == NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    const std::uint32_t status =
        check_record_size(sizeof(DgDiskList) + sizeof(DgDiskInfo) * disks.size(), *size);
    if (status == FARLO_SUCCESS) {
        if (record == nullptr) {
            log(0, L"GetDgDiskPropertiesW() failed , pDgDiskInfo == NULL, error=(0x%x) ",
                FARLO_MISSING_ARGUMENT);
            return FARLO_MISSING_ARGUMENT;
        }
        fill_list(disks, record);
    }
    return status;
}

}  // namespace

std::uint32_t GetDgDiskPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                   DgDiskList* record, std::uint32_t* size) {
    log(6, L"Entering GetDgDiskPropertiesW");
    if (handle == nullptr) {
        log(0, L"GetDgDiskPropertiesW() failed , NULL opal_handle, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgDiskPropertiesW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgDiskPropertiesW():GetDgObjId() failed, error=(0x%x) ", status);
        return status;
    }
    status = guarded([&] { return query_group(group, record, size); });
    if (status == FARLO_MISSING_ARGUMENT) {
        return status;
    }
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetDgDiskPropertiesW() failed, error=(0x%x) ", status);
    }
    log(6, L"Exiting GetDgDiskPropertiesW");
    return status;
}

}  // namespace farlo
