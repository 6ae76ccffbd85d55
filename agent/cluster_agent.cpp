#include "cluster_agent.h"

#include <cstdio>

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
        return "a disk group of that name is imported already";
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

// Asks for the size, then for the list; again when the list grew in between.
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

}  // namespace agent
