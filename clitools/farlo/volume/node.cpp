#include "node.h"

#include "connection.h"
#include "farlo.h"
#include "guarded.h"
#include "lookup.h"
#include "method.h"
#include "trace_log.h"

namespace farlo {
namespace {

// One operation on the node: its method, and its lines in the log.
struct NodeOperation {
    Method method;
    const wchar_t* entering;
    const wchar_t* null_handle;
    const wchar_t* not_connected;
    const wchar_t* no_service;
    const wchar_t* invoke_failed;
    const wchar_t* failed;
    const wchar_t* exiting;
};

constexpr NodeOperation start_node{
    MISCOP_STARTNODE,
    L"Entering StartCVMClusterW",
    L"StartCVMClusterW() failed , opal_handle==NULL, error=(0x%x)",
    L"StartCVMClusterW() failed , opal_handle not connected, error=(0x%x)",
    L"StartCVMClusterW: GetClusSvcId failed with error = 0x%x",
    L"StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = 0x%x.",
    L"StartCVMClusterW() failed, error=(0x%x) ",
    L"Exiting StartCVMClusterW",
};

constexpr NodeOperation stop_node{
    MISCOP_STOPNODE,
    L"Entering StopCVMClusterW",
    L"StopCVMClusterW() failed , opal_handle==NULL, error=(0x%x)",
    L"StopCVMClusterW() failed , opal_handle not connected, error=(0x%x)",
    L"StopCVMClusterW: GetClusSvcId failed with error = 0x%x",
    L"StopCVMClusterW: MISCOP_STOPNODE, CsfInvoke failed with error = 0x%x.",
    L"StopCVMClusterW() failed, error=(0x%x) ",
    L"Exiting StopCVMClusterW",
};

// One line lacks the "W", and the last says "Exit": kept, administrators search
// for this wording.
constexpr NodeOperation get_node_state{
    MISCOP_GETNODESTATE,
    L"Entering GetCVMClusterNodeStateW",
    L"GetCVMClusterNodeStateW() failed , opal_handle==NULL, error=(0x%x)",
    L"GetCVMClusterNodeStateW() failed , opal_handle not connected, error=(0x%x)",
    L"GetCVMClusterNodeStateW: GetClusSvcId failed with error = 0x%x",
    L"GetCVMClusterNodeState: MISCOP_GETNODESTATE, CsfInvoke failed with error = 0x%x.",
    L"GetCVMClusterNodeStateW() failed, error=(0x%x) ",
    L"Exit GetCVMClusterNodeStateW",
};

// Invokes the method without parameters; its results go to `read`.
template <class Read>
std::uint32_t invoke(opal_handle handle, const NodeOperation& operation, Read&& read) {
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, operation.no_service, status);
        return status;
    }
    return guarded([&] {
        const CZtTempPropertySet input;
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, operation.method, input, output);
        if (output) {
            if (status != 0) {
                log(4, operation.invoke_failed, status);
            }
            // What came with a failure counts, too.
            read(output);
        }
        return status;
    });
}

template <class Ask>
std::uint32_t run(opal_handle handle, const NodeOperation& operation, Ask&& ask) {
    log(2, operation.entering);
    if (handle == nullptr) {
        log(0, operation.null_handle, FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    std::uint32_t status = FARLO_NOT_CONNECTED;
    if (is_connected(handle)) {
        status = ask();
    } else {
        log(0, operation.not_connected, status);
    }
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, operation.failed, status);
    }
    log(2, operation.exiting);
    return status;
}

constexpr auto read_nothing = [](const OutputPropertySet&) {};

}  // namespace

std::uint32_t StartCVMClusterW(opal_handle handle) {
    return run(handle, start_node, [&] { return invoke(handle, start_node, read_nothing); });
}

std::uint32_t StopCVMClusterW(opal_handle handle) {
    return run(handle, stop_node, [&] { return invoke(handle, stop_node, read_nothing); });
}

std::uint32_t GetCVMClusterNodeStateW(opal_handle handle, std::uint32_t* state) {
    return run(handle, get_node_state, [&]() -> std::uint32_t {
        if (state == nullptr) {
            return FARLO_MISSING_ARGUMENT;
        }
        return invoke(handle, get_node_state, [state](const OutputPropertySet& output) {
            try {
                output.GetProp("nodeState", *state);
            } catch (...) {
                // Without a readable state the caller's value stays as it was.
            }
        });
    });
}

}  // namespace farlo
