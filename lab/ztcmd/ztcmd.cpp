// The exports of the command library, and those that the lab adds.
#include "store/locks.h"
#include "ztcmd/alert_queue.h"
#include "ztcmd/lab_cmd.h"
#include "ztcmd/record.h"
#include "ztcmd/session.h"

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unordered_map>

namespace lab {
namespace {

SRWLOCK sessions_lock = SRWLOCK_INIT;
std::unordered_map<opal_handle, std::shared_ptr<Session>> sessions;

SRWLOCK calls_lock = SRWLOCK_INIT;
lab_cmd_calls calls;

std::atomic<opal_status> initialize_failure{0};
std::atomic<std::uint32_t> initialize_failures{0};
std::atomic<opal_status> uninitialize_failure{0};
std::atomic<opal_status> register_failure{0};

// Returns whether the call must fail as planned.
bool take_initialize_failure() {
    std::uint32_t left = initialize_failures;
    while (left != 0) {
        if (initialize_failures.compare_exchange_weak(left, left - 1)) {
            return true;
        }
    }
    return false;
}

// Returns the service's address; empty for the embedded service.
std::string service_address() {
    const DWORD size = GetEnvironmentVariableA("ZTLAB_SERVICE", nullptr, 0);
    std::string text(size, '\0');
    text.resize(GetEnvironmentVariableA("ZTLAB_SERVICE", text.data(), size));
    return text;
}

// Returns null if the handle is not live.
std::shared_ptr<Session> find_session(opal_handle handle) {
    const Shared hold(sessions_lock);
    const auto found = sessions.find(handle);
    return found == sessions.end() ? nullptr : found->second;
}

// Ends the process when a handle was released in strict mode; `function` was called
// with it.
void end_if_released(opal_handle handle, const char* function) {
    if (is_strict() && was_released(handle)) {
        char use[96];
        std::snprintf(use, sizeof use, "released handle 0x%llx was passed to %s",
                      static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(handle)),
                      function);
        LabEndReleasedUse(use, nullptr);
    }
}

}  // namespace
}  // namespace lab

using namespace lab;

opal_status InitializeZtVmW(uint32_t flags, uint32_t reserved, opal_handle* slot) {
    {
        const Exclusive hold(calls_lock);
        ++calls.initialize;
        calls.last_flags = flags;
        calls.last_reserved = reserved;
    }
    if (slot == nullptr) {
        return ZTERROR_INVALID_ARGUMENT;
    }
    *slot = nullptr;
    if (take_initialize_failure()) {
        return initialize_failure;
    }
    const auto session = std::make_shared<Session>();
    const std::string service = service_address();
    const opal_status status = session->open(service.empty() ? nullptr : service.c_str());
    if (status != ZTSTATUS_OK) {
        return status;
    }
    const Exclusive hold(sessions_lock);
    sessions[session->handle()] = session;
    *slot = session->handle();
    return ZTSTATUS_OK;
}

opal_status UnInitializeZtVmW(opal_handle handle) {
    end_if_released(handle, "UnInitializeZtVmW");
    {
        const Exclusive hold(calls_lock);
        ++calls.uninitialize;
        calls.last_released = handle;
    }
    std::shared_ptr<Session> session;
    {
        const Exclusive hold(sessions_lock);
        const auto found = sessions.find(handle);
        if (found == sessions.end()) {
            return ZTERROR_INVALID_ARGUMENT;
        }
        session = found->second;
        sessions.erase(found);
    }
    session->close();
    session->retire();
    return uninitialize_failure;
}

opal_status RegisterAlertCallback(opal_handle handle, opal_alert_handler handler) {
    end_if_released(handle, "RegisterAlertCallback");
    {
        const Exclusive hold(calls_lock);
        ++calls.register_alerts;
        calls.last_registered = handle;
        calls.last_handler = handler;
    }
    if (register_failure != 0) {
        return register_failure;
    }
    const std::shared_ptr<Session> session = find_session(handle);
    if (session == nullptr || handler == nullptr) {
        return ZTERROR_INVALID_ARGUMENT;
    }
    if (!session->is_connected()) {
        return ZTERROR_NOT_CONNECTED;
    }
    return session->set_handler(handler) ? ZTSTATUS_OK : ZTERROR_INVALID_ARGUMENT;
}

void LabCmdFailInitialize(opal_status status, uint32_t times) {
    initialize_failure = status;
    initialize_failures = times;
}

void LabCmdFailUnInitialize(opal_status status) {
    uninitialize_failure = status;
}

void LabCmdFailRegister(opal_status status) {
    register_failure = status;
}

void LabCmdDisconnect(opal_handle handle) {
    if (const std::shared_ptr<Session> session = find_session(handle)) {
        session->set_connected(false);
    }
}

opal_status LabCmdDeliver(opal_handle handle, const opal_alert* alert) {
    const std::shared_ptr<Session> session = find_session(handle);
    return session != nullptr && session->deliver(alert) ? ZTSTATUS_OK : ZTERROR_NO_EVENT;
}

int LabCmdStrict(int on) {
    return set_strict(on != 0) ? 1 : 0;
}

void LabCmdFlushAlerts(void) {
    flush_alerts();
}

void LabCmdGetCalls(lab_cmd_calls* copy) {
    const Exclusive hold(calls_lock);
    *copy = calls;
    const Shared sessions_hold(sessions_lock);
    copy->live_handles = static_cast<uint32_t>(sessions.size());
}
