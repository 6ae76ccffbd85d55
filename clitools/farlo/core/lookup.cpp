#include "core/lookup.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "bus/status.h"
#include "core/connection.h"
#include "core/trace_log.h"

#include <cstring>
#include <cwchar>
#include <vector>

namespace farlo {
namespace {

constexpr int lookup_tries = 5;
constexpr DWORD lookup_pause_ms = 5000;

bool is_excluded(std::uint32_t type) {
    return type == ZTDGTYPE_EXCLUDED_0 || type == ZTDGTYPE_EXCLUDED_7;
}

// Queries all disk groups until there are some. Returns false if there never were.
bool query_groups(opal_handle handle, const wchar_t* sleeping, std::vector<CZtObject>& groups) {
    for (int attempt = 0; attempt < lookup_tries; ++attempt) {
        groups = objects_of_type(handle, ZTTYPE_DISK_GROUP);
        if (!groups.empty()) {
            return true;
        }
        log(6, sleeping);
        Sleep(lookup_pause_ms);
    }
    return false;
}

// Finds the first group that `matches` and checks whether its type is accepted. Skips a
// group whose type or key cannot be read.
template <class Matches, class Accepts>
std::uint32_t choose(const std::vector<CZtObject>& groups, CZtObject& group, Matches&& matches,
                     Accepts&& accepts) {
    for (const CZtObject& candidate : groups) {
        std::uint32_t type = 0;
        try {
            candidate.GetProp("LDM DG TYPE", type);
            if (!matches(candidate)) {
                continue;
            }
        } catch (std::uint32_t) {
            continue;
        }
        if (is_excluded(type) || !accepts(type)) {
            return FARLO_EXCLUDED_TYPE;
        }
        group.assign(candidate);
        return FARLO_SUCCESS;
    }
    return FARLO_NOT_FOUND;
}

}  // namespace

bool UseDgName(const wchar_t* name) {
    return name != nullptr && *name != L'\0';
}

bool UseDgGuid(const char* guid) {
    return guid != nullptr && *guid != '\0';
}

std::uint32_t GetClusSvcId(opal_handle handle, opal_objid& id) {
    std::vector<CZtObject> services;
    for (int attempt = 0; attempt < lookup_tries; ++attempt) {
        if (is_failure(CZtDatabase::GetObjects(connection_pair(handle), ZTTYPE_CLUSTER_SERVICE,
                                               services))) {
            return FARLO_NO_CLUSTER_SERVICE;
        }
        if (!services.empty()) {
            id = services.front().id();
            return FARLO_SUCCESS;
        }
        log(6, L"GetClusSvcId: Sleeping for 5 secs");
        Sleep(lookup_pause_ms);
    }
    return FARLO_NO_CLUSTER_SERVICE;
}

std::uint32_t GetDgObjIdByName(opal_handle handle, const wchar_t* name, CZtObject& group,
                               bool cluster_only) {
    std::vector<CZtObject> groups;
    if (!query_groups(handle, L"GetDgObjIdByName: Sleeping for 5 secs", groups)) {
        log(0, L"GetDgObjIdByName , Error , vecObjects.size () == 0 , error=(0x%x)",
            FARLO_NOT_FOUND);
        return FARLO_NOT_FOUND;
    }
    const std::uint32_t status = choose(
        groups, group,
        [name](const CZtObject& candidate) {
            WideString candidate_name;
            candidate.GetProp("Name", candidate_name);
            return _wcsicmp(candidate_name.c_str(), name) == 0;
        },
        [cluster_only](std::uint32_t type) { return !cluster_only || type == ZTDGTYPE_CLUSTER; });
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x%x)", status);
    }
    return status;
}

std::uint32_t GetDgObjIdByGuid(opal_handle handle, const char* guid, CZtObject& group,
                               bool cluster_only) {
    std::vector<CZtObject> groups;
    if (!query_groups(handle, L"GetDgObjIdByGuid: Sleeping for 5 secs", groups)) {
        log(0, L"GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x%x)",
            FARLO_NOT_FOUND);
        return FARLO_NOT_FOUND;
    }
    const std::uint32_t status = choose(
        groups, group,
        [guid](const CZtObject& candidate) {
            NarrowString candidate_guid;
            candidate.GetProp("dgid", candidate_guid);
            return _stricmp(candidate_guid.c_str(), guid) == 0;
        },
        [cluster_only](std::uint32_t type) {
            return !cluster_only || type == ZTDGTYPE_CLUSTER || type == ZTDGTYPE_CLUSTER_SHARED;
        });
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x%x)", status);
    }
    return status;
}

std::uint32_t GetDgObjId(opal_handle handle, const wchar_t* name, const char* guid,
                         CZtObject& group, bool cluster_only) {
    if (UseDgGuid(guid)) {
        return GetDgObjIdByGuid(handle, guid, group, cluster_only) == FARLO_SUCCESS
                   ? FARLO_SUCCESS
                   : FARLO_NOT_FOUND;
    }
    if (!UseDgName(name)) {
        return FARLO_MISSING_ARGUMENT;
    }
    return GetDgObjIdByName(handle, name, group, cluster_only) == FARLO_SUCCESS ? FARLO_SUCCESS
                                                                                : FARLO_NOT_FOUND;
}

}  // namespace farlo
