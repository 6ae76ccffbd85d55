// Exported entries: names and GUID strings of disk groups and volumes.
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "query/dg_guid.h"
#include "query/dg_name.h"
#include "query/dg_name_list.h"
#include "query/dg_volume_guid.h"

#include <cstring>

using farlo::guarded;
using farlo::WidenedGroupName;

namespace {

// Both kinds of buffer go to one routine as bytes.
template <class Char>
uint32_t name_list(opal_handle handle, Char** buffer, uint32_t* size, uint32_t* count,
                   bool cluster_groups) {
    return guarded([&] {
        void* bytes = buffer != nullptr ? *buffer : nullptr;
        return farlo::GetDgNameListCommon(handle, buffer != nullptr ? &bytes : nullptr, size, count,
                                          cluster_groups, sizeof(Char) == sizeof(wchar_t));
    });
}

}  // namespace

extern "C" {

uint32_t GetDgGuidW(opal_handle handle, const wchar_t* name, char* guid) {
    return guarded(
        [&] { return farlo::GetDgGuidCommon(handle, name, guid, /*cluster_only=*/true); });
}

uint32_t GetDgGuidA(opal_handle handle, const char* name, char* guid) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgGuidA", L"name") ? GetDgGuidW(handle, wide_name.get(), guid)
                                                      : FARLO_INVALID_ARGUMENT;
}

uint32_t GetNonClusterDgGuidW(opal_handle handle, const wchar_t* name, char* guid) {
    return guarded(
        [&] { return farlo::GetDgGuidCommon(handle, name, guid, /*cluster_only=*/false); });
}

uint32_t GetNonClusterDgGuidA(opal_handle handle, const char* name, char* guid) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetNonClusterDgGuidA", L"name")
               ? GetNonClusterDgGuidW(handle, wide_name.get(), guid)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgNameListW(opal_handle handle, wchar_t** buffer, uint32_t* size, uint32_t* count) {
    return name_list(handle, buffer, size, count, /*cluster_groups=*/true);
}

uint32_t GetDgNameListA(opal_handle handle, char** buffer, uint32_t* size, uint32_t* count) {
    return name_list(handle, buffer, size, count, /*cluster_groups=*/true);
}

uint32_t GetNonClusterDgNameListW(opal_handle handle, wchar_t** buffer, uint32_t* size,
                                  uint32_t* count) {
    return name_list(handle, buffer, size, count, /*cluster_groups=*/false);
}

uint32_t GetNonClusterDgNameListA(opal_handle handle, char** buffer, uint32_t* size,
                                  uint32_t* count) {
    return name_list(handle, buffer, size, count, /*cluster_groups=*/false);
}

uint32_t GetDgNameW(opal_handle handle, const char* guid, wchar_t* name) {
    return guarded([&] { return farlo::GetDgNameW(handle, guid, name); });
}

uint32_t GetDgVolumeGuidW(opal_handle handle, const wchar_t* name, const char* guid,
                          const wchar_t* device, char* volume_guid) {
    return guarded(
        [&] { return farlo::GetDgVolumeGuidW(handle, name, guid, device, volume_guid); });
}

// KEPT: any failure of the wide form becomes this one status, which agents test.
uint32_t GetDgVolumeGuidA(opal_handle handle, const char* name, const char* guid,
                          const char* device, char* volume_guid) {
    const WidenedGroupName wide_name(name);
    const WidenedGroupName wide_device(device);
    if (!wide_name.accepted(L"GetDgVolumeGuidA", L"name") ||
        !wide_device.accepted(L"GetDgVolumeGuidA", L"device")) {
        return FARLO_INVALID_ARGUMENT;
    }
    char string[80] = {};
    char* const result = volume_guid != nullptr ? string : nullptr;
    if (GetDgVolumeGuidW(handle, wide_name.get(), guid, wide_device.get(), result) !=
        FARLO_SUCCESS) {
        return FARLO_NO_VOLUME_GUID;
    }
    std::strcpy(volume_guid, string);
    return FARLO_SUCCESS;
}

}  // extern "C"
