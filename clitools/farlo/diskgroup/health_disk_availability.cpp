#include "diskgroup/health_disk_availability.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/read_property.h"
#include "core/trace_log.h"
#include "query/dg_guid.h"

#include <tuple>

namespace farlo {
namespace {

// KEPT: all failures of the service become this status, which agents test.
constexpr std::uint32_t service_call_failed = 1;

std::uint32_t query_availability(opal_handle handle, const wchar_t* name, const char* caller_guid,
                                 std::uint32_t* total, std::uint32_t* live) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        return status;
    }
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgname", name);
        input.AddProp("Dgguid", guid.get());
        OutputPropertySet output;
        status =
            CsfInvoke(handle->connection, service, CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB, input, output);
        if (status != 0) {
            if (output) {
                log(4,
                    L"GetDgDiskAvailabilityW: CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB, CsfInvoke failed "
                    L"with error = 0x%x.",
                    status);
            }
            return service_call_failed;
        }
        if (output) {
            // A count that cannot be read stays unchanged; the other may be readable.
            std::ignore = try_read(output, "total_disks", *total);
            std::ignore = try_read(output, "live_disks", *live);
        }
        return status;
    });
}

}  // namespace

std::uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name, const char* guid,
                                     std::uint32_t* total, std::uint32_t* live) {
    // KEPT: the lower-case "disk"; administrators search for it.
    log(6, L"Entering GetDgdiskAvailabilityW");
    if (handle == nullptr) {
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        return FARLO_NOT_CONNECTED;
    }
    if (total == nullptr || live == nullptr) {
        log(0, L"GetDgDiskAvailabilityW() failed , pTotal or pLive == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    const std::uint32_t refused = check_guid(L"GetDgDiskAvailabilityW", guid);
    const std::uint32_t status =
        refused != FARLO_SUCCESS ? refused : query_availability(handle, name, guid, total, live);
    // Not status_if_still_connected: without the connection the exit is not logged.
    if (!is_connected(handle)) {
        return FARLO_NOT_CONNECTED;
    }
    // KEPT: the name of another operation; administrators search for it.
    log(6, L"Exiting GetVolumeGuidW");
    return status;
}

}  // namespace farlo
