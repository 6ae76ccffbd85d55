#include "query/dg_volume_properties.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "query/fill_vol_info.h"
#include "query/named_volume.h"

#include <vector>

namespace farlo {
namespace {

std::uint32_t fill_record(opal_handle handle, const CZtObject& group, const wchar_t* device,
                          VolInfo& record) {
    return guarded([&] {
        std::vector<CZtObject> volumes;
        group.GetChildObjects(volumes, ZTTYPE_VOLUME);
        log(6, L"GetDgVolumePropertiesW(), Total volume objects = %d",
            static_cast<std::uint32_t>(volumes.size()));
        const CZtObject* const volume = find_by_device_name(volumes, device);
        if (volume == nullptr) {
            return FARLO_VOLUME_NOT_FOUND;
        }
        FillVolInfo(handle, *volume, record);
        return FARLO_SUCCESS;
    });
}

}  // namespace

std::uint32_t GetDgVolumePropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                     const wchar_t* device, VolInfo* record, std::uint32_t* size) {
    log(4, L"Entering GetDgVolumePropertiesW - %s", name);
    if (handle == nullptr) {
        log(0, L"GetDgVolumePropertiesW() failed , NULL opal_handle, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgVolumePropertiesW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolumePropertiesW():GetDgObjId() failed, error=(0x%x) ", status);
        return status;
    }
    if (size == nullptr) {
        log(0, L"GetDgVolumePropertiesW() failed, pInfoSize==NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    // KEPT: this is logged, unlike in the other records; administrators know the line.
    if (*size < sizeof(VolInfo)) {
        *size = sizeof(VolInfo);
        log(0, L"GetDgVolumePropertiesW(): not enough buffer size, error=(0x%x) ",
            FARLO_BUFFER_TOO_SMALL);
        return FARLO_BUFFER_TOO_SMALL;
    }
    if (record == nullptr) {
        log(0, L"GetDgVolumePropertiesW() failed, pDgInfo==NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (device == nullptr) {
        log(0, L"GetDgVolumePropertiesW() failed, pwVolName==NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }

    status = fill_record(handle, group, device, *record);
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolumePropertiesW() failed, error=(0x%x)", status);
    }
    log(4, L"Exiting GetDgVolumePropertiesW");
    return status;
}

}  // namespace farlo
