#include "node_start.h"

#include "attach.h"
#include "connection.h"
#include "database.h"
#include "farlo.h"
#include "guarded.h"
#include "node.h"
#include "trace_log.h"
#include "wait_mutex.h"
#include "windows_handle.h"

#include <cstdint>
#include <vector>

namespace farlo {
namespace {

constexpr DWORD poll_pause_ms = 1000;

// Gives the start token back. Also one that was never taken: kept, it lets a
// later caller start the cluster after a failure.
class StartTokenReturn {
  public:
    StartTokenReturn() = default;
    ~StartTokenReturn() {
        if (start_event != nullptr) {
            SetEvent(start_event);
        }
    }
    StartTokenReturn(const StartTokenReturn&) = delete;
    StartTokenReturn& operator=(const StartTokenReturn&) = delete;
};

// False, too, when the token could not be created at process attach.
bool take_start_token() {
    return WaitForSingleObject(start_event, 0) == WAIT_OBJECT_0;
}

// "Global\cvmclusternodeMutex": makes the test of the node's role and the start
// that follows one step on the machine.
class NodeMutex {
  public:
    NodeMutex() = default;
    ~NodeMutex() { release(); }
    NodeMutex(const NodeMutex&) = delete;
    NodeMutex& operator=(const NodeMutex&) = delete;

    bool create() {
        m_mutex = Handle(CreateMutexA(nullptr, FALSE, "Global\\cvmclusternodeMutex"));
        return static_cast<bool>(m_mutex);
    }
    // Whether it is held now. An abandoned one counts as not obtained; it is left
    // to the next to wait for it.
    bool wait() {
        m_held = WaitForMutex(m_mutex.get(), INFINITE) != 0;
        return m_held;
    }
    void release() {
        if (m_held) {
            m_held = false;
            ReleaseMutex(m_mutex.get());
        }
    }

  private:
    Handle m_mutex;
    bool m_held = false;
};

std::uint32_t read_number(const CZtObject& misc, const char* property) {
    std::uint32_t value = 0;
    misc.GetProp(property, value);
    return value;
}

enum class Start { wait_for_node, done };

// Starts the cluster, unless somebody else is doing so. `done` when there is
// nothing to wait for: it runs already, or was refused with `status`. The mutex
// is held on entry, and still is on `done`.
Start start_once(opal_handle handle, const CZtObject& misc, NodeMutex& mutex,
                 std::uint32_t& status) {
    if (take_start_token()) {
        if (read_number(misc, "nodeRole") != 0) {
            log(6, L"CVMClusterStart:CVM Cluster already started!");
            return Start::done;
        }
        status = farlo::StartCVMClusterW(handle);
        if (status == FARLO_NODE_ALREADY_STARTED) {
            log(6, L"CVMClusterStart:CVM Cluster already started");
        } else if (status != FARLO_SUCCESS) {
            log(0, L"CVMClusterStart:StartCVMCluster failed, error=(0x%x) ", status);
            return Start::done;
        }
    }
    mutex.release();
    return Start::wait_for_node;
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
    CZtDatabase::GetObjects(connection_pair(handle), ZTTYPE_MISC, misc);
    if (misc.empty()) {
        log(0, L"CVMClusterStart::misc object not present");
        return FARLO_PROVIDER_FAILED;
    }
    if (!mutex.create()) {
        log(0, L"CVMClusterStart: CreateMutexA failed, error=(0x%x) ", GetLastError());
        return FARLO_EXCEPTION;
    }
    // The misspelt "Procees" is kept, administrators search for it. So is the
    // second line, which also stands where the mutex was not obtained.
    log(6, L"CVMClusterStart: The Procees request ownership of mutex");
    const bool owned = mutex.wait();
    log(6, L"CVMClusterStart: The Process got ownership of the mutex");
    if (owned) {
        std::uint32_t status = FARLO_SUCCESS;
        if (start_once(handle, misc.front(), mutex, status) == Start::done) {
            return status;
        }
    }
    return wait_for_node(misc.front());
}

}  // namespace

DWORD WINAPI CVMClusterStart(void* handle) {
    // Given back in the opposite order: the token before the mutex, so that who
    // waits for the mutex finds it.
    std::vector<CZtObject> misc;
    NodeMutex mutex;
    const StartTokenReturn token;
    return guarded([&] { return start_cluster(static_cast<opal_handle>(handle), misc, mutex); });
}

}  // namespace farlo
