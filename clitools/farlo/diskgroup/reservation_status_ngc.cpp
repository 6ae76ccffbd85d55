#include "diskgroup/reservation_status_ngc.h"

#include "api/farlo.h"
#include "bus/status.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"
#include "query/dg_guid.h"

#include <optional>

namespace farlo {
namespace {

constexpr std::uint32_t query_bits = 0;

std::uint32_t ask_service(opal_handle handle, const wchar_t* name, const char* caller_guid,
                          std::uint32_t* reservation) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=(0x%x) ", status);
        return status;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetNgcDgReservationStatusW():GetClusSvcId() failed, error=(0x%x) ", status);
        return status;
    }
    // A parameter that cannot be added is left out; the service is asked anyway.
    std::optional<CZtTempPropertySet> input;
    guarded_attempt([&] {
        input.emplace();
        input->AddProp("Dgguid", guid.get());
        input->AddProperty(CZtProperty("Opflag", query_bits));
        input->AddProperty(CZtProperty("otl trace", false));
    });
    const CZtPropertySet no_input;
    OutputPropertySet output;
    status = CsfInvoke(handle->connection, service, CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS,
                       input ? static_cast<const CZtPropertySet&>(*input) : no_input, output);
    if (!output) {
        return status;
    }
    if (is_failure(status)) {
        log(4,
            L"GetNgcDgReservationStatusW: CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS, CsfInvoke failed "
            L"with error = 0x%x.",
            status);
        return status;
    }
    guarded_attempt([&] { output.GetProp("Dgstate", *reservation); });
    return status;
}

}  // namespace

// KEPT: `connected` is read neither before nor after the call.
std::uint32_t GetNgcDgReservationStatusW(opal_handle handle, const wchar_t* name, const char* guid,
                                         std::uint32_t* reservation) {
    log(4, L"Entering GetNgcDgReservationStatusW - %s", name);
    if (handle == nullptr) {
        log(0, L"GetNgcDgReservationStatusW() failed , NULL opal_handle, error=(0x%x)",
            FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (reservation == nullptr) {
        log(0, L"GetNgcDgReservationStatusW() failed , pStatus == NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    // Logs a refused GUID itself.
    std::uint32_t status = check_guid(L"GetDgReservationStatusW", guid);
    if (status == FARLO_SUCCESS) {
        status = ask_service(handle, name, guid, reservation);
        if (status != FARLO_SUCCESS) {
            log(0, L"GetNgcDgReservationStatusW() failed, error=(0x%x) ", status);
        }
    }
    log(4, L"Exiting GetNgcDgReservationStatusW");
    return status;
}

}  // namespace farlo
