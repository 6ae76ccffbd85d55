#include "diskgroup/deport.h"

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

constexpr std::uint32_t deport_bits = 0x4042;

std::uint32_t deport_group(opal_handle handle, const wchar_t* name, const char* caller_guid) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"DeportDgW():SetDgGuidParam() failed, error=(0x%x)", status);
        return status;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"DeportDgW():GetClusSvcId() failed, error=(0x%x)", status);
        return status;
    }
    CZtObject group;
    status = GetDgObjIdByGuid(handle, guid.get(), group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"DeportDgW():GetDgObjIdByGuid() failed, error=(0x%x)", status);
        return status;
    }
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgguid", guid.get());
        input.AddProp("dgid", guid.get());
        input.AddProperty(CZtProperty("Opflag", deport_bits));
        input.AddProperty(CZtProperty("OfflineFlag", deport_bits));
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, group.id(), DGOP_DEPORT, input, output);
        if (output && status != 0) {
            log(4, L"DeportDgW: DGOP_DEPORT, CsfInvoke failed with error = 0x%x.", status);
        }
        return status;
    });
}

}  // namespace

std::uint32_t DeportDgW(opal_handle handle, const wchar_t* name, const char* guid) {
    log(6, L"Entering DeportDgW");
    if (handle == nullptr) {
        log(0, L"DeportDgW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"DeportDgW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const std::uint32_t refused = check_guid(L"DeportDgW", guid);
    std::uint32_t status = refused != FARLO_SUCCESS ? refused : deport_group(handle, name, guid);
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"DeportDgW() failed, error=(0x%x)", status);
    }
    log(6, L"Exiting DeportDgW");
    return status;
}

}  // namespace farlo
