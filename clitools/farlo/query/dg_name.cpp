#include "query/dg_name.h"

#include "api/farlo.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/guid_string.h"
#include "core/lookup.h"
#include "core/trace_log.h"

namespace farlo {

std::uint32_t GetDgNameW(opal_handle handle, const char* guid, wchar_t* name) {
    log(6, L"Entering GetDgNameW");
    if (handle == nullptr) {
        log(0, L"GetDgNameW() failed , opal_handle==NULL, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgNameW() failed , opal_handle not connected, error=(0x%x) ",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    if (!UseDgGuid(guid)) {
        log(0, L"GetDgNameW():UseDgGuid()  failed, error=(0x%x) ", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (name == nullptr) {
        log(0, L"GetDgNameW() failed , pwDgName == NULL, error=(0x%x) ", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjIdByGuid(handle, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgNameW():GetDgObjIdByGuid()  failed, error=(0x%x) ", status);
        return status;
    }
    status = guarded([&] {
        WideString string;
        group.GetProp("Name", string);
        if (!copy_string(name, FARLO_NAME_SIZE, string.c_str(), string.length())) {
            end_with_exception_status();
        }
        return FARLO_SUCCESS;
    });
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"GetDgNameW() failed, error=(0x%x) ", status);
    }
    log(6, L"Exiting GetDgNameW");
    return status;
}

}  // namespace farlo
