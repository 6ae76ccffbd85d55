#include "volume/online_vol.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/guid_string.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"
#include "core/validate.h"
#include "core/windows_handle.h"
#include "diskgroup/alerts.h"
#include "diskgroup/online.h"
#include "volume/find_volume.h"
#include "volume/node_start.h"
#include "volume/system_failure.h"

#include <vector>

namespace farlo {
namespace {

// Always added to the caller's flags.
constexpr std::uint32_t always_bit = 0x1;

// The options with which the volume's disk group is imported; 0x80 is an option of the
// service.
constexpr std::uint32_t import_options =
    FARLO_ONLINE_CLUSTER_SHARED | FARLO_ONLINE_SHARED | 0x80 | FARLO_ONLINE_NO_NAME_CHECK;

constexpr std::size_t group_name_capacity = 259;

struct Request {
    const char* guid;
    const wchar_t* device;
    std::uint32_t flags;
    std::uint32_t timeout_ms;
};

// The handle that the remaining steps use.
opal_handle serving(opal_handle handle, const OwnConnection& own) {
    return own.get() != nullptr ? own.get() : handle;
}

// Waits for the thread without a limit. Calls the agent's callback after each interval,
// so that it may reset its own time-out.
std::uint32_t wait_for_start(HANDLE thread, std::uint32_t interval_ms) {
    DWORD result = WAIT_TIMEOUT;
    DWORD error = 0;
    while (result == WAIT_TIMEOUT) {
        log(6, L"OnlineVolW() - Waiting for CVM Cluster to start");
        // A wait that succeeds sets no error; an older one must not be reported.
        SetLastError(ERROR_SUCCESS);
        result = WaitForSingleObject(thread, interval_ms);
        error = GetLastError();
        const AlertTimeoutCallback reset_timeout = alert_timeout_callback();
        if (reset_timeout != nullptr) {
            log(6, L"OnlineVolW : Reset time");
            reset_timeout();
        }
    }
    if (result != WAIT_OBJECT_0) {
        const std::uint32_t status = failure_of(error);
        log(0, L"OnlineVolW(): WaitForSingleObject failed! error=(0x%x) ", status);
        return status;
    }
    DWORD exit_code = 0;
    if (!GetExitCodeThread(thread, &exit_code)) {
        const std::uint32_t status = failure_of(GetLastError());
        log(0, L"OnlineVolW(): GetExitCodeThread failed! error=(0x%x) ", status);
        return status;
    }
    if (exit_code != 0) {
        log(0, L"OnlineVolW():Could not start CVM Cluster");
    }
    return exit_code;
}

// Starts the cluster volume manager on this node unless it is running.
std::uint32_t start_cluster(opal_handle handle, std::uint32_t interval_ms) {
    const std::vector<CZtObject> misc = objects_of_type(handle, ZTTYPE_MISC);
    if (misc.empty()) {
        log(0, L"OnlineVolW()::misc object not present");
        return FARLO_PROVIDER_FAILED;
    }
    std::uint32_t role = 0;
    misc.front().GetProp("nodeRole", role);
    if (role != 0) {
        return FARLO_SUCCESS;
    }
    const Handle thread(CreateThread(nullptr, 0, CVMClusterStart, handle, 0, nullptr));
    if (!thread) {
        log(0, L"OnlineVolW():CreateThread failed error=(0x%x) ", GetLastError());
        return FARLO_EXCEPTION;
    }
    return wait_for_start(thread.get(), interval_ms);
}

// Finds the disk group. If there is none, the connection may have dropped: validates it
// and looks again. `own` replaces a handle that has dropped.
std::uint32_t find_group(opal_handle handle, OwnConnection& own, const char* guid,
                         CZtObject& group) {
    std::uint32_t status = GetDgObjIdByGuid(handle, guid, group, /*cluster_only=*/false);
    if (status == FARLO_NOT_FOUND) {
        log(6, L"OnlineVolW() Entering ValidateCluster");
        status = validate_borrowed(handle, own);
        log(6, L"OnlineVolW() Exiting ValidateCluster");
        if (status != FARLO_SUCCESS) {
            log(0, L"OnlineVolW() ValidateCluster failed, error=(0x%x) ", status);
            return status;
        }
        status = GetDgObjIdByGuid(serving(handle, own), guid, group, /*cluster_only=*/false);
    }
    if (status != FARLO_SUCCESS) {
        log(0, L"OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x%x) ", status);
    }
    return status;
}

// Imports the disk group unless it is imported already.
std::uint32_t import_group(opal_handle handle, const char* guid, const CZtObject& group) {
    bool imported = false;
    group.GetProp("imported", imported);
    if (imported) {
        return FARLO_SUCCESS;
    }
    wchar_t name[group_name_capacity] = {};
    WideString string;
    group.GetProp("Name", string);
    if (!copy_string(name, group_name_capacity, string.c_str(), string.length())) {
        end_with_exception_status();
    }
    const std::uint32_t status = farlo::OnlineDgExW(handle, name, guid, L"", import_options,
                                                    online_default_reserved, L"OnlineVolW");
    if (status != FARLO_SUCCESS && status != FARLO_ALREADY_ONLINE) {
        log(0, L"OnlineVolW():OnlineDg()  failed, error=(0x%x) ", status);
        return status;
    }
    return FARLO_SUCCESS;
}

std::uint32_t send_online(opal_handle handle, const Request& request) {
    std::uint32_t status = check_device(L"OnlineVolW", request.device);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    CZtObject volume;
    if (!FindVolObjByDevName(handle, request.device, volume)) {
        return FARLO_INVALID_ARGUMENT;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"OnlineVolW():GetClusSvcId() failed, error=(0x%x) ", status);
        return status;
    }
    CZtTempPropertySet input;
    input.AddProperty(CZtProperty("volume", volume.id()));
    input.AddProperty(CZtProperty("OnlineFlag", request.flags | always_bit));
    OutputPropertySet output;
    status = CsfInvoke(handle->connection, service, MISCOP_VOLUMEONLINE, input, output);
    if (output && status != 0) {
        log(4, L"OnlineVolW: MISCOP_VOLUMEONLINE, CsfInvoke failed with error = 0x%x.", status);
    }
    return status;
}

std::uint32_t online_volume(opal_handle handle, OwnConnection& own, const Request& request) {
    if (request.device == nullptr) {
        log(0, L"OnlineVolW() failed , NULL Volume Device Name");
        return FARLO_INVALID_ARGUMENT;
    }
    // KEPT: an entry line at the level of errors; administrators want it always.
    log(0, L"Entering OnlineVolW - %s", request.device);
    if (handle == nullptr) {
        log(0, L"OnlineVolW() failed , NULL opal_handle");
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"OnlineVolW() failed , opal_handle not connected");
        return FARLO_NOT_CONNECTED;
    }
    std::uint32_t status = start_cluster(handle, request.timeout_ms);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    if (request.guid == nullptr) {
        log(0, L"OnlineVolW() failed , NULL DG GUID");
        return FARLO_INVALID_ARGUMENT;
    }
    CZtObject group;
    status = find_group(handle, own, request.guid, group);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    status = import_group(serving(handle, own), request.guid, group);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    return send_online(serving(handle, own), request);
}

}  // namespace

std::uint32_t OnlineVolW(opal_handle handle, const char* guid, const wchar_t* device,
                         std::uint32_t flags, std::uint32_t timeout_ms) {
    OwnConnection own;
    std::uint32_t status = guarded([&] {
        return online_volume(handle, own, {guid, device, flags, timeout_ms});
    });
    if (handle != nullptr) {
        status = status_if_still_connected(serving(handle, own), status);
    }
    const wchar_t* name = device != nullptr ? device : L"NULL Volume Device Name";
    if (status != 0) {
        log(0, L"OnlineVolW() failed for volume %s, error=(0x%x) ", name, status);
    } else {
        log(0, L"OnlineVolW() succeeded for volume %s, error=(0x%x) ", name, status);
    }
    log(2, L"Exiting OnlineVolW");
    return status;
}

}  // namespace farlo
