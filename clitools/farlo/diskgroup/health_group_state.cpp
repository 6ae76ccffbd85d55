#include "diskgroup/health_group_state.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/trace_log.h"
#include "diskgroup/info_device.h"
#include "diskgroup/reservation_record.h"
#include "dmcontrol.h"
#include "query/dg_guid.h"

namespace farlo {
namespace {

constexpr std::uint8_t not_imported_bit = 0x1;

std::uint32_t read_imported(const CZtObject& group, std::uint8_t* imported) {
    return guarded([&] {
        bool value = false;
        group.GetProp("imported", value);
        *imported = value ? 1 : 0;
        return FARLO_SUCCESS;
    });
}

// Asks the driver, or the service if the driver does not know the group.
std::uint32_t query_state(opal_handle handle, const wchar_t* name, const char* caller_guid,
                          std::uint8_t* imported) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgStateW():SetDgGuidParam() failed, error=(0x%x) ", status);
        return status;
    }
    const ReservationRecord record = make_reservation_record(guid.get());
    if (record == nullptr) {
        return FARLO_NO_GUID_MEMORY;
    }
    const std::uint32_t driver = DmInfoIoctl(DM_INFO_GET_IMPORTED, record.get());
    if (driver == FARLO_SUCCESS) {
        *imported = (record->reply & not_imported_bit) == 0 ? 1 : 0;
        return FARLO_SUCCESS;
    }
    log(0, L"iostatus, error=(0x%x) ", driver);
    if (driver != FARLO_NOT_FOUND) {
        return driver;
    }
    CZtObject group;
    status = GetDgObjId(handle, name, caller_guid, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgStateW():GetDgObjId() failed, error=(0x%x) ", status);
        return status;
    }
    return read_imported(group, imported);
}

}  // namespace

std::uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid,
                          std::uint8_t* imported) {
    log(4, L"Entering GetDgStateW - %s", name);
    if (handle == nullptr) {
        log(0, L"GetDgStateW() failed , opal_handle==NULL, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgStateW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    if (imported == nullptr) {
        log(0, L"GetDgStateW() failed , pState == NULL, error=(0x%x) ", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    const std::uint32_t refused = check_guid(L"GetDgStateW", guid);
    std::uint32_t status =
        refused != FARLO_SUCCESS ? refused : query_state(handle, name, guid, imported);
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"GetDgStateW() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting GetDgStateW");
    return status;
}

std::uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                            std::uint8_t* imported) {
    // KEPT: the misspelt name; administrators search for it.
    log(4, L"Entering GetDgStatExeW - %s", name);
    if (handle == nullptr) {
        log(0, L"GetDgStateExW() failed , opal_handle==NULL, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgStateExW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    if (imported == nullptr) {
        log(0, L"GetDgStateExW() failed , pState == NULL, error=(0x%x) ", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgStateExW():GetDgObjId() failed, error=(0x%x) ", status);
        return status;
    }
    status = read_imported(group, imported);
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"GetDgStateExW() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting GetDgStateExW");
    return status;
}

}  // namespace farlo
