#include "query/unusable_volumes_info.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/narrow_name.h"
#include "core/trace_log.h"
#include "query/fill_vol_info.h"
#include "query/mount_manager.h"

#include <vector>

namespace farlo {
namespace {

// State bits that make a volume unusable.
constexpr std::uint32_t unusable_state_bits = 0x4 | 0x10 | 0x20 | 0x100;

bool is_unusable(const CZtObject& volume) {
    bool data_change_object = false;
    volume.GetProp("isdco", data_change_object);
    if (data_change_object) {
        return false;
    }
    std::uint32_t state = 0;
    volume.GetProp("ztvmstate", state);
    if ((state & unusable_state_bits) != 0) {
        return true;
    }
    WideString device;
    volume.GetProp("DEVICE NAME", device);
    return !has_volume_guid_name(device.c_str());
}

std::vector<const CZtObject*> select_unusable(const std::vector<CZtObject>& volumes) {
    std::vector<const CZtObject*> unusable;
    for (const CZtObject& volume : volumes) {
        if (is_unusable(volume)) {
            unusable.push_back(&volume);
        }
    }
    return unusable;
}

std::uint32_t list_unusable(opal_handle handle, const CZtObject& group, const wchar_t* shown_name,
                            VolInfo* records, std::uint32_t& count) {
    std::vector<CZtObject> volumes;
    group.GetChildObjects(volumes, ZTTYPE_VOLUME);
    if (volumes.empty()) {
        log(0, L"GetUnusableVolumesInfo::No Volume present in DG: %s, error=(0x%x)", shown_name,
            FARLO_VOLUME_NOT_FOUND);
        return FARLO_VOLUME_NOT_FOUND;
    }
    const std::vector<const CZtObject*> unusable = select_unusable(volumes);
    const auto unusable_count = static_cast<std::uint32_t>(unusable.size());
    if (unusable.empty()) {
        log(0, L"GetUnusableVolumesInfo::No Unusable Volume present in DG: %s", shown_name);
        count = 0;
        return FARLO_SUCCESS;
    }
    if (unusable_count > count) {
        count = unusable_count;
        return FARLO_BUFFER_TOO_SMALL;
    }
    for (const CZtObject* volume : unusable) {
        FillVolInfo(handle, *volume, *records);
        records->state |= FARLO_VOLUME_UNUSABLE;
        ++records;
    }
    log(0, L"  Vol.Count: %d \t Unusable Vol.Count: %d \n",
        static_cast<std::uint32_t>(volumes.size()), unusable_count);
    count = unusable_count;
    return FARLO_SUCCESS;
}

}  // namespace

bool has_volume_guid_name(const wchar_t* device) {
    wchar_t link[mount_link_capacity];
    // A link that contains the search string is not empty, so the second test is
    // redundant.
    return QueryMountPointName(device, link, L"\\??\\Volume{") && *link != L'\0';
}

std::uint32_t GetUnusableVolumesInfo(opal_handle handle, const wchar_t* name, const char* guid,
                                     VolInfo* records, std::uint32_t* count) {
    log(4, L"Entering GetUnusableVolumesInfo - %s", name);
    if (handle == nullptr) {
        log(0, L"GetUnusableVolumesInfo failed , NULL opal_handle, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (guid == nullptr && name == nullptr) {
        log(0, L"GetUnusableVolumesInfo failed , pDgGuid == NULL && pwDgName == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (records == nullptr) {
        log(0, L"GetUnusableVolumesInfo failed , pbVolumesInfo == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (count == nullptr) {
        log(0, L"GetUnusableVolumesInfo failed , unusableVolCount == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (!is_connected(handle)) {
        log(0, L"GetUnusableVolumesInfo failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const wchar_t* const shown_name = name != nullptr ? name : L"DG-GUID";
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetUnusableVolumesInfo::GetDgObjId failed for DG: %S,  error=(0x%x)",
            narrow_for_log(shown_name).c_str(), status);
        return status;
    }
    status = guarded([&] { return list_unusable(handle, group, shown_name, records, *count); });
    status = status_if_still_connected(handle, status);
    // KEPT: no line reports a failure here, unlike in the other records.
    log(4, L"Exiting GetUnusableVolumesInfo");
    return status;
}

}  // namespace farlo
