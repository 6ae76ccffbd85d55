#include "volume/node.h"

#include "api/farlo.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/read_property.h"
#include "core/trace_log.h"

#include <tuple>

namespace farlo {
namespace {

std::uint32_t start_node(opal_handle handle) {
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"StartCVMClusterW: GetClusSvcId failed with error = 0x%x", status);
        return status;
    }
    return guarded([&] {
        const CZtTempPropertySet input;
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, MISCOP_STARTNODE, input, output);
        if (output && status != 0) {
            log(4, L"StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = 0x%x.",
                status);
        }
        return status;
    });
}

std::uint32_t stop_node(opal_handle handle) {
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"StopCVMClusterW: GetClusSvcId failed with error = 0x%x", status);
        return status;
    }
    return guarded([&] {
        const CZtTempPropertySet input;
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, MISCOP_STOPNODE, input, output);
        if (output && status != 0) {
            log(4, L"StopCVMClusterW: MISCOP_STOPNODE, CsfInvoke failed with error = 0x%x.",
                status);
        }
        return status;
    });
}

std::uint32_t query_node(opal_handle handle, std::uint32_t* state) {
    if (state == nullptr) {
        return FARLO_MISSING_ARGUMENT;
    }
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetCVMClusterNodeStateW: GetClusSvcId failed with error = 0x%x", status);
        return status;
    }
    return guarded([&] {
        const CZtTempPropertySet input;
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, MISCOP_GETNODESTATE, input, output);
        if (output && status != 0) {
            // KEPT: the name without its "W"; administrators search for it.
            log(4,
                L"GetCVMClusterNodeState: MISCOP_GETNODESTATE, CsfInvoke failed with error = "
                L"0x%x.",
                status);
        }
        if (output) {
            // Read after a failed call, too. A state that cannot be read leaves the
            // caller's unchanged.
            std::ignore = try_read(output, "nodeState", *state);
        }
        return status;
    });
}

}  // namespace

std::uint32_t StartCVMClusterW(opal_handle handle) {
    log(2, L"Entering StartCVMClusterW");
    if (handle == nullptr) {
        log(0, L"StartCVMClusterW() failed , opal_handle==NULL, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    std::uint32_t status = FARLO_NOT_CONNECTED;
    if (is_connected(handle)) {
        status = start_node(handle);
    } else {
        log(0, L"StartCVMClusterW() failed , opal_handle not connected, error=(0x%x)", status);
    }
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"StartCVMClusterW() failed, error=(0x%x) ", status);
    }
    log(2, L"Exiting StartCVMClusterW");
    return status;
}

std::uint32_t StopCVMClusterW(opal_handle handle) {
    log(2, L"Entering StopCVMClusterW");
    if (handle == nullptr) {
        log(0, L"StopCVMClusterW() failed , opal_handle==NULL, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    std::uint32_t status = FARLO_NOT_CONNECTED;
    if (is_connected(handle)) {
        status = stop_node(handle);
    } else {
        log(0, L"StopCVMClusterW() failed , opal_handle not connected, error=(0x%x)", status);
    }
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"StopCVMClusterW() failed, error=(0x%x) ", status);
    }
    log(2, L"Exiting StopCVMClusterW");
    return status;
}

std::uint32_t GetCVMClusterNodeStateW(opal_handle handle, std::uint32_t* state) {
    log(2, L"Entering GetCVMClusterNodeStateW");
    if (handle == nullptr) {
        log(0, L"GetCVMClusterNodeStateW() failed , opal_handle==NULL, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    std::uint32_t status = FARLO_NOT_CONNECTED;
    if (is_connected(handle)) {
        status = query_node(handle, state);
    } else {
        log(0, L"GetCVMClusterNodeStateW() failed , opal_handle not connected, error=(0x%x)",
            status);
    }
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"GetCVMClusterNodeStateW() failed, error=(0x%x) ", status);
    }
    // KEPT: "Exit", not "Exiting"; administrators search for it.
    log(2, L"Exit GetCVMClusterNodeStateW");
    return status;
}

}  // namespace farlo
