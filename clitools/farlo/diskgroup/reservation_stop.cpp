#include "diskgroup/reservation_stop.h"

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

constexpr std::uint32_t stop_bits = 1;

std::uint32_t stop_reservation(opal_handle handle, const wchar_t* name, const char* caller_guid) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"StopDgReservationW():SetDgGuidParam() failed, error=(0x%x)", status);
        return status;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"StopDgReservationW():GetClusSvcId() failed, error=(0x%x)", status);
        return status;
    }
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgguid", guid.get());
        input.AddProperty(CZtProperty("Opflag", stop_bits));
        OutputPropertySet output;
        status =
            CsfInvoke(handle->connection, service, CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, input, output);
        if (output && status != 0) {
            log(4,
                L"StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed with "
                L"error = 0x%x.",
                status);
        }
        return status;
    });
}

}  // namespace

std::uint32_t StopDgReservationW(opal_handle handle, const wchar_t* name, const char* guid) {
    log(6, L"Entering StopDgReservationW");
    if (handle == nullptr) {
        log(0, L"StopDgReservationW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        // KEPT: two blanks after the comma; administrators search for this wording.
        log(0, L"StopDgReservationW() failed ,  opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const std::uint32_t refused = check_guid(L"StopDgReservationW", guid);
    std::uint32_t status =
        refused != FARLO_SUCCESS ? refused : stop_reservation(handle, name, guid);
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"StopDgReservationW() failed, error=(0x%x)", status);
    }
    log(6, L"Exiting StopDgReservationW");
    return status;
}

}  // namespace farlo
