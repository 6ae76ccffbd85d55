// Finding the service objects that operations act on.
#pragma once

#include "bus/database.h"
#include "bus/object.h"
#include "core/connection.h"
#include "ztcmd.h"

#include <cstdint>
#include <tuple>
#include <vector>

namespace farlo {

// Whether a caller gave a disk-group name or a GUID string: neither NULL nor empty.
[[nodiscard]] bool UseDgName(const wchar_t* name);
[[nodiscard]] bool UseDgGuid(const char* guid);

// All objects of a type, in the service's order. None if the query fails; the class
// layer traces that.
[[nodiscard]] inline std::vector<CZtObject> objects_of_type(opal_handle handle, const char* type) {
    std::vector<CZtObject> objects;
    std::ignore = CZtDatabase::GetObjects(connection_pair(handle), type, objects);
    return objects;
}

// Stores the id of the cluster-service object. Returns 0, or 41 when there is no such
// object after five tries, 5 s apart.
[[nodiscard]] std::uint32_t GetClusSvcId(opal_handle handle, opal_objid& id);

// Finds a disk group by its name or GUID string, ignoring case. Returns 0, 1 when
// there is no such group, or 40 when its "LDM DG TYPE" excludes it. Types 0 and 7
// are always excluded. With `cluster_only`, a name finds only groups of type 2, a
// GUID only types 2 and 8. Tries five times, 5 s apart, while the service knows no
// group at all. On failure `group` is unchanged.
[[nodiscard]] std::uint32_t GetDgObjIdByName(opal_handle handle, const wchar_t* name,
                                             CZtObject& group, bool cluster_only);
[[nodiscard]] std::uint32_t GetDgObjIdByGuid(opal_handle handle, const char* guid, CZtObject& group,
                                             bool cluster_only);

// Finds by GUID when one is given, else by name. Returns 0, 19 when neither is
// given, or 1 for every failed lookup.
[[nodiscard]] std::uint32_t GetDgObjId(opal_handle handle, const wchar_t* name, const char* guid,
                                       CZtObject& group, bool cluster_only);

}  // namespace farlo
