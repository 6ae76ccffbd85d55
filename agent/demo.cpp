#include "demo.h"

#include "farlo.hpp"
#include "lab_service.h"

#include <chrono>
#include <cstdio>
#include <cwchar>
#include <iterator>
#include <stdexcept>

namespace agent {
namespace {

using farlo::Connection;
using farlo::NodeState;

constexpr DWORD alert_limit_ms = 10'000;
constexpr DWORD notice_ms = 250;
constexpr DWORD node_limit_ms = 30'000;
constexpr DWORD poll_ms = 50;

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

// Tries three times, and shows each attempt.
farlo::ReconnectPolicy reconnect_policy(Steps& steps) {
    farlo::ReconnectPolicy policy;
    policy.limit = 3;
    policy.first_pause = std::chrono::milliseconds(100);
    policy.on_attempt = [&steps](const farlo::ReconnectPolicy::Attempt& attempt) {
        steps.note("connecting: attempt " + std::to_string(attempt.number) + " of " +
                   std::to_string(attempt.limit) + ", after " +
                   std::to_string(attempt.pause.count()) + " ms");
        return true;
    };
    return policy;
}

void list_groups(Steps& steps, Connection& connection) {
    for (const std::wstring& name : connection.groups()) {
        steps.note("cluster disk group, imported:     ", name);
    }
    for (const std::wstring& name : connection.groups(farlo::Scope::non_cluster)) {
        steps.note("non-cluster disk group, imported: ", name);
    }
}

// Asks for something while the service is dead. First gives the loss time to be noticed: a
// lookup during which the connection is lost goes through all its retries.
void show_loss(Steps& steps, Connection& connection, const farlo::GroupRef& group) {
    Sleep(notice_ms);
    try {
        connection.is_imported_by_service(group);
    } catch (const farlo::error& error) {
        if (error.status() != farlo::Status::not_connected) {
            throw;
        }
        steps.note(error.what());
        return;
    }
    throw std::runtime_error("the loss of the connection was not noticed");
}

const char* describe(farlo::Reservation reservation) {
    switch (reservation) {
    case farlo::Reservation::held:
        return "held by this node";
    case farlo::Reservation::not_held:
        return "not held by this node";
    case farlo::Reservation::busy:
        return "being updated";
    default:
        return "unknown";
    }
}

const char* describe(NodeState state) {
    switch (state) {
    case NodeState::stopped:
        return "stopped";
    case NodeState::starting:
        return "starting";
    case NodeState::running:
        return "running";
    case NodeState::stopping:
        return "stopping";
    case NodeState::failed:
        return "failed to start";
    default:
        return "unknown";
    }
}

// One round of a monitor's polling.
void poll_health(Steps& steps, Connection& connection, const farlo::GroupRef& group) {
    const farlo::DiskAvailability disks = connection.disk_availability(group);
    steps.note(std::string("imported here: ") + (connection.is_imported(group) ? "yes" : "no") +
               "; reservation: " + describe(connection.reservation(group)) + "; live disks: " +
               std::to_string(disks.live) + " of " + std::to_string(disks.total));
}

void start_node(Steps& steps, Connection& connection) {
    steps.note(std::string("state: ") + describe(connection.node_state()));
    connection.start_node();
    NodeState state = connection.node_state();
    steps.note(std::string("start requested: ") + describe(state));
    for (DWORD waited = 0; state == NodeState::starting; waited += poll_ms) {
        if (waited >= node_limit_ms) {
            throw std::runtime_error("the node did not start within 30 s");
        }
        Sleep(poll_ms);
        state = connection.node_state();
    }
    steps.note(std::string("state: ") + describe(state));
}

std::wstring in_mib(uint64_t bytes) {
    return std::to_wstring(bytes >> 20) + L" MiB";
}

void print_record(Steps& steps, const farlo::Group& record) {
    for (const farlo::Disk& disk : record.disks) {
        wchar_t signature[16];
        std::swprintf(signature, std::size(signature), L"%08x",
                      static_cast<unsigned>(disk.signature));
        steps.note("disk   ", disk.name + L": signature " + signature + L", port " +
                                  std::to_wstring(disk.port) + L", target " +
                                  std::to_wstring(disk.target) + L", LUN " +
                                  std::to_wstring(disk.lun));
    }
    for (const farlo::Volume& volume : record.volumes) {
        const bool is_offline = has_any(volume.state, farlo::VolumeState::offline);
        const bool has_both = !volume.drive_letter.empty() && !volume.mount_points.empty();
        steps.note("volume ", volume.device_name);
        steps.note("         ", in_mib(volume.size) + L", " + volume.file_system + L" \"" +
                                    volume.label + L"\", " + (is_offline ? L"offline" : L"online"));
        steps.note("         access paths: ",
                   volume.drive_letter + (has_both ? L"; " : L"") + volume.mount_points);
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
    AlertSignal alert;  // outlives the connection, which calls it
    const farlo::Library library = farlo::Library::load(options.bin / L"farlo.dll");
    Connection connection(library, reconnect_policy(steps));

    steps.begin("Register for alerts");
    connection.on_alert([&alert] { alert.set(); });

    steps.begin("List the disk groups of this host");
    list_groups(steps, connection);

    steps.begin("Resolve a disk group by its configured name");
    const std::string guid = connection.group_guid(options.group);
    const farlo::GroupRef group(options.group, guid);
    steps.note("name ", options.group);
    steps.note("GUID " + guid);
    steps.note("name of the GUID ", connection.group_name(guid));
    if (!options.hidden_group.empty()) {
        steps.begin("Resolve a group that is not visible yet: a disk rescan, 10 s");
        steps.note("GUID " + connection.group_guid(options.hidden_group));
    }

    steps.begin("Bring the disk group online");
    connection.online_group(group);
    alert.wait();
    steps.note("imported; the alert reset the agent's time-out");
    list_groups(steps, connection);

    steps.begin("Lose the service and reconnect");
    service.kill();
    show_loss(steps, connection, group);
    service.restart();
    steps.note("the service is back");
    // The next call reconnects. The restarted service has forgotten the import.
    if (!connection.is_imported_by_service(group)) {
        connection.online_group(group);
        alert.wait();
    }
    steps.note("reconnected and imported again; alerts are registered again");

    steps.begin("Reserve its disks for this node, and poll its health");
    poll_health(steps, connection, group);
    connection.arbitrate(group);
    steps.note("arbitration won");
    poll_health(steps, connection, group);

    steps.begin("Start the cluster volume manager on this node");
    start_node(steps, connection);

    steps.begin("Bring the disk group's volumes online");
    for (const farlo::Volume& volume : connection.group(group).volumes) {
        connection.online_volume(guid, volume.device_name);
        connection.refresh_mount_path(volume.device_name);
        steps.note("online: ", volume.device_name);
        for (const farlo::Plex& plex : connection.plexes(group, volume.device_name)) {
            steps.note("        plex ", plex.name + L", state " +
                                            std::to_wstring(static_cast<unsigned>(plex.state)));
        }
    }

    steps.begin("Print the disk group's record");
    print_record(steps, connection.group(group));

    steps.begin("Take the volumes offline and give up the reservation");
    for (const farlo::Volume& volume : connection.group(group).volumes) {
        connection.offline_volume(guid, volume.device_name);
        steps.note("offline: ", volume.device_name);
    }
    connection.stop_reservation(group);
    poll_health(steps, connection, group);

    steps.begin("Take the disk group offline");
    connection.offline_group(group);
    alert.wait();
    steps.note("deported; the alert reset the agent's time-out");
    list_groups(steps, connection);

    steps.begin("Release the handle");
    connection.close();
    std::printf("Done.\n");
}

}  // namespace agent
