#include "query/dg_guid.h"

#include "api/farlo.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/mutex_hold.h"
#include "core/read_property.h"
#include "core/trace_log.h"
#include "core/wait_mutex.h"
#include "core/windows_handle.h"

#include <cstring>
#include <optional>
#include <tuple>

namespace farlo {
namespace {

constexpr std::uint32_t rescan_wait_ms = 300'000;
constexpr DWORD rescan_pause_ms = 10'000;

// Copies a string of the service into the caller's buffer. Returns false when it is too
// long: half an identifier may name another group.
[[nodiscard]] bool copy_guid(const NarrowString& string, char* guid) {
    return copy_string(guid, guid_string_capacity, string.c_str(), string.length());
}

// Returns false when the group has no identifier that can be read and fits.
[[nodiscard]] bool read_dgid(const CZtObject& group, char* guid) noexcept {
    NarrowString dgid;
    return try_read(group, "dgid", dgid) && copy_guid(dgid, guid);
}

void rescan_and_wait(opal_handle handle) {
    // Ignored: the lookup that follows shows what came of the rescan.
    std::ignore = PerformPnpDiskRescan(handle, nullptr);
    log(6, L"GetDgGuidCommon: Sleeping for 10 secs");
    Sleep(rescan_pause_ms);
}

// Rescans the machine's disks, or waits for the process that is doing so, and
// looks the group up again. Returns the lookup's status, or FARLO_NOT_FOUND when
// there is no mutex.
std::uint32_t look_again_after_rescan(opal_handle handle, const wchar_t* name, CZtObject& group,
                                      bool cluster_only) {
    const Handle mutex(CreateMutexA(nullptr, FALSE, "Global\\rescanMutex"));
    const DWORD error = GetLastError();
    log(6, L"GetDgGuidCommon(): CreateMutexA");
    if (!mutex) {
        log(0, L"GetDgGuidCommon(): CreateMutexA failed, error=(0x%x) ", error);
        return FARLO_NOT_FOUND;
    }
    if (WaitForMutex(mutex.get(), 0) != 0) {
        {
            const MutexHold hold(mutex.get());
            rescan_and_wait(handle);
        }
        return GetDgObjIdByName(handle, name, group, cluster_only);
    }
    // KEPT: the mutex is released even if the wait did not obtain it. The system then
    // refuses the release, without other effect.
    std::ignore = WaitForMutex(mutex.get(), rescan_wait_ms);
    const MutexHold hold(mutex.get());
    std::uint32_t status = GetDgObjIdByName(handle, name, group, cluster_only);
    if (status == FARLO_NOT_FOUND) {
        rescan_and_wait(handle);
        status = GetDgObjIdByName(handle, name, group, cluster_only);
    }
    return status;
}

// Asks the cluster-service object for the GUID string.
std::uint32_t ask_cluster_service(opal_handle handle, const opal_objid& service,
                                  const wchar_t* name, char* guid) {
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgname", name);
        OutputPropertySet output;
        const std::uint32_t status =
            CsfInvoke(handle->connection, service, CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, input, output);
        if (!output) {
            return status;
        }
        if (status != 0) {
            log(4,
                L"GetDgGuidCommon: CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, CsfInvoke failed with error "
                L"= 0x%x.",
                status);
            return status;
        }
        NarrowString string;
        output.GetProp("Dgguid", string);
        if (!copy_guid(string, guid)) {
            end_with_exception_status();
        }
        return FARLO_SUCCESS;
    });
}

// Ends the call with the status of a lookup.
std::uint32_t finish(opal_handle handle, std::uint32_t status) {
    status = status_if_still_connected(handle, status);
    if (status != 0) {
        log(0, L"GetDgGuidCommon() failed, error=(0x%x)", status);
    }
    return status;
}

}  // namespace

std::uint32_t GetDgGuidCommon(opal_handle handle, const wchar_t* name, char* guid,
                              bool cluster_only) {
    if (handle == nullptr) {
        log(0, L"GetDgGuidCommon() failed , opal_handle==NULL , error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDgGuidCommon() failed, hConn not connected , error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    if (!UseDgName(name)) {
        log(0, L"GetDgGuidCommon():UseDgName() failed , error=(0x%x)", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (guid == nullptr) {
        log(0, L"GetDgGuidCommon() failed , pDgGuid == NULL, error=(0x%x)", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }

    CZtObject group;
    std::uint32_t status = GetDgObjIdByName(handle, name, group, cluster_only);
    if (status == FARLO_NOT_FOUND) {
        status = look_again_after_rescan(handle, name, group, cluster_only);
    }
    if (status == FARLO_SUCCESS && read_dgid(group, guid)) {
        return FARLO_SUCCESS;
    }
    if (status == FARLO_EXCLUDED_TYPE) {
        log(0, L"GetDgGuidCommon() failed , error=(0x%x)", status);
        return finish(handle, status);
    }

    // The cluster service may know a group that was not found or has no readable
    // identifier.
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgGuidCommon(): GetClusSvcId failed , error=(0x%x)", status);
        return status;
    }
    return finish(handle, ask_cluster_service(handle, service, name, guid));
}

std::uint32_t GetDgGuidfromOpal(opal_handle handle, const wchar_t* name, char* guid) {
    // The only caller, GetDgVolumeGuidW, has checked both.
    if (handle == nullptr) {
        log(0, L"GetDgGuidfromOpal() failed, NULL opal_conn, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!UseDgName(name)) {
        log(0, L"GetDgGuidfromOpal():UseDgName() failed, error=(0x%x)", FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    CZtObject group;
    const std::uint32_t status = GetDgObjIdByName(handle, name, group, /*cluster_only=*/false);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=(0x%x)", status);
        return status;
    }
    return guarded([&] {
        bool imported = false;
        group.GetProp("imported", imported);
        if (!imported) {
            return FARLO_NOT_FOUND;
        }
        if (!read_dgid(group, guid)) {
            end_with_exception_status();
        }
        return FARLO_SUCCESS;
    });
}

std::uint32_t PerformPnpDiskRescan(opal_handle handle, const void* /*unused*/) {
    log(6, L"Entering PerformPnpDiskRescan");
    opal_objid service{};
    std::uint32_t status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"PerformPnpDiskRescan: GetClusSvcId failed with error = 0x%x.", status);
        return status;
    }
    // If the parameter cannot be built, the service is asked without it; it rescans
    // anyway.
    std::optional<CZtTempPropertySet> input;
    try {
        input.emplace();
        input->AddProperty(CZtProperty("pnp rescan only", false));
    } catch (std::uint32_t) {
    }
    const CZtPropertySet no_input;
    OutputPropertySet output;
    status = CsfInvoke(handle->connection, service, MISCOP_PNP_RESCAN,
                       input ? static_cast<const CZtPropertySet&>(*input) : no_input, output);
    if (output && status != 0) {
        log(4, L"PerformPnpDiskRescan: MISCOP_PNP_RESCAN, CsfInvoke failed with error = 0x%x.",
            status);
    }
    log(6, L"Exiting PerformPnpDiskRescan");
    return status;
}

std::uint32_t SetDgGuidParam(GuidString& string, const char* guid, const wchar_t* name,
                             opal_handle handle, bool cluster_only) {
    if (!string.allocate()) {
        return FARLO_NO_GUID_MEMORY;
    }
    std::uint32_t status = FARLO_MISSING_ARGUMENT;
    if (UseDgGuid(guid)) {
        // It fits: the operations have refused a longer one.
        status = copy_string(string.get(), guid_string_capacity, guid, std::strlen(guid))
                     ? FARLO_SUCCESS
                     : FARLO_INVALID_ARGUMENT;
    } else if (UseDgName(name)) {
        status = GetDgGuidCommon(handle, name, string.get(), cluster_only);
    }
    if (status != FARLO_SUCCESS) {
        string.free();
    }
    return status;
}

}  // namespace farlo
