// Exported entries: online, import, offline and deport of disk groups.
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "diskgroup/deport.h"
#include "diskgroup/import.h"
#include "diskgroup/offline.h"
#include "diskgroup/online.h"

using farlo::guarded;
using farlo::WidenedGroupName;

extern "C" {

uint32_t OnlineDgExW(opal_handle handle, const wchar_t* name, const char* guid,
                     const wchar_t* new_name, uint32_t options, uint32_t reserved) {
    return guarded(
        [&] { return farlo::OnlineDgExW(handle, name, guid, new_name, options, reserved); });
}

uint32_t OnlineDgExA(opal_handle handle, const char* name, const char* guid, const char* new_name,
                     uint32_t options, uint32_t reserved) {
    const WidenedGroupName wide_name(name);
    const WidenedGroupName wide_new_name(new_name);
    if (!wide_name.accepted(L"OnlineDgExA", L"name") ||
        !wide_new_name.accepted(L"OnlineDgExA", L"new_name")) {
        return FARLO_INVALID_ARGUMENT;
    }
    return OnlineDgExW(handle, wide_name.get(), guid, wide_new_name.get(), options, reserved);
}

uint32_t OnlineDgW(opal_handle handle, const wchar_t* name, const char* guid,
                   const wchar_t* new_name, uint32_t options) {
    return guarded([&] {
        return farlo::OnlineDgExW(handle, name, guid, new_name, options,
                                  farlo::online_default_reserved, L"OnlineDgW");
    });
}

uint32_t OnlineDgA(opal_handle handle, const char* name, const char* guid, const char* new_name,
                   uint32_t options) {
    const WidenedGroupName wide_name(name);
    const WidenedGroupName wide_new_name(new_name);
    if (!wide_name.accepted(L"OnlineDgA", L"name") ||
        !wide_new_name.accepted(L"OnlineDgA", L"new_name")) {
        return FARLO_INVALID_ARGUMENT;
    }
    return OnlineDgW(handle, wide_name.get(), guid, wide_new_name.get(), options);
}

uint32_t ImportDgW(opal_handle handle, const wchar_t* name, const char* guid,
                   const wchar_t* new_name, uint32_t options) {
    return guarded([&] { return farlo::ImportDgW(handle, name, guid, new_name, options); });
}

uint32_t ImportDgA(opal_handle handle, const char* name, const char* guid, const char* new_name,
                   uint32_t options) {
    const WidenedGroupName wide_name(name);
    const WidenedGroupName wide_new_name(new_name);
    if (!wide_name.accepted(L"ImportDgA", L"name") ||
        !wide_new_name.accepted(L"ImportDgA", L"new_name")) {
        return FARLO_INVALID_ARGUMENT;
    }
    return ImportDgW(handle, wide_name.get(), guid, wide_new_name.get(), options);
}

uint32_t OfflineDgW(opal_handle handle, const wchar_t* name, const char* guid, uint32_t options) {
    return guarded([&] { return farlo::OfflineDgW(handle, name, guid, options); });
}

uint32_t OfflineDgA(opal_handle handle, const char* name, const char* guid, uint32_t options) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"OfflineDgA", L"name")
               ? OfflineDgW(handle, wide_name.get(), guid, options)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t DeportDgW(opal_handle handle, const wchar_t* name, const char* guid) {
    return guarded([&] { return farlo::DeportDgW(handle, name, guid); });
}

uint32_t DeportDgA(opal_handle handle, const char* name, const char* guid) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"DeportDgA", L"name") ? DeportDgW(handle, wide_name.get(), guid)
                                                     : FARLO_INVALID_ARGUMENT;
}

}  // extern "C"
