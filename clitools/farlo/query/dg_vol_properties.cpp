#include "query/dg_vol_properties.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/read_property.h"
#include "core/trace_log.h"
#include "query/fill_vol_info.h"
#include "query/record_fields.h"

#include <vector>

namespace farlo {
namespace {

void fill_record(const std::vector<CZtObject>& disks, const std::vector<CZtObject>& volumes,
                 DgVolInfo* record) {
    record->volume_count = static_cast<std::uint32_t>(volumes.size());
    void* next = record + 1;
    // KEPT: without a disk the volumes start where the signature would be.
    if (!disks.empty()) {
        if (const auto signature = read_optional<std::uint32_t>(disks.front(), "SIGNATURE")) {
            std::memcpy(next, &*signature, sizeof *signature);
        }
        next = static_cast<std::uint8_t*>(next) + sizeof(std::uint32_t);
    }
    auto* volume_record = static_cast<VolInfo*>(next);
    for (const CZtObject& volume : volumes) {
        FillDgVolInfo(volume, *volume_record++);
    }
}

// Logs a missing argument itself.
std::uint32_t query_group(const CZtObject& group, DgVolInfo* record, std::uint32_t* size) {
    std::vector<CZtObject> disks;
    group.GetChildObjects(disks, ZTTYPE_DISK);
    std::vector<CZtObject> volumes;
    group.GetChildObjects(volumes, ZTTYPE_VOLUME);
    if (size == nullptr) {
        log(0, L"GetDgVolPropertiesW() failed , pInfoSize == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    // KEPT: the size includes a signature even if there is none.
    const std::uint32_t status = check_record_size(
        sizeof(DgVolInfo) + sizeof(std::uint32_t) + sizeof(VolInfo) * volumes.size(), *size);
    if (status == FARLO_SUCCESS) {
        if (record == nullptr) {
            log(0, L"GetDgVolPropertiesW() failed , pDgInfo == NULL, error=(0x%x)",
                FARLO_MISSING_ARGUMENT);
            return FARLO_MISSING_ARGUMENT;
        }
        fill_record(disks, volumes, record);
    }
    return status;
}

}  // namespace

std::uint32_t GetDgVolPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                  DgVolInfo* record, std::uint32_t* size) {
    log(4, L"Entering GetDgVolPropertiesW - %s", name);
    if (handle == nullptr) {
        log(0, L"GetDgVolPropertiesW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgVolPropertiesW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolPropertiesW():GetDgObjId() failed, error=(0x%x)", status);
        return status;
    }
    status = guarded([&] { return query_group(group, record, size); });
    if (status == FARLO_MISSING_ARGUMENT) {
        return status;
    }
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetDgVolPropertiesW() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting GetDgVolPropertiesW");
    return status;
}

}  // namespace farlo
