// Exported entries: whether storage may be put under cluster control.
#include "volume/clusterability.h"
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "volume/cluster_shared_guid.h"
#include "volume/dg_type.h"

using farlo::guarded;
using farlo::guarded_answer;
using farlo::WidenedPath;

extern "C" {

uint8_t IsStorageClusterable(opal_handle handle, uint32_t style, uint32_t signature,
                             const uint8_t* disk_guid) {
    return guarded_answer(
        [&] { return farlo::IsStorageClusterable(handle, style, signature, disk_guid); });
}

uint8_t IsVolumeOfSpecifiedDgType(opal_handle handle, const wchar_t* volume_name, uint32_t type) {
    return guarded_answer([&] {
        farlo::CZtObject group;
        return farlo::IsVolumeOfSpecifiedDgType(handle, volume_name, type, group);
    });
}

uint8_t IsVolumeClusterable(opal_handle handle, const wchar_t* volume_name) {
    return guarded_answer([&] { return farlo::IsVolumeClusterable(handle, volume_name); });
}

uint32_t GetClusterSharedDgGuidW(opal_handle handle, const wchar_t* device, char* guid) {
    return guarded([&] { return farlo::GetClusterSharedDgGuidW(handle, device, guid); });
}

uint32_t GetClusterSharedDgGuidA(opal_handle handle, const char* device, char* guid) {
    const WidenedPath wide_device(device);
    return wide_device.accepted(L"GetClusterSharedDgGuidA", L"device")
               ? GetClusterSharedDgGuidW(handle, wide_device.get(), guid)
               : FARLO_INVALID_ARGUMENT;
}

}  // extern "C"
