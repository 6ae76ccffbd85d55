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

// A disk group by its name or by its GUID text, compared without regard to
// case: 0, 1 when there is none, 40 when its "LDM DG TYPE" excludes it. Types 0
// and 7 always are excluded. With `flag` set, only type 2 is accepted by name,
// only types 2 and 8 by GUID. While the service knows no group at all there are
// five tries, 5 s apart. On failure `group` stays as it was.
std::uint32_t GetDgObjIdByName(opal_handle handle, const wchar_t* name, CZtObject& group,
                               bool flag);
std::uint32_t GetDgObjIdByGuid(opal_handle handle, const char* guid, CZtObject& group, bool flag);

// By GUID when one is given, else by name: 0, 19 when neither is given, 1 for
// every failed lookup.
std::uint32_t GetDgObjId(opal_handle handle, const wchar_t* name, const char* guid,
                         CZtObject& group, bool flag);

}  // namespace farlo
