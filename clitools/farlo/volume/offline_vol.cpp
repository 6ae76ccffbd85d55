#include "volume/offline_vol.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"
#include "volume/find_volume.h"

#include <vector>

namespace farlo {
namespace {

// Always added to the caller's flags.
constexpr std::uint32_t always_bit = 0x1;

std::uint32_t send_offline(opal_handle handle, const char* guid, const wchar_t* device,
                           std::uint32_t flags) {
    CZtObject group;
    std::uint32_t status = GetDgObjIdByGuid(handle, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x%x) ", status);
        return status;
    }
    status = check_device(L"OfflineVolW", device);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    CZtObject volume;
    if (!FindVolObjByDevName(handle, device, volume)) {
        return FARLO_INVALID_ARGUMENT;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        // KEPT: the name of another operation; administrators search for it.
        log(0, L"OfflineDgExW():GetClusSvcId() failed, error=(0x%x) ", status);
        return status;
    }
    CZtTempPropertySet input;
    input.AddProperty(CZtProperty("volume", volume.id()));
    input.AddProperty(CZtProperty("OfflineFlag", flags | always_bit));
    OutputPropertySet output;
    status = CsfInvoke(handle->connection, service, MISCOP_VOLUMEOFFLINE, input, output);
    if (output && status != 0) {
        log(4, L"OfflineVolW: MISCOP_VOLUMEOFFLINE, CsfInvoke failed with error = 0x%x.", status);
    }
    return status;
}

std::uint32_t offline_volume(opal_handle handle, const char* guid, const wchar_t* device,
                             std::uint32_t flags) {
    if (device == nullptr) {
        log(0, L"OfflineVolW() failed , NULL Volume Device Name");
        return FARLO_INVALID_ARGUMENT;
    }
    // KEPT: an entry line at the level of errors; administrators want it always.
    log(0, L"Entering OfflineVolW - %s", device);
    if (handle == nullptr) {
        log(0, L"OfflineVolW() failed , NULL opal_handle");
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"OfflineVolW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const std::vector<CZtObject> misc = objects_of_type(handle, ZTTYPE_MISC);
    if (misc.empty()) {
        log(0, L"OfflineVolW()::misc object not present");
        return FARLO_PROVIDER_FAILED;
    }
    std::uint32_t role = 0;
    misc.front().GetProp("nodeRole", role);
    if (role == 0) {
        log(6, L"OfflineVolW()::CVM cluster is not running simply return success");
        return FARLO_SUCCESS;
    }
    if (guid == nullptr) {
        log(0, L"OfflineVolW() failed , NULL DG GUID");
        return FARLO_INVALID_ARGUMENT;
    }
    return send_offline(handle, guid, device, flags);
}

}  // namespace

std::uint32_t OfflineVolW(opal_handle handle, const char* guid, const wchar_t* device,
                          std::uint32_t flags) {
    std::uint32_t status = guarded([&] { return offline_volume(handle, guid, device, flags); });
    if (handle != nullptr) {
        status = status_if_still_connected(handle, status);
    }
    const wchar_t* name = device != nullptr ? device : L"NULL Volume Device Name";
    if (status != 0) {
        log(0, L"OfflineVolW() failed for volume %s, error=(0x%x) ", name, status);
    } else {
        log(0, L"OfflineVolW() succeeded for volume %s, error=(0x%x) ", name, status);
    }
    log(2, L"Exiting OfflineVolW");
    return status;
}

}  // namespace farlo
