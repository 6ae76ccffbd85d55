#include "query/volume_info.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "query/fill_vol_info.h"
#include "query/named_volume.h"
#include "query/unusable_volumes_info.h"

#include <cstring>
#include <iterator>
#include <vector>

namespace farlo {
namespace {

// Whether the device that the record names can be used.
bool is_usable(const VolInfo& record) {
    wchar_t device[sizeof record.device_name / sizeof(wchar_t)];
    std::memcpy(device, &record.device_name, sizeof device);
    *std::rbegin(device) = L'\0';
    return has_volume_guid_name(device);
}

std::uint32_t fill_record(opal_handle handle, const CZtObject& group, const wchar_t* device,
                          VolInfo& record) {
    std::vector<CZtObject> volumes;
    group.GetChildObjects(volumes, ZTTYPE_VOLUME);
    const CZtObject* const volume = find_by_device_name(volumes, device);
    if (volume == nullptr) {
        return FARLO_VOLUME_NOT_FOUND;
    }
    FillVolInfo(handle, *volume, record);
    if (!is_usable(record)) {
        record.state |= FARLO_VOLUME_UNUSABLE;
    }
    return FARLO_SUCCESS;
}

}  // namespace

std::uint32_t GetVolumeInfo(opal_handle handle, const wchar_t* name, const char* guid,
                            const wchar_t* device, VolInfo* record, std::uint32_t* size) {
    log(4, L"Entering GetVolumeInfo - %s", name);
    if (handle == nullptr) {
        log(0, L"GetVolumeInfo failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (guid == nullptr && name == nullptr) {
        log(0, L"GetVolumeInfo failed , pDgGuid == NULL && pwDgName == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (record == nullptr) {
        log(0, L"GetVolumeInfo failed , pbVolInfo == NULL, error=(0x%x)", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (size == nullptr) {
        log(0, L"GetVolumeInfo failed , pSize == NULL, error=(0x%x)", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (!is_connected(handle)) {
        log(0, L"GetVolumeInfo failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetVolumeInfo::GetDgObjId failed, error=(0x%x) ", status);
        return status;
    }
    if (*size < sizeof(VolInfo)) {
        *size = sizeof(VolInfo);
        status = FARLO_BUFFER_TOO_SMALL;
    } else if (device == nullptr) {
        log(0, L"GetVolumeInfo failed , pwVolName == NULL, error=(0x%x)", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    } else {
        status = guarded([&] { return fill_record(handle, group, device, *record); });
    }
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetVolumeInfo failed, error=(0x%x)", status);
    }
    log(4, L"Exiting GetVolumeInfo");
    return status;
}

}  // namespace farlo
