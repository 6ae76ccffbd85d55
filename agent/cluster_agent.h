// What a cluster agent does with the library: one handle, disk groups by their
// configured names, and a connection that is renewed when the service drops it.
#pragma once

#include "farlo_library.h"

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace agent {

// A call of the library that answered a status other than 0.
class FarloError : public std::runtime_error {
  public:
    FarloError(const std::string& call, uint32_t status);
    uint32_t status() const { return m_status; }

  private:
    uint32_t m_status;
};

// What a status means, in a few words.
std::string describe(uint32_t status);

// A disk group as its record tells of it.
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
    // Connects. Throws FarloError when there is no service.
    explicit ClusterAgent(FarloLibrary& farlo);
    ~ClusterAgent();
    ClusterAgent(const ClusterAgent&) = delete;
    ClusterAgent& operator=(const ClusterAgent&) = delete;

    // Runs `on_alert` on the command library's thread whenever the service
    // finished an import or a deport. One agent a process.
    void watch(std::function<void()> on_alert);

    // Connects again when the connection was lost.
    void reconnect();
    // Gives the handle back.
    void disconnect();

    std::vector<std::wstring> cluster_groups();
    std::vector<std::wstring> other_groups();
    std::string guid_of(const std::wstring& name);
    std::wstring name_of(const std::string& guid);
    std::string volume_guid(const std::wstring& group, const std::wstring& device);
    void online(const std::wstring& name, const std::string& guid, uint32_t options);
    void offline(const std::wstring& name, const std::string& guid, uint32_t options);

    // Takes the reservations of a group's disks for this node, and gives them up.
    void arbitrate(const std::string& guid);
    void stop_reservation(const std::string& guid);
    // One of FARLO_RESERVATION_...
    uint32_t reservation(const std::string& guid);

    bool is_imported(const std::string& guid);
    DiskAvailability disk_availability(const std::string& guid);
    std::vector<farlo_plex_state> plex_states(const std::string& guid, const std::wstring& device);
    GroupRecord record(const std::string& guid);

    // Starts the cluster volume manager on this node, where it does not run yet.
    // It takes a while until node_state tells so.
    void start_node();
    uint32_t node_state();

    // A volume is named by its device name; the callback of `watch` is run each
    // time that so many milliseconds have passed while the node starts.
    void online_volume(const std::string& guid, const std::wstring& device, uint32_t interval_ms);
    void offline_volume(const std::string& guid, const std::wstring& device);
    void refresh_mount_path(const std::wstring& device);

  private:
    std::vector<std::wstring> names(GetDgNameListW_fn list, const char* call);

    FarloLibrary& m_farlo;
    opal_handle m_handle = nullptr;
};

}  // namespace agent
