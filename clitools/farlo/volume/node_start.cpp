#include "volume/node_start.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/attach.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/mutex_hold.h"
#include "core/trace_log.h"
#include "core/wait_mutex.h"
#include "core/windows_handle.h"
#include "volume/node.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace farlo {
namespace {

constexpr DWORD poll_pause_ms = 1000;

// KEPT: the token is returned even if it was never taken, which lets a later
// caller start the cluster after a failure.
void return_start_token() {
    if (start_event != nullptr) {
        SetEvent(start_event);
    }
}

// Returns false if the token is taken or could not be created at process attach.
bool take_start_token() {
    return WaitForSingleObject(start_event, 0) == WAIT_OBJECT_0;
}

// "Global\cvmclusternodeMutex" makes the test of the node's role and the start that
// follows one step on the machine.
struct NodeMutex {
    Handle handle;
    MutexHold hold;

    [[nodiscard]] bool create() {
        handle = Handle(CreateMutexA(nullptr, FALSE, "Global\\cvmclusternodeMutex"));
        return static_cast<bool>(handle);
    }
    // Returns false when it was not obtained, or was abandoned.
    [[nodiscard]] bool wait() {
        if (WaitForMutex(handle.get(), INFINITE) == 0) {
            return false;
        }
        hold.take(handle.get());
        return true;
    }
};

std::uint32_t read_number(const CZtObject& misc, const char* property) {
    std::uint32_t value = 0;
    misc.GetProp(property, value);
    return value;
}

// Starts the cluster unless another caller is starting it. Returns a status when there
// is nothing to wait for: the cluster is running, or the start failed. The mutex is
// held on entry, and released only if there is something to wait for.
std::optional<std::uint32_t> start_once(opal_handle handle, const CZtObject& misc,
                                        NodeMutex& mutex) {
    if (take_start_token()) {
        if (read_number(misc, "nodeRole") != 0) {
            log(6, L"CVMClusterStart:CVM Cluster already started!");
            return FARLO_SUCCESS;
        }
        const std::uint32_t status = farlo::StartCVMClusterW(handle);
        if (status == FARLO_NODE_ALREADY_STARTED) {
            log(6, L"CVMClusterStart:CVM Cluster already started");
        } else if (status != FARLO_SUCCESS) {
            log(0, L"CVMClusterStart:StartCVMCluster failed, error=(0x%x) ", status);
            return status;
        }
    }
    mutex.hold.release();
    return std::nullopt;
}

std::uint32_t wait_for_node(const CZtObject& misc) {
    log(0, L"CVMClusterStart: Waiting for the CVM cluster start to complete");
    for (;;) {
        const std::uint32_t role = read_number(misc, "nodeRole");
        const std::uint32_t failure = read_number(misc, "nodeStatus");
        if (role != 0) {
            log(0, L"CVMClusterStart: CVM cluster start completed");
            return FARLO_SUCCESS;
        }
        if (failure != 0) {
            log(0, L"CVMClusterStart:StartCVMCluster failed due to some reason");
            return FARLO_PROVIDER_FAILED;
        }
        Sleep(poll_pause_ms);
    }
}

std::uint32_t start_cluster(opal_handle handle, std::vector<CZtObject>& misc, NodeMutex& mutex) {
    misc = objects_of_type(handle, ZTTYPE_MISC);
    if (misc.empty()) {
        log(0, L"CVMClusterStart::misc object not present");
        return FARLO_PROVIDER_FAILED;
    }
    if (!mutex.create()) {
        log(0, L"CVMClusterStart: CreateMutexA failed, error=(0x%x) ", GetLastError());
        return FARLO_EXCEPTION;
    }
    // KEPT: "Procees", and the second line even if the mutex was not obtained;
    // administrators search for both.
    log(6, L"CVMClusterStart: The Procees request ownership of mutex");
    const bool owned = mutex.wait();
    log(6, L"CVMClusterStart: The Process got ownership of the mutex");
    if (owned) {
        if (const auto status = start_once(handle, misc.front(), mutex)) {
            return *status;
        }
    }
    return wait_for_node(misc.front());
}

}  // namespace

DWORD WINAPI CVMClusterStart(void* handle) {
    std::vector<CZtObject> misc;
    NodeMutex mutex;
    const std::uint32_t status =
        guarded([&] { return start_cluster(static_cast<opal_handle>(handle), misc, mutex); });
    // The token is returned before the mutex is released, so that the next owner of the
    // mutex finds it.
    return_start_token();
    mutex.hold.release();
    return status;
}

}  // namespace farlo
