// Exported entries: records of disk groups, disks and volumes. GetDgVolumeStatusA
// is GetDgVolumeStatusW itself (farlo.def).
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "query/dg_disk_properties.h"
#include "query/dg_properties.h"
#include "query/dg_vol_properties.h"
#include "query/dg_volume_properties.h"
#include "query/dg_volume_state.h"
#include "query/dg_volume_status.h"
#include "query/unusable_volumes_info.h"
#include "query/vol_properties.h"
#include "query/volume_info.h"

using farlo::guarded;
using farlo::WidenedGroupName;
using farlo::WidenedPath;
// KEPT: the buffer for a volume's device name is as long as that for a group's name in
// most forms; agents rely on the refusal of longer names.
using WidenedDevice = farlo::WidenedGroupName;

extern "C" {

uint32_t GetDgPropertiesW(opal_handle handle, const wchar_t* name, const char* guid, DgInfo* record,
                          uint32_t* size) {
    return guarded([&] { return farlo::GetDgPropertiesW(handle, name, guid, record, size); });
}

uint32_t GetDgPropertiesA(opal_handle handle, const char* name, const char* guid, DgInfo* record,
                          uint32_t* size) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgPropertiesA", L"name")
               ? GetDgPropertiesW(handle, wide_name.get(), guid, record, size)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetVolPropertiesW(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                           uint32_t* size) {
    return guarded([&] { return farlo::GetVolPropertiesW(handle, device, record, size); });
}

uint32_t GetVolPropertiesA(opal_handle handle, const char* device, VolPropInfo* record,
                           uint32_t* size) {
    if (device == nullptr || record == nullptr || size == nullptr) {
        farlo::log(0, L"GetVolPropertiesA() failed, pcVolName == NULL, or pInfo == NULL, or "
                      L"pInfoSize == NULL");
        return FARLO_INVALID_ARGUMENT;
    }
    const WidenedPath wide_device(device);
    return wide_device.accepted(L"GetVolPropertiesA", L"device")
               ? GetVolPropertiesW(handle, wide_device.get(), record, size)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgVolPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                             DgVolInfo* record, uint32_t* size) {
    return guarded([&] { return farlo::GetDgVolPropertiesW(handle, name, guid, record, size); });
}

uint32_t GetDgVolPropertiesA(opal_handle handle, const char* name, const char* guid,
                             DgVolInfo* record, uint32_t* size) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgVolPropertiesA", L"name")
               ? GetDgVolPropertiesW(handle, wide_name.get(), guid, record, size)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgVolumePropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                                const wchar_t* device, VolInfo* record, uint32_t* size) {
    return guarded(
        [&] { return farlo::GetDgVolumePropertiesW(handle, name, guid, device, record, size); });
}

uint32_t GetDgVolumePropertiesA(opal_handle handle, const char* name, const char* guid,
                                const char* device, VolInfo* record, uint32_t* size) {
    const WidenedGroupName wide_name(name);
    const WidenedDevice wide_device(device);
    if (!wide_name.accepted(L"GetDgVolumePropertiesA", L"name") ||
        !wide_device.accepted(L"GetDgVolumePropertiesA", L"device")) {
        return FARLO_INVALID_ARGUMENT;
    }
    return GetDgVolumePropertiesW(handle, wide_name.get(), guid, wide_device.get(), record, size);
}

uint32_t GetDgDiskPropertiesW(opal_handle handle, const wchar_t* name, const char* guid,
                              DgDiskList* record, uint32_t* size) {
    return guarded([&] { return farlo::GetDgDiskPropertiesW(handle, name, guid, record, size); });
}

uint32_t GetDgDiskPropertiesA(opal_handle handle, const char* name, const char* guid,
                              DgDiskList* record, uint32_t* size) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgDiskPropertiesA", L"name")
               ? GetDgDiskPropertiesW(handle, wide_name.get(), guid, record, size)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgVolumeStateW(opal_handle handle, const wchar_t* name, const char* guid,
                           const wchar_t* device, uint32_t* state) {
    return guarded([&] { return farlo::GetDgVolumeStateW(handle, name, guid, device, state); });
}

uint32_t GetDgVolumeStateA(opal_handle handle, const char* name, const char* guid,
                           const char* device, uint32_t* state) {
    const WidenedGroupName wide_name(name);
    const WidenedDevice wide_device(device);
    if (!wide_name.accepted(L"GetDgVolumeStateA", L"name") ||
        !wide_device.accepted(L"GetDgVolumeStateA", L"device")) {
        return FARLO_INVALID_ARGUMENT;
    }
    return GetDgVolumeStateW(handle, wide_name.get(), guid, wide_device.get(), state);
}

uint32_t GetDgVolumeStatusW(opal_handle handle, const char* guid, const uint8_t* volume_guid,
                            uint32_t* status) {
    return guarded([&] { return farlo::GetDgVolumeStatusW(handle, guid, volume_guid, status); });
}

uint32_t GetUnusableVolumesInfo(opal_handle handle, const wchar_t* name, const char* guid,
                                VolInfo* records, uint32_t* count) {
    return guarded(
        [&] { return farlo::GetUnusableVolumesInfo(handle, name, guid, records, count); });
}

uint32_t GetVolumeInfo(opal_handle handle, const wchar_t* name, const char* guid,
                       const wchar_t* device, VolInfo* record, uint32_t* size) {
    return guarded([&] { return farlo::GetVolumeInfo(handle, name, guid, device, record, size); });
}

}  // extern "C"
