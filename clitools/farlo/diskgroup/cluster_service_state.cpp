#include "diskgroup/cluster_service_state.h"

#include "api/farlo.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"

namespace farlo {
namespace {

std::uint32_t send_state(opal_handle handle, std::uint32_t state) {
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"ClusterServiceState: GetClusSvcId failed with error = 0x%x", status);
        return status;
    }
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProperty(CZtProperty("ServiceState", state));
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, DGOP_CLUSTERSERVICESTATE, input, output);
        if (output && status != 0) {
            log(4,
                L"ClusterServiceState: DGOP_CLUSTERSERVICESTATE, CsfInvoke failed with error = "
                L"0x%x.",
                status);
        }
        return status;
    });
}

}  // namespace

// KEPT: the lines name the operation without its "W"; administrators search for them.
std::uint32_t ClusterServiceStateW(opal_handle handle, std::uint32_t state) {
    log(4, L"Entering ClusterServiceState");
    if (handle == nullptr) {
        log(0, L"ClusterServiceState() failed , opal_handle==NULL, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"ClusterServiceState() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    // KEPT: `connected` is not read again after the call.
    const std::uint32_t status = send_state(handle, state);
    if (status != 0) {
        log(0, L"ClusterServiceState() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting ClusterServiceState");
    return status;
}

}  // namespace farlo
