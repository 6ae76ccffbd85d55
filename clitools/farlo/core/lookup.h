// Finding the service objects that operations act on.
#pragma once

#include "object.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Whether a caller gave a disk-group name, or a GUID text: not NULL, not empty.
bool UseDgName(const wchar_t* name);
bool UseDgGuid(const char* guid);

// The id of the cluster-service object: 0, or 41 when there is none after five
// tries, 5 s apart.
std::uint32_t GetClusSvcId(opal_handle handle, opal_objid& id);

// Finds a disk group by its name or GUID string, ignoring case. Returns 0, 1 when
// there is no such group, or 40 when its "LDM DG TYPE" excludes it. Types 0 and 7
// are always excluded. With `cluster_only`, a name finds only groups of type 2, a
// GUID only types 2 and 8. Tries five times, 5 s apart, while the service knows no
// group at all. On failure `group` is unchanged.
std::uint32_t GetDgObjIdByName(opal_handle handle, const wchar_t* name, CZtObject& group,
                               bool cluster_only);
std::uint32_t GetDgObjIdByGuid(opal_handle handle, const char* guid, CZtObject& group,
                               bool cluster_only);

// Finds by GUID when one is given, else by name. Returns 0, 19 when neither is
// given, or 1 for every failed lookup.
std::uint32_t GetDgObjId(opal_handle handle, const wchar_t* name, const char* guid,
                         CZtObject& group, bool cluster_only);

}  // namespace farlo
