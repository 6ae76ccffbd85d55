#include "online.h"

#include "caller_string.h"
#include "connection.h"
#include "database.h"
#include "farlo.h"
#include "guarded.h"
#include "lookup.h"
#include "method.h"
#include "trace_log.h"

#include "../query/dg_guid.h"

#include <cwchar>
#include <optional>
#include <vector>

namespace farlo {
namespace {

// Bits of the working word that the library adds.
constexpr std::uint32_t check_name_bit = 0x40;
constexpr std::uint32_t always_bit = 0x4000;
constexpr std::uint32_t cluster_shared_bits = 0xFFFFFFFD;
constexpr std::uint32_t not_cluster_shared_bits = 0x6;

struct Request {
    opal_handle handle;
    const wchar_t* name;
    const char* guid;
    const wchar_t* new_name;
    std::uint32_t options;
};

// Whether the group's name is taken by an imported one. A group without a
// readable name is passed over; one without a readable "imported" throws.
bool is_imported_under(const std::vector<CZtObject>& groups, const wchar_t* name) {
    for (const CZtObject& group : groups) {
        WideText group_name;
        try {
            group.GetProp("Name", group_name);
        } catch (std::uint32_t) {
            continue;
        }
        bool imported = false;
        group.GetProp("imported", imported);
        if (_wcsicmp(group_name.c_str(), name != nullptr ? name : L"") == 0 && imported) {
            return true;
        }
    }
    return false;
}

// Adds the parameters that every import carries. `word` is completed on the way.
void add_parameters(CZtPropertySet& input, const Request& request, const char* guid,
                    std::uint32_t& word) {
    input.AddProp("Name", request.name);
    word |=
        (word & FARLO_ONLINE_CLUSTER_SHARED) != 0 ? cluster_shared_bits : not_cluster_shared_bits;
    input.AddProp("Dgguid", guid);
    input.AddProp("dgid", guid);
    input.AddProp("Newdgname", request.new_name);
    // The present name: kept, although ImportDgW sends something else here.
    input.AddProp("newname", request.name);
    input.AddProperty(CZtProperty("Opflag", word));
    input.AddProperty(CZtProperty("OnlineFlag", word));
    if ((word & FARLO_ONLINE_CLEAR_HOST_ID) != 0) {
        input.AddProperty(CZtProperty("clearhostid", true));
    }
}

// Sends the import to the service and returns its status.
std::uint32_t send_import(const Request& request, const opal_objid& service, const CZtObject& group,
                          CZtPropertySet& input, std::uint32_t word) {
    OutputPropertySet output;
    const opal_objid* target = &service;
    if ((word & FARLO_ONLINE_SHARED) != 0) {
        input.AddProperty(CZtProperty("shared", false));
        if ((word & FARLO_ONLINE_CLUSTER_SHARED) != 0) {
            input.AddProperty(CZtProperty("clustershared", true));
        }
        target = &group.id();
    }
    const std::uint32_t status =
        CsfInvoke(request.handle->connection, *target, DGOP_IMPORT, input, output);
    if (output && status != 0) {
        log(4, L"OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0x%x.", status);
    }
    return status;
}

// From the search for the group to the service's answer. Nothing when the call
// is to end at once with `early_status`, without a result line.
std::optional<std::uint32_t> import_group(const Request& request, std::uint32_t& word,
                                          std::uint32_t& early_status) {
    const bool cluster_only = (request.options & FARLO_ONLINE_SHARED) == 0;
    GuidText guid;
    std::uint32_t status =
        SetDgGuidParam(guid, request.guid, request.name, request.handle, cluster_only);
    if (status != FARLO_SUCCESS) {
        log(0, L"OnlineDgExW():SetDgGuidParam() failed, error=(0x%x) ", status);
        return status;
    }
    CZtObject group;
    if (!cluster_only) {
        status = GetDgObjIdByGuid(request.handle, guid.get(), group, cluster_only);
        if (status != FARLO_SUCCESS) {
            log(0, L"OnlineDgExW():GetDgObjIdByGuid() failed, error=(0x%x) ", status);
            return status;
        }
    }
    opal_objid service{};
    status = GetClusSvcId(request.handle, service);
    if (status != FARLO_SUCCESS) {
        log(0, L"OnlineDgExW():GetClusSvcId() failed, error=(0x%x) ", status);
        return status;
    }
    const bool check_name = (request.options & FARLO_ONLINE_NO_NAME_CHECK) == 0;
    if (check_name) {
        word |= check_name_bit;
    }
    word |= always_bit;

    if (check_name) {
        std::vector<CZtObject> groups;
        try {
            groups = objects_of_type(request.handle, ZTTYPE_DISK_GROUP);
        } catch (...) {
            // Kept: agents have always been told success here.
            early_status = FARLO_SUCCESS;
            return std::nullopt;
        }
        status = guarded([&] {
            return is_imported_under(groups, request.name) ? FARLO_ALREADY_IMPORTED : FARLO_SUCCESS;
        });
        if (status == FARLO_ALREADY_IMPORTED) {
            early_status = status;
            return std::nullopt;
        }
        if (status != FARLO_SUCCESS) {
            return status;
        }
    }

    return guarded([&] {
        CZtTempPropertySet input;
        add_parameters(input, request, guid.get(), word);
        return send_import(request, service, group, input, word);
    });
}

}  // namespace

std::uint32_t OnlineDgExW(opal_handle handle, const wchar_t* name, const char* guid,
                          const wchar_t* new_name, std::uint32_t options,
                          std::uint32_t /*reserved*/, const wchar_t* entry) {
    if ((options & FARLO_ONLINE_LOG_AS_OFFLINE) != 0) {
        log(0, L"OfflineDg %s is called with flag 0x%x", name, options);
    } else {
        log(0, L"OnlineDg %s is called with flag 0x%x", name, options);
    }
    if (handle == nullptr) {
        log(0, L"OnlineDgExW() failed , NULL opal_handle, error=(0x%x) ", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"OnlineDgExW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }

    std::uint32_t word = options;
    std::uint32_t early_status = FARLO_SUCCESS;
    const std::uint32_t refused = check_guid(entry, guid);
    const std::optional<std::uint32_t> result =
        refused != FARLO_SUCCESS
            ? refused
            : import_group({handle, name, guid, new_name, options}, word, early_status);
    if (!result) {
        return early_status;
    }
    const std::uint32_t status = status_if_still_connected(handle, *result);

    // The outcome ends in a blank, so that two stand before the status: kept,
    // administrators search for this wording.
    const wchar_t* outcome = status != 0 ? L"failed with res " : L"succeeded with res ";
    if ((word & FARLO_ONLINE_LOG_AS_OFFLINE) != 0) {
        log(0, L"OfflineDg %s %s 0x%x", name, outcome, status);
    } else {
        log(0, L"OnlineDg %s %s 0x%x", name, outcome, status);
    }
    log(2, L"Exiting OnlineDgExW");
    return status;
}

}  // namespace farlo
