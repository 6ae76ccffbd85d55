#include "query/dg_volume_state.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/read_property.h"
#include "core/trace_log.h"
#include "query/named_volume.h"
#include "query/record_fields.h"

#include <vector>

namespace farlo {
namespace {

std::uint32_t read_state(const CZtObject& group, const wchar_t* device, std::uint32_t& state) {
    return guarded([&] {
        std::vector<CZtObject> volumes;
        group.GetChildObjects(volumes, ZTTYPE_VOLUME);
        const CZtObject* const volume = find_by_device_name(volumes, device);
        if (volume == nullptr) {
            return FARLO_VOLUME_NOT_FOUND;
        }
        state = read_optional<std::uint32_t>(*volume, "ztvmstate").value_or(0);
        return FARLO_SUCCESS;
    });
}

}  // namespace

std::uint32_t GetDgVolumeStateW(opal_handle handle, const wchar_t* name, const char* guid,
                                const wchar_t* device, std::uint32_t* state) {
    log(6, L"Entering GetDgVolumeStateW");
    if (handle == nullptr) {
        log(0, L"GetDgVolumeStateW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (state == nullptr || device == nullptr) {
        log(0, L"GetDgVolumeStateW() failed , pVolumeState = pwVolumeName == NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (name == nullptr && guid == nullptr) {
        log(0, L"GetDgVolumeStateW() failed , pwDgName OR pDgGuid == NULL , error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgVolumeStateW() failed , opal_handle is not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolumeStateW():GetDgObjId() failed, error=(0x%x)", status);
        return status;
    }
    status = read_state(group, device, *state);
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolumeStateW() failed, error=(0x%x)", status);
    }
    log(6, L"Exiting GetDgVolumeStateW");
    return status;
}

}  // namespace farlo
