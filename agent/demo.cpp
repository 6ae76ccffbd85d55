#include "demo.h"

#include "cluster_agent.h"
#include "lab_service.h"

#include <cstdio>
#include <stdexcept>

namespace agent {
namespace {

constexpr DWORD alert_limit_ms = 10'000;
constexpr DWORD drop_limit_ms = 10'000;
constexpr DWORD poll_ms = 50;

// An alert wakes the agent that waits for it.
class AlertSignal {
  public:
    AlertSignal() : m_event(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ~AlertSignal() { CloseHandle(m_event); }
    AlertSignal(const AlertSignal&) = delete;
    AlertSignal& operator=(const AlertSignal&) = delete;

    void set() { SetEvent(m_event); }
    void wait() {
        if (WaitForSingleObject(m_event, alert_limit_ms) != WAIT_OBJECT_0) {
            throw std::runtime_error("no alert came within 10 s");
        }
    }

  private:
    HANDLE m_event;
};

class Steps {
  public:
    void begin(const char* what) { std::printf("%2d. %s\n", ++m_number, what); }
    void note(const std::string& text) { std::printf("      %s\n", text.c_str()); }
    void note(const std::string& text, const std::wstring& name) {
        std::printf("      %s%ls\n", text.c_str(), name.c_str());
    }

  private:
    int m_number = 0;
};

void list_groups(Steps& steps, ClusterAgent& agent) {
    for (const std::wstring& name : agent.cluster_groups()) {
        steps.note("cluster disk group, imported:     ", name);
    }
    for (const std::wstring& name : agent.other_groups()) {
        steps.note("non-cluster disk group, imported: ", name);
    }
}

// Polls an operation until it tells that the connection is gone.
void wait_for_drop(ClusterAgent& agent, const std::wstring& group) {
    for (DWORD waited = 0; waited < drop_limit_ms; waited += poll_ms) {
        try {
            agent.guid_of(group);
        } catch (const FarloError& error) {
            if (error.status() == FARLO_NOT_CONNECTED) {
                return;
            }
        }
        Sleep(poll_ms);
    }
    throw std::runtime_error("the lost connection was not noticed within 10 s");
}

}  // namespace

void run_demo(const DemoOptions& options) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    Steps steps;

    steps.begin("Start the lab's storage service");
    LabService service(options.bin / L"ztsvc.exe", options.scenario, options.work / L"demo.port");
    SetEnvironmentVariableA("ZTLAB_SERVICE", service.address().c_str());
    steps.note("listening at " + service.address());

    steps.begin("Load farlo.dll and connect");
    FarloLibrary farlo(options.bin / L"farlo.dll");
    ClusterAgent agent(farlo);

    steps.begin("Register for alerts");
    AlertSignal alert;
    agent.watch([&alert] { alert.set(); });

    steps.begin("List the disk groups of this host");
    list_groups(steps, agent);

    steps.begin("Resolve a disk group by its configured name");
    const std::string guid = agent.guid_of(options.group);
    steps.note("name ", options.group);
    steps.note("GUID " + guid);
    steps.note("back to the name ", agent.name_of(guid));
    if (!options.hidden_group.empty()) {
        steps.begin("Resolve one that the service does not know yet: a disk rescan, 10 s");
        steps.note("GUID " + agent.guid_of(options.hidden_group));
    }

    steps.begin("Bring the disk group online");
    agent.online(options.group, guid, 0);
    alert.wait();
    steps.note("imported; the alert reset the agent's time-out");
    list_groups(steps, agent);

    steps.begin("Lose the service and reconnect");
    service.kill();
    wait_for_drop(agent, options.group);
    steps.note("the library answers: " + describe(FARLO_NOT_CONNECTED));
    service.restart();
    agent.reconnect();
    steps.note("reconnected; alerts are registered again");
    // The service lost its memory with its process: the group is to be imported again.
    agent.online(options.group, guid, 0);
    alert.wait();

    steps.begin("Take the disk group offline");
    agent.offline(options.group, guid, 0);
    alert.wait();
    steps.note("deported; the alert reset the agent's time-out");
    list_groups(steps, agent);

    steps.begin("Give the handle back");
    agent.disconnect();
    std::printf("Done.\n");
}

}  // namespace agent
