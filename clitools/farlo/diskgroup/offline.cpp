#include "diskgroup/offline.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/trace_log.h"
#include "query/dg_guid.h"

#include <atomic>

namespace farlo {
namespace {

// Bits that the library adds to the caller's options.
constexpr std::uint32_t check_name_bit = 0x40;
constexpr std::uint32_t always_bit = 0x4000;
constexpr std::uint32_t shared_bit = 0x1000;

// For reading a dump of an agent that hangs in a deport.
std::atomic<std::uint32_t> deports_in_flight{0};

class DeportInFlight {
  public:
    DeportInFlight() { ++deports_in_flight; }
    ~DeportInFlight() { --deports_in_flight; }
    DeportInFlight(const DeportInFlight&) = delete;
    DeportInFlight& operator=(const DeportInFlight&) = delete;
};

std::uint32_t sent_bits(std::uint32_t options) {
    std::uint32_t option_bits = options;
    if ((options & FARLO_OFFLINE_NO_NAME_CHECK) == 0) {
        option_bits |= check_name_bit;
    }
    option_bits |= always_bit;
    if ((options & FARLO_OFFLINE_SHARED) != 0) {
        option_bits |= shared_bit;
    }
    return option_bits;
}

std::uint32_t offline_group(opal_handle handle, const wchar_t* name, const char* caller_guid,
                            std::uint32_t options) {
    const bool cluster_only = (options & FARLO_OFFLINE_SHARED) == 0;
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, cluster_only);
    if (status != FARLO_SUCCESS) {
        log(0, L"OfflineDgW():SetDgGuidParam() failed, error=(0x%x) ", status);
        return status;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"OfflineDgW():GetClusSvcId() failed, error=(0x%x) ", status);
        return status;
    }
    // KEPT: a group that is not found is deported anyway, under the null id, and the
    // service's status is returned. DeportDgW fails here.
    CZtObject group;
    status = GetDgObjIdByGuid(handle, guid.get(), group, cluster_only);
    if (status != FARLO_SUCCESS) {
        log(0, L"OfflineDgW():GetDgObjIdByGuid() failed, error=(0x%x) ", status);
    }
    const std::uint32_t option_bits = sent_bits(options);
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgguid", guid.get());
        input.AddProp("dgid", guid.get());
        input.AddProperty(CZtProperty("Opflag", option_bits));
        input.AddProperty(CZtProperty("OfflineFlag", option_bits));
        const DeportInFlight in_flight;
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, group.id(), DGOP_DEPORT, input, output);
        if (output && status != 0) {
            log(4, L"OfflineDgW: DGOP_DEPORT, CsfInvoke failed with error = 0x%x.", status);
        }
        return status;
    });
}

}  // namespace

std::uint32_t OfflineDgW(opal_handle handle, const wchar_t* name, const char* guid,
                         std::uint32_t options) {
    log(2, L"Entering OfflineDgW - %s", name);
    if (handle == nullptr) {
        log(0, L"OfflineDgW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"OfflineDgW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const std::uint32_t refused = check_guid(L"OfflineDgW", guid);
    std::uint32_t status =
        refused != FARLO_SUCCESS ? refused : offline_group(handle, name, guid, options);
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"OfflineDgW() failed, error=(0x%x) ", status);
    }
    log(2, L"Exiting OfflineDgW");
    return status;
}

}  // namespace farlo
