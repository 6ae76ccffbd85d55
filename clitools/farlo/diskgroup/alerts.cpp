#include "diskgroup/alerts.h"

#include "api/farlo.h"
#include "bus/status.h"
#include "core/trace_log.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <iterator>

namespace farlo {
namespace {

// Written and read without a lock, by any thread.
std::atomic<AlertTimeoutCallback> reset_timeout{nullptr};

// The names of alerts that reset the time-out. Only the beginning is compared, ignoring
// case.
constexpr const char* alert_names[] = {
    "event.alert.ztvm.ztvm.dg.import.success",
    "event.alert.ztvm.cluster.dg.deport.readonly.success",
    "event.alert.ztvm.ztvm.dg.import.failed",
    "event.alert.ztvm.ztvm.dg.deport.success",
    "event.alert.ztvm.ztvm.dg.deport.failed",
    "event.alert.ztvm.ztvm.dg.force.import.success",
    "event.alert.ztvm.ztvm.dg.force.import.failed",
    "event.alert.ztvm.ztvm.dg.force.deport.success",
    "event.alert.ztvm.ztvm.dg.force.deport.failed",
    "event.alert.ztvm.cluster.dg.import.success",
    "event.alert.ztvm.cluster.dg.import.failed",
    "event.alert.ztvm.cluster.dg.deport.success",
    "event.alert.ztvm.cluster.dg.deport.failed",
};

bool resets_timeout(const char* name) {
    return std::any_of(std::begin(alert_names), std::end(alert_names), [name](const char* listed) {
        return _strnicmp(name, listed, std::strlen(listed)) == 0;
    });
}

std::uint32_t register_handler(opal_handle handle, AlertTimeoutCallback callback) {
    if (handle == nullptr || callback == nullptr) {
        log(0, L"RegisterForAlerts() Failed");
        return FARLO_SUCCESS;
    }
    const std::uint32_t status = RegisterAlertCallback(handle, OpalEventHandler);
    if (is_failure(status)) {
        log(0, L"RegisterForAlerts() Failed hr=%lX", status);
    }
    return status;
}

}  // namespace

AlertTimeoutCallback alert_timeout_callback() {
    return reset_timeout;
}

std::uint32_t RegisterForAlerts(opal_handle handle, AlertTimeoutCallback callback) {
    reset_timeout = callback;
    return register_handler(handle, callback);
}

std::uint32_t register_stored_callback(opal_handle handle) {
    return register_handler(handle, reset_timeout);
}

void OpalEventHandler(const opal_alert* alert, void* /*connection*/, void* /*reserved1*/,
                      void* /*reserved2*/) {
    if (alert == nullptr) {
        log(0, L"Null alert event, exit OpalEventHandler");
        return;
    }
    if (reset_timeout == nullptr) {
        log(0, L"OpalEventHandler : Reset time out callback is NULL");
        return;
    }
    log(6, L"OpalEventHandler : Received alert %S", alert->name);
    if (alert->name == nullptr || !resets_timeout(alert->name)) {
        return;
    }
    // Read again here, and once more after the line: the agent may have cleared it.
    if (reset_timeout == nullptr) {
        return;
    }
    log(6, L"OpalEventHandler : Reset time");
    const AlertTimeoutCallback callback = reset_timeout;
    if (callback != nullptr) {
        callback();
    }
}

}  // namespace farlo
