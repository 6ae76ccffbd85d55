#include "core/validate.h"

#include "api/farlo.h"
#include "bus/status.h"
#include "core/attach.h"
#include "core/connection.h"
#include "core/provider.h"
#include "core/trace_log.h"
#include "diskgroup/alerts.h"

#include <tuple>

namespace farlo {
namespace {

constexpr int reconnect_tries = 3;
constexpr DWORD reconnect_pause_ms = 500;

// Set while the provider runtime and the alerts have not been started for the latest
// connection. Guarded by the library lock.
bool fresh_connection = true;

std::uint32_t initialize(opal_handle* slot) {
    const std::uint32_t status = InitializeZtVmW(0, 0, slot);
    if (is_failure(status)) {
        return status;
    }
    if (*slot == nullptr) {
        return ZTERROR_PROVIDER;  // success without a handle is a failure
    }
    fresh_connection = true;
    return 0;
}

// Returns the status of the last try.
std::uint32_t reconnect(opal_handle* slot) {
    std::uint32_t status = 0;
    for (int attempt = 0; attempt < reconnect_tries; ++attempt) {
        status = initialize(slot);
        if (status == 0) {
            return 0;
        }
        log(6, L"ValidateClusterW: Sleeping for 0.5 secs");
        Sleep(reconnect_pause_ms);
    }
    return status;
}

// Makes sure that the slot holds a connected handle.
std::uint32_t connect(opal_handle* slot) {
    if (*slot == nullptr) {
        const std::uint32_t status = initialize(slot);
        if (*slot == nullptr) {
            return status;
        }
    }
    if (is_connected(*slot)) {
        return 0;
    }
    UnInitializeZtVmW(*slot);
    *slot = nullptr;
    return reconnect(slot);
}

// Starts the provider runtime and the alerts for a new connection.
void serve_fresh_connection(opal_handle handle) {
    if (!fresh_connection) {
        return;
    }
    fresh_connection = false;
    // Ignored: a handle without the provider runtime or the alerts still works.
    std::ignore = provider_runtime.start(connection_pair(handle));
    std::ignore = register_stored_callback(handle);
}

std::uint32_t validation_result(std::uint32_t status) {
    if (status != 0) {
        log(0, L"ValidateClusterW() failed, error=(0x%x)", status);
        return FARLO_NOT_CONNECTED;
    }
    return FARLO_SUCCESS;
}

}  // namespace

std::uint32_t ValidateClusterW(opal_handle* slot) {
    std::uint32_t status = FARLO_INVALID_ARGUMENT;
    {
        const CriticalSectionHold hold(library_lock);
        if (slot != nullptr) {
            status = connect(slot);
        }
        if (status == 0) {
            serve_fresh_connection(*slot);
        }
    }
    return validation_result(status);
}

std::uint32_t validate_borrowed(opal_handle handle, OwnConnection& own) {
    std::uint32_t status = 0;
    {
        const CriticalSectionHold hold(library_lock);
        if (is_connected(handle)) {
            serve_fresh_connection(handle);
        } else {
            status = reconnect(own.slot());
        }
    }
    return validation_result(status);
}

OwnConnection::~OwnConnection() {
    if (m_handle != nullptr) {
        // Ignored: nothing can be done about a connection that is not released.
        std::ignore = farlo::UnInitializeClusterW(m_handle);
    }
}

std::uint32_t UnInitializeClusterW(opal_handle handle) {
    const CriticalSectionHold hold(library_lock);
    return UnInitializeZtVmW(handle) == 0 ? FARLO_SUCCESS : FARLO_UNINITIALIZE_FAILED;
}

}  // namespace farlo
