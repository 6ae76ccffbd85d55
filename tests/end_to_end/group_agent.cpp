// A cluster agent that imports and deports its disk group until it is stopped, and
// reconnects when the service is lost:
//
//   group_agent NAME GROUP GUID
//
// It releases the semaphore NAME.moved after the first round on each connection.
// When the event NAME.stop is set, it deports the group, prints "rounds N,
// reconnections N, alerts N" and exits with 0. It exits with 1 if a call fails for
// another reason than a lost connection, or if no alert arrives on a connection.
#include "end_to_end/agent_program.h"
#include "farlo.h"
#include "support/private_registry.h"

#include <windows.h>

#include <atomic>
#include <cstdio>
#include <string>

namespace {

using namespace end_to_end;

constexpr DWORD retry_ms = 100;

std::atomic<unsigned> alerts = 0;

void on_alert() {
    ++alerts;
}

// Waits for an alert, which arrives on another thread.
bool await_alert(unsigned before) {
    for (DWORD waited = 0; alerts == before; waited += retry_ms) {
        if (waited >= hang_ms) {
            return false;
        }
        Sleep(retry_ms);
    }
    return true;
}

bool fail(const char* call, std::uint32_t status) {
    std::fprintf(stderr, "%s: 0x%x\n", call, static_cast<unsigned>(status));
    return false;
}

class Agent {
  public:
    Agent(HMODULE farlo, const wchar_t* group, std::string guid, HANDLE moved)
        : m_validate(find_export<ValidateClusterW_fn>(farlo, "ValidateClusterW")),
          m_release(find_export<UnInitializeClusterW_fn>(farlo, "UnInitializeClusterW")),
          m_register(find_export<RegisterForAlerts_fn>(farlo, "RegisterForAlerts")),
          m_online(find_export<OnlineDgW_fn>(farlo, "OnlineDgW")),
          m_offline(find_export<OfflineDgW_fn>(farlo, "OfflineDgW")), m_group(group),
          m_guid(std::move(guid)), m_moved(moved) {}

    bool run(HANDLE stop) {
        if (!connect() || m_register(m_handle, on_alert) != FARLO_SUCCESS) {
            return fail("RegisterForAlerts", 1);
        }
        while (m_first_round || WaitForSingleObject(stop, 0) != WAIT_OBJECT_0) {
            if (!round()) {
                return false;
            }
        }
        std::printf("rounds %u, reconnections %u, alerts %u\n", m_rounds, m_connections - 1,
                    alerts.load());
        return m_release(m_handle) == FARLO_SUCCESS;
    }

  private:
    bool connect() {
        for (DWORD waited = 0; m_validate(&m_handle) != FARLO_SUCCESS; waited += retry_ms) {
            if (waited >= hang_ms) {
                return fail("ValidateClusterW", FARLO_NOT_CONNECTED);
            }
            Sleep(retry_ms);
        }
        ++m_connections;
        m_first_round = true;
        return true;
    }

    bool round() {
        const unsigned alerts_before = alerts;
        std::uint32_t status = m_online(m_handle, m_group, m_guid.c_str(), nullptr, 0);
        if (status == FARLO_SUCCESS) {
            status = m_offline(m_handle, m_group, m_guid.c_str(), 0);
        }
        if (status == FARLO_NOT_CONNECTED) {
            return connect();
        }
        if (status != FARLO_SUCCESS) {
            return fail("online and offline", status);
        }
        ++m_rounds;
        if (m_first_round) {
            m_first_round = false;
            if (!await_alert(alerts_before)) {
                return fail("no alert", 1);
            }
            ReleaseSemaphore(m_moved, 1, nullptr);
        }
        return true;
    }

    const ValidateClusterW_fn m_validate;
    const UnInitializeClusterW_fn m_release;
    const RegisterForAlerts_fn m_register;
    const OnlineDgW_fn m_online;
    const OfflineDgW_fn m_offline;
    const wchar_t* m_group;
    const std::string m_guid;
    const HANDLE m_moved;
    opal_handle m_handle = nullptr;
    bool m_first_round = false;
    unsigned m_rounds = 0;
    unsigned m_connections = 0;
};

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 4) {
        std::fputs("usage: group_agent NAME GROUP GUID\n", stderr);
        return 1;
    }
    const support::PrivateRegistry registry;
    const std::wstring name = argv[1];
    const HANDLE moved = OpenSemaphoreW(SEMAPHORE_MODIFY_STATE, FALSE, (name + L".moved").c_str());
    const HANDLE stop = OpenEventW(SYNCHRONIZE, FALSE, (name + L".stop").c_str());
    const HMODULE farlo = LoadLibraryW(L"farlo.dll");
    if (farlo == nullptr || moved == nullptr || stop == nullptr) {
        std::fprintf(stderr, "farlo.dll cannot be loaded or NAME is unknown, error %lu\n",
                     GetLastError());
        return 1;
    }
    Agent agent(farlo, argv[2], narrow_guid(argv[3]), moved);
    return agent.run(stop) ? 0 : 1;
}
