#include "diskgroup/fast_failover.h"

#include "api/farlo.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"

namespace farlo {
namespace {

std::uint32_t send_flag(opal_handle handle, const CZtObject& group, std::uint32_t flag) {
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProperty(CZtProperty("FastFailoverFlag", flag));
        OutputPropertySet output;
        const std::uint32_t status =
            CsfInvoke(handle->connection, group.id(), DGOP_SETFASTFAILOVERFLAG, input, output);
        if (output && status != 0) {
            log(4,
                L"SetFastFailoverFlag: DGOP_SETFASTFAILOVERFLAG, CsfInvoke failed with error = "
                L"0x%x.",
                status);
        }
        return status;
    });
}

}  // namespace

// KEPT: the lines name the operation without its "W"; administrators search for them.
std::uint32_t SetFastFailoverFlagW(opal_handle handle, const wchar_t* name, const char* guid,
                                   std::uint32_t flag) {
    log(4, L"Entering SetFastFailoverFlag - %s", name);
    if (handle == nullptr) {
        log(0, L"SetFastFailoverFlag() failed , opal_handle==NULL, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"SetFastFailoverFlag() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, name, guid, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"SetFastFailoverFlag():GetDgObjId() failed, error=(0x%x) ", status);
        return status;
    }
    status = send_flag(handle, group, flag);
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"SetFastFailoverFlag() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting SetFastFailoverFlag");
    return status;
}

}  // namespace farlo
