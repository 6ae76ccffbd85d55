#include "ztcmd/alert_queue.h"

#include "store/locks.h"
#include "ztcmd/session.h"

#include <deque>

namespace lab {
namespace {

struct Alert {
    std::weak_ptr<Session> session;
    std::string name;
};

SRWLOCK queue_lock = SRWLOCK_INIT;
CONDITION_VARIABLE queue_changed = CONDITION_VARIABLE_INIT;
std::deque<Alert> queue;
bool thread_runs = false;
bool delivering = false;

DWORD WINAPI deliver_alerts(void* /*unused*/) {
    for (;;) {
        Alert alert;
        {
            const Exclusive hold(queue_lock);
            delivering = false;
            WakeAllConditionVariable(&queue_changed);
            while (queue.empty()) {
                SleepConditionVariableSRW(&queue_changed, &queue_lock, INFINITE, 0);
            }
            alert = std::move(queue.front());
            queue.pop_front();
            delivering = true;
        }
        if (const std::shared_ptr<Session> session = alert.session.lock()) {
            const opal_alert record{alert.name.c_str()};
            session->deliver(&record);
        }
    }
}

}  // namespace

void queue_alert(std::weak_ptr<Session> session, const std::string& name) {
    const Exclusive hold(queue_lock);
    if (!thread_runs) {
        // The thread never ends, so its code must stay loaded.
        HMODULE self = nullptr;
        GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                           reinterpret_cast<const wchar_t*>(&deliver_alerts), &self);
        const HANDLE thread = CreateThread(nullptr, 0, deliver_alerts, nullptr, 0, nullptr);
        if (thread == nullptr) {
            return;
        }
        CloseHandle(thread);
        thread_runs = true;
    }
    queue.push_back({std::move(session), name});
    WakeAllConditionVariable(&queue_changed);
}

void flush_alerts() {
    const Exclusive hold(queue_lock);
    while (!queue.empty() || delivering) {
        SleepConditionVariableSRW(&queue_changed, &queue_lock, INFINITE, 0);
    }
}

}  // namespace lab
