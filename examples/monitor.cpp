// A complete failover agent: brings a disk group with its volumes online, watches it, brings it
// online again when it was taken offline, and takes it offline when the agent is stopped.
//
//   monitor GROUP          runs until Ctrl+C, or
//   monitor --stop GROUP   stops the agent of this group
//
// Exit codes: 0 the group is offline, 1 an operation failed, 2 usage, 3 the group was lost to
// another node.
#include "farlo.hpp"

#include <cstdio>
#include <string>

namespace {

constexpr DWORD round_ms = 2'000;

HANDLE stop_event = nullptr;   // the agent shall stop
HANDLE alert_event = nullptr;  // a group of this machine has changed

enum class Health { online, offline, faulted, lost, unknown };

// A disk group on this node. Each step is made only if it is missing. So online and offline can be
// repeated after any failure, also by an agent that was started again.
class FailoverGroup {
  public:
    FailoverGroup(farlo::Connection& service, const std::wstring& name)
        : m_service(service), m_guid(service.group_guid(name)), m_group(name, m_guid) {
        for (const farlo::Volume& volume : service.group(m_group).volumes) {
            m_devices.push_back(volume.device_name);
        }
    }

    // Arbitration comes first: it keeps the disks to one node.
    void online() {
        ensure([&] { return reservation() == farlo::Reservation::held; },
               [&] { m_service.arbitrate(m_group); });
        ensure([&] { return is_imported(); }, [&] { m_service.online_group(m_group); });
        for (const std::wstring& device : m_devices) {
            ensure([&] { return !has(device, farlo::VolumeState::unusable); },
                   [&] { m_service.online_volume(m_guid, device); });
        }
    }

    // The reservation is given up last: another node may then take the disks.
    void offline() {
        for (const std::wstring& device : m_devices) {
            ensure([&] { return !is_imported() || has(device, farlo::VolumeState::offline); },
                   [&] { m_service.offline_volume(m_guid, device); });
        }
        abandon();
        ensure([&] { return reservation() == farlo::Reservation::not_held; },
               [&] { m_service.stop_reservation(m_group); });
    }

    // For a group that another node has taken: its volumes must not be written to any more.
    void abandon() {
        ensure([&] { return !is_imported(); }, [&] { m_service.offline_group(m_group); });
    }

    Health health() {
        if (!is_imported()) {
            return Health::offline;
        }
        const farlo::Reservation held = reservation();
        if (held == farlo::Reservation::not_held) {
            // A service that has just started changes both.
            return is_imported() ? Health::lost : Health::offline;
        }
        // The service looks for the volume among all groups. With hundreds of them ask the driver:
        // farlo::Connection::is_volume_healthy.
        for (const std::wstring& device : m_devices) {
            if (has(device, farlo::VolumeState::unusable)) {
                return Health::faulted;
            }
        }
        return held == farlo::Reservation::held ? Health::online : Health::unknown;
    }

  private:
    // Makes a change unless it is made already. If the connection is lost during it, it may have
    // been made: looks again.
    template <class IsMade, class Make> static void ensure(IsMade&& is_made, Make&& make) {
        for (int tries = 3; !is_made(); --tries) {
            try {
                return make();
            } catch (const farlo::error& error) {
                if (error.status() != farlo::Status::not_connected || tries == 1) {
                    throw;
                }
            }
        }
    }

    bool is_imported() { return m_service.is_imported(m_group); }
    farlo::Reservation reservation() { return m_service.reservation(m_group); }
    bool has(const std::wstring& device, farlo::VolumeState bits) {
        return has_any(m_service.volume_state(m_group, device), bits);
    }

    farlo::Connection& m_service;
    const std::string m_guid;
    const farlo::GroupRef m_group;
    std::vector<std::wstring> m_devices;
};

// A group that cannot be brought online is left offline, for another node.
void start(FailoverGroup& group) {
    try {
        group.online();
    } catch (const farlo::error&) {
        group.offline();
        throw;
    }
}

// One round. While the service is gone the group's health is unknown, which is not offline.
Health watch(FailoverGroup& group) {
    constexpr const char* names[] = {"online", "offline", "faulted", "lost", "unknown"};
    try {
        const Health health = group.health();
        std::printf("%s\n", names[static_cast<int>(health)]);
        if (health == Health::offline || health == Health::faulted) {
            group.online();
        }
        return health;
    } catch (const farlo::error& error) {
        std::printf("unknown: %s\n", error.what());
        return Health::unknown;
    }
}

int run(const std::wstring& name) {
    farlo::ReconnectPolicy policy;
    policy.limit = 8;  // of one call, which takes half a minute then
    policy.on_attempt = [](const farlo::ReconnectPolicy::Attempt& attempt) {
        std::printf("connecting, attempt %u of %u\n", attempt.number, attempt.limit);
        return true;
    };
    // On a cluster node load it by its full path, with flags: see farlo::Library::load.
    farlo::Connection service(farlo::Library::load(), policy);
    service.on_alert([] { SetEvent(alert_event); });

    FailoverGroup group(service, name);
    start(group);
    const HANDLE events[] = {stop_event, alert_event};
    do {
        if (watch(group) == Health::lost) {
            group.abandon();
            return 3;
        }
    } while (WaitForMultipleObjects(2, events, FALSE, round_ms) != WAIT_OBJECT_0);
    group.offline();
    std::printf("stopped\n");
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const bool stops = argc == 3 && argv[1] == std::wstring(L"--stop");
    if (argc != 2 && !stops) {
        std::fprintf(stderr, "usage: monitor GROUP, or monitor --stop GROUP\n");
        return 2;
    }
    const std::wstring name = argv[argc - 1];
    alert_event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    stop_event = CreateEventW(nullptr, TRUE, FALSE, (L"Local\\monitor-" + name).c_str());
    if (stops) {
        return SetEvent(stop_event) ? 0 : 1;
    }
    SetConsoleCtrlHandler([](DWORD) { return SetEvent(stop_event); }, TRUE);
    try {
        return run(name);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "monitor: %s\n", error.what());
        return 1;
    }
}
