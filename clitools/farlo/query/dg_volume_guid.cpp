#include "query/dg_volume_guid.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"
#include "query/dg_guid.h"

#include <cstring>

namespace farlo {
namespace {

std::uint32_t ask_cluster_service(opal_handle handle, const wchar_t* name, const char* group_guid,
                                  const wchar_t* device, char* volume_guid) {
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgVolumeGuidW():GetClusSvcId() failed, error=(0x%x)", status);
        return status;
    }
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgname", name);
        input.AddProp("Dgguid", group_guid);
        input.AddProp("Voldevname", device);
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID, input,
                           output);
        if (!output) {
            return status;
        }
        if (status != 0) {
            log(4,
                L"GetDgVolumeGuidW: CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID, CsfInvoke failed with "
                L"error = 0x%x.",
                status);
            return FARLO_VOLUME_NOT_FOUND;
        }
        NarrowString string;
        output.GetProp("Volguid", string);
        if (!copy_string(volume_guid, FARLO_GUID_TEXT_SIZE, string.c_str(), string.length())) {
            end_with_exception_status();
        }
        return status;
    });
}

}  // namespace

// KEPT: the entry and exit lines name the routine without "Dg"; administrators search
// for them.
std::uint32_t GetDgVolumeGuidW(opal_handle handle, const wchar_t* name, const char* guid,
                               const wchar_t* device, char* volume_guid) {
    log(6, L"Entering GetVolumeGuidW");
    if (handle == nullptr) {
        log(0, L"GetDgVolumeGuidW failed(), NULL opal_conn, error=(0x%x) ", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgVolumeGuidW() failed, opal_conn not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    if (device == nullptr || volume_guid == nullptr) {
        log(0, L"GetDgVolumeGuidW() failed , pwVolName or pVolGuid == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }

    if (check_guid(L"GetDgVolumeGuidW", guid) != FARLO_SUCCESS) {
        return FARLO_INVALID_ARGUMENT;
    }

    GuidString group_guid;
    if (!group_guid.allocate()) {
        return FARLO_NO_GUID_MEMORY;
    }
    if (UseDgGuid(guid)) {
        std::strcpy(group_guid.get(), guid);
    } else if (!UseDgName(name)) {
        log(0, L"GetDgVolumeGuidW() failed , pDgGuid and pwDgName are invalid, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    } else {
        const std::uint32_t status = GetDgGuidfromOpal(handle, name, group_guid.get());
        if (status != FARLO_SUCCESS) {
            log(6, L"GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x%x)", status);
            return status;
        }
    }

    std::uint32_t status = ask_cluster_service(handle, name, group_guid.get(), device, volume_guid);
    group_guid.free();
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"GetDgVolumeGuidW() failed, error=(0x%x)", status);
    }
    log(6, L"Exiting GetVolumeGuidW");
    return status;
}

}  // namespace farlo
