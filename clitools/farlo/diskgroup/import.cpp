#include "diskgroup/import.h"

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

// The service always receives all bits; only the caller's bit 0x2 may differ.
constexpr std::uint32_t import_bits = 0xFFFFFFFD;

bool is_given(const wchar_t* string) {
    return string != nullptr && *string != L'\0';
}

std::uint32_t import_group(opal_handle handle, const wchar_t* name, const char* caller_guid,
                           const wchar_t* new_name, std::uint32_t options) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"ImportDgW():SetDgGuidParam failed, error=(0x%x) ", status);
        return status;
    }
    // KEPT: tested although a success always has a buffer.
    if (!guid) {
        log(0, L"ImportDgW() failed, pGuid == NULL, error=(0x%x) ", FARLO_NO_GUID_MEMORY);
        return FARLO_NO_GUID_MEMORY;
    }
    opal_objid service{};
    status = GetClusSvcId(handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"ImportDgW():GetClusSvcId() failed, error=(0x%x) ", status);
        return status;
    }
    const std::uint32_t option_bits = options | import_bits;
    return guarded([&] {
        CZtTempPropertySet input;
        input.AddProp("Dgguid", guid.get());
        input.AddProp("dgid", guid.get());
        input.AddProp("Newdgname", new_name);
        // KEPT: "newname" is the present name, and only if there is a new one;
        // OnlineDgExW differs.
        input.AddProp("newname", is_given(new_name) ? name : L"");
        input.AddProperty(CZtProperty("Opflag", option_bits));
        input.AddProperty(CZtProperty("OnlineFlag", option_bits));
        OutputPropertySet output;
        status = CsfInvoke(handle->connection, service, DGOP_IMPORT, input, output);
        if (output && status != 0) {
            log(4, L"ImportDgW: DGOP_IMPORT, CsfInvoke failed with error = 0x%x.", status);
        }
        return status;
    });
}

}  // namespace

std::uint32_t ImportDgW(opal_handle handle, const wchar_t* name, const char* guid,
                        const wchar_t* new_name, std::uint32_t options) {
    log(6, L"Entering ImportDgW");
    if (handle == nullptr) {
        log(0, L"ImportDgW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"ImportDgW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    const std::uint32_t refused = check_guid(L"ImportDgW", guid);
    std::uint32_t status =
        refused != FARLO_SUCCESS ? refused : import_group(handle, name, guid, new_name, options);
    status = status_if_still_connected(handle, status);
    if (status != refused) {
        log(0, L"ImportDgW() failed, error=(0x%x) ", status);
    }
    log(6, L"Exiting ImportDgW");
    return status;
}

}  // namespace farlo
