#include "diskgroup/online.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/caller_string.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/lookup.h"
#include "core/method.h"
#include "core/read_property.h"
#include "core/trace_log.h"
#include "query/dg_guid.h"

#include <cwchar>
#include <optional>
#include <vector>

namespace farlo {
namespace {

// Bits that the library adds to the caller's options.
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

// Whether an imported group has the name. Skips a group whose name cannot be read;
// throws when "imported" cannot be read.
bool is_imported_under(const std::vector<CZtObject>& groups, const wchar_t* name) {
    for (const CZtObject& group : groups) {
        WideString group_name;
        if (!try_read_or_throw(group, "Name", group_name)) {
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

// What an import is sent with.
struct Target {
    GuidString guid;
    CZtObject group;  // the null object unless the caller's options ask for a shared group
    opal_objid service{};
};

std::uint32_t find_target(const Request& request, Target& target) {
    const bool cluster_only = (request.options & FARLO_ONLINE_SHARED) == 0;
    std::uint32_t status =
        SetDgGuidParam(target.guid, request.guid, request.name, request.handle, cluster_only);
    if (status != FARLO_SUCCESS) {
        log(0, L"OnlineDgExW():SetDgGuidParam() failed, error=(0x%x) ", status);
        return status;
    }
    if (!cluster_only) {
        status = GetDgObjIdByGuid(request.handle, target.guid.get(), target.group, cluster_only);
        if (status != FARLO_SUCCESS) {
            log(0, L"OnlineDgExW():GetDgObjIdByGuid() failed, error=(0x%x) ", status);
            return status;
        }
    }
    status = GetClusSvcId(request.handle, target.service);
    if (status != FARLO_SUCCESS) {
        log(0, L"OnlineDgExW():GetClusSvcId() failed, error=(0x%x) ", status);
    }
    return status;
}

bool checks_name(std::uint32_t options) {
    return (options & FARLO_ONLINE_NO_NAME_CHECK) == 0;
}

// Returns all disk groups, or nothing when the query threw.
std::optional<std::vector<CZtObject>> query_groups(opal_handle handle) {
    try {
        return objects_of_type(handle, ZTTYPE_DISK_GROUP);
    } catch (...) {
        return std::nullopt;
    }
}

// The option bits that are sent.
std::uint32_t sent_bits(std::uint32_t options) {
    const bool cluster_shared = (options & FARLO_ONLINE_CLUSTER_SHARED) != 0;
    return options | always_bit | (checks_name(options) ? check_name_bit : 0) |
           (cluster_shared ? cluster_shared_bits : not_cluster_shared_bits);
}

// Adds the parameters that follow the group's name.
void add_parameters(CZtPropertySet& input, const Request& request, const char* guid,
                    std::uint32_t option_bits) {
    input.AddProp("Dgguid", guid);
    input.AddProp("dgid", guid);
    input.AddProp("Newdgname", request.new_name);
    // KEPT: "newname" is the present name, which ImportDgW sends beside a new one only.
    input.AddProp("newname", request.name);
    input.AddProperty(CZtProperty("Opflag", option_bits));
    input.AddProperty(CZtProperty("OnlineFlag", option_bits));
    if ((option_bits & FARLO_ONLINE_CLEAR_HOST_ID) != 0) {
        input.AddProperty(CZtProperty("clearhostid", true));
    }
}

// Sends the import to the service and returns its status. `input` holds the group's
// name. From here on the option bits decide, not the caller's options: the bits of a
// cluster-shared import include all others except 0x2.
std::uint32_t send_import(const Request& request, const Target& target, CZtPropertySet& input,
                          std::uint32_t option_bits) {
    add_parameters(input, request, target.guid.get(), option_bits);
    OutputPropertySet output;
    const opal_objid* object = &target.service;
    if ((option_bits & FARLO_ONLINE_SHARED) != 0) {
        input.AddProperty(CZtProperty("shared", false));
        if ((option_bits & FARLO_ONLINE_CLUSTER_SHARED) != 0) {
            input.AddProperty(CZtProperty("clustershared", true));
        }
        object = &target.group.id();
    }
    const std::uint32_t status =
        CsfInvoke(request.handle->connection, *object, DGOP_IMPORT, input, output);
    if (output && status != 0) {
        log(4, L"OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0x%x.", status);
    }
    return status;
}

void log_call(const wchar_t* name, std::uint32_t options) {
    if ((options & FARLO_ONLINE_LOG_AS_OFFLINE) != 0) {
        log(0, L"OfflineDg %s is called with flag 0x%x", name, options);
    } else {
        log(0, L"OnlineDg %s is called with flag 0x%x", name, options);
    }
}

void log_outcome(const wchar_t* name, std::uint32_t option_bits, std::uint32_t status) {
    // KEPT: the outcome ends in a blank, so that there are two before the status;
    // administrators search for this wording.
    const wchar_t* outcome = status != 0 ? L"failed with res " : L"succeeded with res ";
    if ((option_bits & FARLO_ONLINE_LOG_AS_OFFLINE) != 0) {
        log(0, L"OfflineDg %s %s 0x%x", name, outcome, status);
    } else {
        log(0, L"OnlineDg %s %s 0x%x", name, outcome, status);
    }
}

}  // namespace

std::uint32_t OnlineDgExW(opal_handle handle, const wchar_t* name, const char* guid,
                          const wchar_t* new_name, std::uint32_t options,
                          std::uint32_t /*reserved*/, const wchar_t* entry) {
    log_call(name, options);
    if (handle == nullptr) {
        log(0, L"OnlineDgExW() failed , NULL opal_handle, error=(0x%x) ", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"OnlineDgExW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }

    const Request request{handle, name, guid, new_name, options};
    Target target;
    std::uint32_t status = check_guid(entry, guid);
    if (status == FARLO_SUCCESS) {
        status = find_target(request, target);
    }
    if (status == FARLO_SUCCESS && checks_name(options)) {
        // KEPT: both returns below log no outcome.
        const std::optional<std::vector<CZtObject>> groups = query_groups(handle);
        if (!groups) {
            return FARLO_SUCCESS;  // KEPT: agents have always received success here
        }
        status = guarded([&] {
            return is_imported_under(*groups, name) ? FARLO_ALREADY_IMPORTED : FARLO_SUCCESS;
        });
        if (status == FARLO_ALREADY_IMPORTED) {
            return status;
        }
    }
    std::uint32_t option_bits = options;
    if (status == FARLO_SUCCESS) {
        status = guarded([&] {
            CZtTempPropertySet input;
            input.AddProp("Name", name);
            // KEPT: after the name is added, the outcome of every cluster-shared import
            // is logged as "OfflineDg", because its bits include that one.
            option_bits = sent_bits(options);
            return send_import(request, target, input, option_bits);
        });
    }
    status = status_if_still_connected(handle, status);
    log_outcome(name, option_bits, status);
    log(2, L"Exiting OnlineDgExW");
    return status;
}

}  // namespace farlo
