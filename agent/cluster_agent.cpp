#include "cluster_agent.h"

#include <cstdio>
#include <cstring>

namespace agent {
namespace {

std::function<void()> alert_function;

void on_reset_timeout() {
    alert_function();
}

void require(const char* call, uint32_t status) {
    if (status != FARLO_SUCCESS) {
        throw FarloError(call, status);
    }
}

}  // namespace

std::string describe(uint32_t status) {
    switch (status) {
    case FARLO_SUCCESS:
        return "success";
    case FARLO_NOT_FOUND:
        return "no such disk group";
    case FARLO_ALREADY_IMPORTED:
        return "a disk group of that name is already imported";
    case FARLO_NO_GUID_MEMORY:
    case FARLO_OUT_OF_MEMORY:
        return "out of memory";
    case FARLO_EXCEPTION:
        return "a property could not be read or written";
    case FARLO_MISSING_ARGUMENT:
        return "a required argument is missing";
    case FARLO_NOT_CONNECTED:
        return "not connected to the storage service";
    case FARLO_UNINITIALIZE_FAILED:
        return "the handle could not be released";
    case FARLO_EXCLUDED_TYPE:
        return "the disk group is of another type";
    case FARLO_NO_CLUSTER_SERVICE:
        return "the service has no cluster-service object";
    case FARLO_BUFFER_TOO_SMALL:
        return "the buffer is too small";
    case FARLO_VOLUME_NOT_FOUND:
        return "no such volume";
    case FARLO_NULL_HANDLE:
        return "no handle";
    case FARLO_INVALID_ARGUMENT:
        return "an argument is invalid";
    case FARLO_DEVICE_SHARING_VIOLATION:
    case FARLO_DEVICE_FAILED:
    case FARLO_DEVICE_UNSUCCESSFUL:
        return "the volume manager's driver refused";
    case FARLO_RESERVATION_BUSY:
        return "the reservation is being updated";
    case FARLO_PROVIDER_FAILED:
        return "an object of the service is missing, or the node's start failed";
    case FARLO_NODE_ALREADY_STARTED:
        return "the cluster volume manager already runs";
    case FARLO_ALREADY_ONLINE:
        return "the disk group is already online";
    default:
        return "a status of the storage service";
    }
}

FarloError::FarloError(const std::string& call, uint32_t status)
    : std::runtime_error([&] {
          char number[16];
          std::snprintf(number, sizeof number, "0x%x", static_cast<unsigned>(status));
          return call + ": " + describe(status) + " (" + number + ")";
      }()),
      m_status(status) {}

ClusterAgent::ClusterAgent(FarloLibrary& farlo) : m_farlo(farlo) {
    reconnect();
}

ClusterAgent::~ClusterAgent() {
    if (m_handle != nullptr) {
        m_farlo.UnInitializeClusterW(m_handle);
    }
}

void ClusterAgent::watch(std::function<void()> on_alert) {
    alert_function = std::move(on_alert);
    require("RegisterForAlerts", m_farlo.RegisterForAlerts(m_handle, on_reset_timeout));
}

void ClusterAgent::reconnect() {
    require("ValidateClusterW", m_farlo.ValidateClusterW(&m_handle));
}

void ClusterAgent::disconnect() {
    require("UnInitializeClusterW", m_farlo.UnInitializeClusterW(m_handle));
    m_handle = nullptr;
}

// Gets the size, then the list. Repeats both if the list grew in between.
std::vector<std::wstring> ClusterAgent::names(GetDgNameListW_fn list, const char* call) {
    std::vector<wchar_t> buffer(1);
    for (;;) {
        wchar_t* pointer = buffer.data();
        auto size = static_cast<uint32_t>(buffer.size() * sizeof(wchar_t));
        uint32_t count = 0;
        const uint32_t status = list(m_handle, &pointer, &size, &count);
        if (status == FARLO_BUFFER_TOO_SMALL) {
            buffer.resize(size / sizeof(wchar_t));
            continue;
        }
        require(call, status);
        std::vector<std::wstring> result;
        for (const wchar_t* name = pointer; count != 0; --count) {
            result.emplace_back(name);
            name += result.back().size() + 1;
        }
        return result;
    }
}

std::vector<std::wstring> ClusterAgent::cluster_groups() {
    return names(m_farlo.GetDgNameListW, "GetDgNameListW");
}

std::vector<std::wstring> ClusterAgent::other_groups() {
    return names(m_farlo.GetNonClusterDgNameListW, "GetNonClusterDgNameListW");
}

std::string ClusterAgent::guid_of(const std::wstring& name) {
    char guid[FARLO_GUID_TEXT_SIZE];
    require("GetDgGuidW", m_farlo.GetDgGuidW(m_handle, name.c_str(), guid));
    return guid;
}

std::wstring ClusterAgent::name_of(const std::string& guid) {
    wchar_t name[FARLO_NAME_SIZE];
    require("GetDgNameW", m_farlo.GetDgNameW(m_handle, guid.c_str(), name));
    return name;
}

std::string ClusterAgent::volume_guid(const std::wstring& group, const std::wstring& device) {
    char guid[FARLO_GUID_TEXT_SIZE];
    require("GetDgVolumeGuidW",
            m_farlo.GetDgVolumeGuidW(m_handle, group.c_str(), nullptr, device.c_str(), guid));
    return guid;
}

void ClusterAgent::online(const std::wstring& name, const std::string& guid, uint32_t options) {
    require("OnlineDgExW",
            m_farlo.OnlineDgExW(m_handle, name.c_str(), guid.c_str(), nullptr, options, 0));
}

void ClusterAgent::offline(const std::wstring& name, const std::string& guid, uint32_t options) {
    require("OfflineDgW", m_farlo.OfflineDgW(m_handle, name.c_str(), guid.c_str(), options));
}

void ClusterAgent::arbitrate(const std::string& guid) {
    require("ArbitrateDgW", m_farlo.ArbitrateDgW(m_handle, nullptr, guid.c_str()));
}

void ClusterAgent::stop_reservation(const std::string& guid) {
    require("StopDgReservationW", m_farlo.StopDgReservationW(m_handle, nullptr, guid.c_str()));
}

uint32_t ClusterAgent::reservation(const std::string& guid) {
    uint32_t state = FARLO_RESERVATION_UNKNOWN;
    require("GetDgReservationStatusW",
            m_farlo.GetDgReservationStatusW(m_handle, nullptr, guid.c_str(), &state));
    return state;
}

bool ClusterAgent::is_imported(const std::string& guid) {
    uint8_t imported = 0;
    require("GetDgStateW", m_farlo.GetDgStateW(m_handle, nullptr, guid.c_str(), &imported));
    return imported != 0;
}

DiskAvailability ClusterAgent::disk_availability(const std::string& guid) {
    DiskAvailability disks{};
    require(
        "GetDgDiskAvailabilityW",
        m_farlo.GetDgDiskAvailabilityW(m_handle, nullptr, guid.c_str(), &disks.total, &disks.live));
    return disks;
}

// GetDgVolPlexStatesW does not take the array's size, so a plex that is added between
// the two calls overflows it. Call this only while nothing else changes volumes.
std::vector<farlo_plex_state> ClusterAgent::plex_states(const std::string& guid,
                                                        const std::wstring& device) {
    uint32_t count = 0;
    uint32_t status = m_farlo.GetDgVolPlexStatesW(m_handle, nullptr, guid.c_str(), device.c_str(),
                                                  &count, nullptr);
    std::vector<farlo_plex_state> plexes(count);
    if (status == FARLO_BUFFER_TOO_SMALL && count != 0) {
        status = m_farlo.GetDgVolPlexStatesW(m_handle, nullptr, guid.c_str(), device.c_str(),
                                             &count, plexes.data());
    } else if (status == FARLO_BUFFER_TOO_SMALL) {
        status = FARLO_SUCCESS;
    }
    require("GetDgVolPlexStatesW", status);
    return plexes;
}

// Gets the size, then the record. Repeats both if the group grew in between.
GroupRecord ClusterAgent::record(const std::string& guid) {
    std::vector<uint64_t> buffer;
    uint32_t size = 0;
    uint32_t status = FARLO_BUFFER_TOO_SMALL;
    const auto bytes = [&] { return reinterpret_cast<DgInfo*>(buffer.data()); };
    while (status == FARLO_BUFFER_TOO_SMALL) {
        buffer.assign(size / sizeof(uint64_t) + 1, 0);
        status = m_farlo.GetDgPropertiesW(m_handle, nullptr, guid.c_str(),
                                          size == 0 ? nullptr : bytes(), &size);
    }
    require("GetDgPropertiesW", status);

    GroupRecord record;
    for (uint32_t i = 0; const auto* disk = farlo_dg_info_disk(bytes(), size, i); ++i) {
        record.disks.emplace_back();
        std::memcpy(&record.disks.back(), disk, sizeof *disk);
    }
    for (uint32_t i = 0; const auto* volume = farlo_dg_info_volume(bytes(), size, i); ++i) {
        record.volumes.emplace_back();
        std::memcpy(&record.volumes.back(), volume, sizeof *volume);
    }
    return record;
}

void ClusterAgent::start_node() {
    const uint32_t status = m_farlo.StartCVMClusterW(m_handle);
    if (status != FARLO_NODE_ALREADY_STARTED) {
        require("StartCVMClusterW", status);
    }
}

uint32_t ClusterAgent::node_state() {
    uint32_t state = 0;
    require("GetCVMClusterNodeStateW", m_farlo.GetCVMClusterNodeStateW(m_handle, &state));
    return state;
}

void ClusterAgent::online_volume(const std::string& guid, const std::wstring& device,
                                 uint32_t interval_ms) {
    require("OnlineVolW",
            m_farlo.OnlineVolW(m_handle, guid.c_str(), device.c_str(), 0, interval_ms));
}

void ClusterAgent::offline_volume(const std::string& guid, const std::wstring& device) {
    require("OfflineVolW", m_farlo.OfflineVolW(m_handle, guid.c_str(), device.c_str(), 0));
}

void ClusterAgent::refresh_mount_path(const std::wstring& device) {
    require("FFUpdateMountPathW", m_farlo.FFUpdateMountPathW(m_handle, device.c_str()));
}

}  // namespace agent
