// Exported entries: volumes online, offline and dismounted, their mount points
// and names, and the disks below them.
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "volume/disk_layout.h"
#include "volume/first_volume_disk.h"
#include "volume/mount_path_refresh.h"
#include "volume/offline_vol.h"
#include "volume/offline_volume.h"
#include "volume/online_vol.h"
#include "volume/serial_number.h"

using farlo::guarded;
using farlo::WidenedGroupName;
using farlo::WidenedPath;

extern "C" {

uint32_t OnlineVolW(opal_handle handle, const char* guid, const wchar_t* device, uint32_t flags,
                    uint32_t timeout_ms) {
    return guarded([&] { return farlo::OnlineVolW(handle, guid, device, flags, timeout_ms); });
}

uint32_t OnlineVolA(opal_handle handle, const char* guid, const char* device, uint32_t flags,
                    uint32_t timeout_ms) {
    const WidenedPath wide_device(device);
    return wide_device.accepted(L"OnlineVolA", L"device")
               ? OnlineVolW(handle, guid, wide_device.get(), flags, timeout_ms)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t OfflineVolW(opal_handle handle, const char* guid, const wchar_t* device, uint32_t flags) {
    return guarded([&] { return farlo::OfflineVolW(handle, guid, device, flags); });
}

uint32_t OfflineVolA(opal_handle handle, const char* guid, const char* device, uint32_t flags) {
    const WidenedPath wide_device(device);
    return wide_device.accepted(L"OfflineVolA", L"device")
               ? OfflineVolW(handle, guid, wide_device.get(), flags)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t OfflineVolumeW(const char* name, const wchar_t* path, const void* group_guid) {
    return guarded([&] { return farlo::OfflineVolumeW(name, path, group_guid); });
}

uint32_t OfflineVolumeA(const char* name, const char* path, const void* group_guid) {
    const WidenedPath wide_path(path);
    return wide_path.accepted(L"OfflineVolumeA", L"path")
               ? OfflineVolumeW(name, wide_path.get(), group_guid)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t FFUpdateMountPathW(opal_handle handle, const wchar_t* name) {
    return guarded([&] { return farlo::FFUpdateMountPathW(handle, name); });
}

uint32_t FFUpdateMountPathA(opal_handle handle, const char* name) {
    const WidenedPath wide_name(name);
    return wide_name.accepted(L"FFUpdateMountPathA", L"name")
               ? FFUpdateMountPathW(handle, wide_name.get())
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetVolumeNameForSerialNumberW(opal_handle handle, const wchar_t* name, const char* guid,
                                       uint32_t serial_number, wchar_t* volume_name,
                                       uint32_t* size) {
    return guarded([&] {
        return farlo::GetVolumeNameForSerialNumberW(handle, name, guid, serial_number, volume_name,
                                                    size);
    });
}

uint32_t GetVolumeNameForSerialNumberA(opal_handle handle, const char* name, const char* guid,
                                       uint32_t serial_number, wchar_t* volume_name,
                                       uint32_t* size) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetVolumeNameForSerialNumberA", L"name")
               ? GetVolumeNameForSerialNumberW(handle, wide_name.get(), guid, serial_number,
                                               volume_name, size)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDiskTypeAndSignatureW(const wchar_t* path, uint32_t* signature, uint8_t* disk_guid,
                                  uint32_t* style) {
    return guarded(
        [&] { return farlo::GetDiskTypeAndSignatureW(path, signature, disk_guid, style); });
}

uint32_t GetDiskTypeAndSignatureA(const char* path, uint32_t* signature, uint8_t* disk_guid,
                                  uint32_t* style) {
    const WidenedPath wide_path(path);
    return wide_path.accepted(L"GetDiskTypeAndSignatureA", L"path")
               ? GetDiskTypeAndSignatureW(wide_path.get(), signature, disk_guid, style)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetFirstVolumesDiskIDW(opal_handle handle, const wchar_t* name, uint32_t* disk_id,
                                uint32_t* style) {
    return guarded([&] { return farlo::GetFirstVolumesDiskIDW(handle, name, disk_id, style); });
}

uint32_t GetFirstVolumesDiskIDA(opal_handle handle, const char* name, uint32_t* disk_id,
                                uint32_t* style) {
    const WidenedPath wide_name(name);
    return wide_name.accepted(L"GetFirstVolumesDiskIDA", L"name")
               ? GetFirstVolumesDiskIDW(handle, wide_name.get(), disk_id, style)
               : FARLO_INVALID_ARGUMENT;
}

}  // extern "C"
