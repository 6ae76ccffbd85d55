#include "diskgroup/reservation_arbitrate.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"
#include "query/dg_guid.h"

namespace farlo {
namespace {

std::uint32_t arbitrate_group(opal_handle handle, const wchar_t* name, const char* caller_guid) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"ArbitrateDgW():SetDgGuidParam failed, error=(0x%x)", status);
        return status;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"ArbitrateDgW():GetClusSvcId() failed, error=(0x%x)", status);
        return status;
    }
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgguid", guid.get());
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, input,
                           output);
        if (output && status != 0) {
            log(4,
                L"ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with error = "
                L"0x%x.",
                status);
        }
        return status;
    });
}

}  // namespace

std::uint32_t ArbitrateDgW(opal_handle handle, const wchar_t* name, const char* guid) {
    log(2, L"Entering ArbitrateDgW - %s", name);
    if (handle == nullptr) {
        log(0, L"ArbitrateDgW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"ArbitrateDgW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const std::uint32_t refused = check_guid(L"ArbitrateDgW", guid);
    std::uint32_t status = refused != FARLO_SUCCESS ? refused : arbitrate_group(handle, name, guid);
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"ArbitrateDgW() failed, error=(0x%x)", status);
    }
    log(2, L"Exiting ArbitrateDgW");
    return status;
}

}  // namespace farlo
