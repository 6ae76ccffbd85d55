#include "query/dg_volume_status.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "dmcontrol.h"
#include "volume/config_device.h"

#include <cstring>

namespace farlo {
namespace {

std::uint32_t check_arguments(const char* guid, const std::uint8_t* volume_guid,
                              const std::uint32_t* status) {
    if (volume_guid == nullptr) {
        log(0, L"GetDgVolumeStatusW() failed , NULL Volume GUID");
        return FARLO_INVALID_ARGUMENT;
    }
    if (!UseDgGuid(guid)) {
        log(0, L"GetDgVolumeStatusW():UseDgGuid()  failed");
        return FARLO_MISSING_ARGUMENT;
    }
    if (status == nullptr) {
        log(0, L"GetDgVolumeStatusW() failed , pVolStatus == NULL");
        return FARLO_MISSING_ARGUMENT;
    }
    return FARLO_SUCCESS;
}

// Asks the driver and stores the volume's status according to its reply.
std::uint32_t ask_driver(const char* guid, const std::uint8_t* volume_guid, std::uint32_t* status) {
    dm_volume_request request{};
    std::strcpy(request.name, guid);
    std::memcpy(request.guid, volume_guid, sizeof request.guid);
    const std::uint32_t answer = SendDmConfigRequest(DM_CONFIG_GET_VOLUME_STATUS, &request);
    *status = answer == FARLO_DEVICE_UNSUCCESSFUL ? FARLO_VOLUME_STATUS_HEALTHY
                                                  : FARLO_VOLUME_STATUS_OTHER;
    return answer;
}

}  // namespace

// KEPT: returns 36 for a healthy volume, which is a failure elsewhere, and checks the
// handle last. Callers test the stored status.
std::uint32_t GetDgVolumeStatusW(opal_handle handle, const char* guid,
                                 const std::uint8_t* volume_guid, std::uint32_t* status) {
    log(4, L"Entering GetDgVolumeStatusW");
    std::uint32_t refused = FARLO_SUCCESS;
    std::uint32_t result = check_arguments(guid, volume_guid, status);
    if (result == FARLO_SUCCESS) {
        refused =
            check_string(L"GetDgVolumeStatusW", L"guid", guid, sizeof dm_volume_request::name);
        result = refused != FARLO_SUCCESS ? refused : ask_driver(guid, volume_guid, status);
    }
    if (result != FARLO_DEVICE_UNSUCCESSFUL && refused == FARLO_SUCCESS) {
        log(0, L"GetDgVolumeStatusW() failed, error=(0x%x) ", result);
    }
    if (handle == nullptr) {
        log(0, L"GetDgVolumeStatusW() opal_handle is null");
        result = FARLO_NOT_CONNECTED;
    } else if (!is_connected(handle)) {
        log(0, L"GetDgVolumeStatusW() opal_handle not connected");
        result = FARLO_NOT_CONNECTED;
    }
    log(4, L"Exiting GetDgVolumeStatusW");
    return result;
}

}  // namespace farlo
