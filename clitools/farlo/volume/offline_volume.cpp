#include "volume/offline_volume.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/trace_log.h"
#include "core/windows_handle.h"
#include "dmcontrol.h"
#include "volume/config_device.h"
#include "volume/system_failure.h"

#include <winioctl.h>

#include <cstring>
#include <cwchar>

namespace farlo {
namespace {

constexpr std::size_t path_capacity = 260;

std::uint32_t dismount(const char* name, const wchar_t* path, const void* group_guid) {
    if (name == nullptr || path == nullptr || group_guid == nullptr) {
        log(0, L"OfflineVolumeW() failed , NULL Volume GUID/Name/DG GUID");
        return FARLO_INVALID_ARGUMENT;
    }
    // KEPT: an entry line at the level of errors; administrators want it always.
    log(0, L"Entering OfflineVolumeW - %s", path);
    // Both strings are checked before the volume is dismounted: a dismounted volume
    // that the driver does not know of is worse than a failed call.
    wchar_t device[path_capacity];
    dm_volume_request request{};
    if (check_string(L"OfflineVolumeW", L"name", name, sizeof request.name) != FARLO_SUCCESS ||
        check_string(L"OfflineVolumeW", L"path", path, path_capacity) != FARLO_SUCCESS) {
        return FARLO_INVALID_ARGUMENT;
    }
    std::wcscpy(device, path);
    std::strcpy(request.name, name);
    std::memcpy(request.guid, group_guid, sizeof request.guid);
    // With a trailing backslash the path names the volume's root folder.
    const std::size_t length = std::wcslen(device);
    if (length != 0 && device[length - 1] == L'\\') {
        device[length - 1] = L'\0';
    }

    const Handle volume(CreateFileW(device, GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_SYSTEM, nullptr));
    if (!volume) {
        const std::uint32_t status = failure_of(GetLastError());
        log(0, L"OfflineVolumeW:CreateFileW for %S failed 0x%x", name, status);
        return status;
    }
    if (!FlushFileBuffers(volume.get())) {
        const std::uint32_t status = failure_of(GetLastError());
        log(0, L"OfflineVolumeW: FlushFileBuffers for %s failed 0x%x", path, status);
        return status;
    }
    DWORD returned = 0;
    if (!DeviceIoControl(volume.get(), FSCTL_DISMOUNT_VOLUME, nullptr, 0, nullptr, 0, &returned,
                         nullptr)) {
        const std::uint32_t status = failure_of(GetLastError());
        log(0, L"OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for %S failed 0x%x", name, status);
        return status;
    }
    return SendDmConfigRequest(DM_CONFIG_VOLUME_OFFLINE, &request);
}

}  // namespace

std::uint32_t OfflineVolumeW(const char* name, const wchar_t* path, const void* group_guid) {
    const std::uint32_t status = dismount(name, path, group_guid);
    if (status != 0) {
        log(0, L"OfflineVolumeW() failed for volume %s, error=(0x%x) ", path, status);
    } else {
        log(0, L"OfflineVolumeW() succeeded for volume %s, error=(0x%x) ", path, status);
    }
    log(2, L"Exiting OfflineVolumeW");
    return status;
}

}  // namespace farlo
