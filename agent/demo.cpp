#include "demo.h"

#include "cluster_agent.h"
#include "lab_service.h"

#include <cstdio>
#include <cwchar>
#include <iterator>
#include <stdexcept>

namespace agent {
namespace {

constexpr DWORD alert_limit_ms = 10'000;
constexpr DWORD drop_limit_ms = 10'000;
constexpr DWORD notice_ms = 250;
constexpr DWORD node_limit_ms = 30'000;
constexpr DWORD poll_ms = 50;
constexpr uint32_t volume_interval_ms = 1'000;

// Lets the agent wait for an alert.
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

// Polls an operation until it reports the loss of the connection. Sleeps first, because
// an operation during which the connection is lost goes through all its retries.
void wait_for_drop(ClusterAgent& agent, const std::wstring& group) {
    for (DWORD waited = 0; waited < drop_limit_ms; waited += notice_ms) {
        Sleep(notice_ms);
        try {
            agent.guid_of(group);
        } catch (const FarloError& error) {
            if (error.status() == FARLO_NOT_CONNECTED) {
                return;
            }
        }
    }
    throw std::runtime_error("the lost connection was not noticed within 10 s");
}

const char* reservation_text(uint32_t state) {
    switch (state) {
    case FARLO_RESERVATION_HELD:
        return "held by this node";
    case FARLO_RESERVATION_NOT_HELD:
        return "not held by this node";
    default:
        return "unknown";
    }
}

// One round of a monitor's polling.
void poll_health(Steps& steps, ClusterAgent& agent, const std::string& guid) {
    const DiskAvailability disks = agent.disk_availability(guid);
    steps.note(std::string("imported here: ") + (agent.is_imported(guid) ? "yes" : "no") +
               "; reservation: " + reservation_text(agent.reservation(guid)) + "; live disks: " +
               std::to_string(disks.live) + " of " + std::to_string(disks.total));
}

void start_node(Steps& steps, ClusterAgent& agent) {
    const uint32_t before = agent.node_state();
    agent.start_node();
    uint32_t state = agent.node_state();
    steps.note("state " + std::to_string(before) + ", start requested: state " +
               std::to_string(state));
    const uint32_t starting = state;
    for (DWORD waited = 0; state == starting; waited += poll_ms) {
        if (waited >= node_limit_ms) {
            throw std::runtime_error("the node did not start within 30 s");
        }
        Sleep(poll_ms);
        state = agent.node_state();
    }
    steps.note("started: state " + std::to_string(state));
}

std::wstring in_mib(uint64_t bytes) {
    return std::to_wstring(bytes >> 20) + L" MiB";
}

void print_record(Steps& steps, const GroupRecord& record) {
    for (const DgDiskInfo& disk : record.disks) {
        wchar_t signature[16];
        std::swprintf(signature, std::size(signature), L"%08x",
                      static_cast<unsigned>(disk.signature));
        steps.note("disk   ", std::wstring(disk.name) + L": signature " + signature + L", port " +
                                  std::to_wstring(disk.port) + L", target " +
                                  std::to_wstring(disk.target) + L", LUN " +
                                  std::to_wstring(disk.lun));
    }
    for (const VolInfo& volume : record.volumes) {
        steps.note("volume ", volume.device_name);
        steps.note("         ",
                   in_mib(volume.size) + L", " + volume.file_system + L" \"" + volume.label +
                       L"\", " +
                       ((volume.state & FARLO_VOLUME_UNUSABLE) != 0 ? L"offline" : L"online"));
        steps.note("         access paths: ",
                   std::wstring(volume.drive_letter) +
                       (*volume.drive_letter != 0 && *volume.mount_points != 0 ? L"; " : L"") +
                       volume.mount_points);
    }
}

// Returns ztsvc.exe in the folder, else where the system finds it on the PATH.
std::filesystem::path service_program(const std::filesystem::path& folder) {
    constexpr wchar_t name[] = L"ztsvc.exe";
    wchar_t found[MAX_PATH];
    if (!std::filesystem::exists(folder / name) &&
        SearchPathW(nullptr, name, nullptr, MAX_PATH, found, nullptr) != 0) {
        return found;
    }
    return folder / name;
}

}  // namespace

void run_demo(const DemoOptions& options) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    Steps steps;

    steps.begin("Start the lab's storage service");
    LabService service(service_program(options.bin), options.scenario, options.work / L"demo.port");
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
    steps.note("name of the GUID ", agent.name_of(guid));
    if (!options.hidden_group.empty()) {
        steps.begin("Resolve a group that is not visible yet: a disk rescan, 10 s");
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
    steps.note("the library returns: " + describe(FARLO_NOT_CONNECTED));
    service.restart();
    agent.reconnect();
    steps.note("reconnected; alerts are registered again");
    // The restarted service has forgotten the import.
    agent.online(options.group, guid, 0);
    alert.wait();

    steps.begin("Reserve its disks for this node, and poll its health");
    poll_health(steps, agent, guid);
    agent.arbitrate(guid);
    steps.note("arbitration won");
    poll_health(steps, agent, guid);

    steps.begin("Start the cluster volume manager on this node");
    start_node(steps, agent);

    steps.begin("Bring the disk group's volumes online");
    for (const VolInfo& volume : agent.record(guid).volumes) {
        agent.online_volume(guid, volume.device_name, volume_interval_ms);
        agent.refresh_mount_path(volume.device_name);
        steps.note("online: ", volume.device_name);
        for (const farlo_plex_state& plex : agent.plex_states(guid, volume.device_name)) {
            steps.note("        plex ",
                       std::wstring(plex.name) + L", state " + std::to_wstring(plex.state));
        }
    }

    steps.begin("Print the disk group's record");
    print_record(steps, agent.record(guid));

    steps.begin("Take the volumes offline and give up the reservation");
    for (const VolInfo& volume : agent.record(guid).volumes) {
        agent.offline_volume(guid, volume.device_name);
        steps.note("offline: ", volume.device_name);
    }
    agent.stop_reservation(guid);
    poll_health(steps, agent, guid);

    steps.begin("Take the disk group offline");
    agent.offline(options.group, guid, 0);
    alert.wait();
    steps.note("deported; the alert reset the agent's time-out");
    list_groups(steps, agent);

    steps.begin("Release the handle");
    agent.disconnect();
    std::printf("Done.\n");
}

}  // namespace agent
