// A cluster agent's use of the library: one handle, disk groups by their configured
// names, and a connection that is renewed after a loss.
#pragma once

#include "farlo_library.h"

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace agent {

// A call of the library returned a status other than 0.
class FarloError : public std::runtime_error {
  public:
    FarloError(const std::string& call, uint32_t status);
    uint32_t status() const { return m_status; }

  private:
    uint32_t m_status;
};

// Describes a status in a few words.
std::string describe(uint32_t status);

// The disks and volumes in a disk group's record.
struct GroupRecord {
    std::vector<DgDiskInfo> disks;
    std::vector<VolInfo> volumes;
};

struct DiskAvailability {
    uint32_t total;
    uint32_t live;
};

class ClusterAgent {
  public:
    // Connects. Throws FarloError if there is no service.
    explicit ClusterAgent(FarloLibrary& farlo);
    ~ClusterAgent();
    ClusterAgent(const ClusterAgent&) = delete;
    ClusterAgent& operator=(const ClusterAgent&) = delete;

    // Calls `on_alert` on the command library's thread whenever the service has
    // finished an import or deport. Only one agent per process may use it.
    void watch(std::function<void()> on_alert);

    // Connects again if the connection was lost.
    void reconnect();
    // Releases the handle.
    void disconnect();

    std::vector<std::wstring> cluster_groups();
    std::vector<std::wstring> other_groups();
    std::string guid_of(const std::wstring& name);
    std::wstring name_of(const std::string& guid);
    std::string volume_guid(const std::wstring& group, const std::wstring& device);
    void online(const std::wstring& name, const std::string& guid, uint32_t options);
    void offline(const std::wstring& name, const std::string& guid, uint32_t options);

    // Reserve a group's disks for this node, and give the reservation up.
    void arbitrate(const std::string& guid);
    void stop_reservation(const std::string& guid);
    // One of FARLO_RESERVATION_...
    uint32_t reservation(const std::string& guid);

    bool is_imported(const std::string& guid);
    DiskAvailability disk_availability(const std::string& guid);
    std::vector<farlo_plex_state> plex_states(const std::string& guid, const std::wstring& device);
    GroupRecord record(const std::string& guid);

    // Starts the cluster volume manager on this node unless it runs. Returns before
    // it runs: poll node_state.
    void start_node();
    uint32_t node_state();

    // Bring a volume, given by its device name, online and offline. While the node
    // starts, `watch`'s callback is called every `interval_ms` milliseconds.
    void online_volume(const std::string& guid, const std::wstring& device, uint32_t interval_ms);
    void offline_volume(const std::string& guid, const std::wstring& device);
    void refresh_mount_path(const std::wstring& device);

  private:
    std::vector<std::wstring> names(GetDgNameListW_fn list, const char* call);

    FarloLibrary& m_farlo;
    opal_handle m_handle = nullptr;
};

}  // namespace agent
