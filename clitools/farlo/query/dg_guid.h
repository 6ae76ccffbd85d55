// Finding a disk group's GUID string by its name.
#pragma once

#include "core/guid_string.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Writes the GUID string of a named group into a buffer of guid_string_capacity
// characters. With `cluster_only`, only a cluster group is found. If the group is
// not found, rescans the machine's disks and looks again, and then asks the
// cluster-service object. Blocks up to five minutes while another process rescans.
[[nodiscard]] std::uint32_t GetDgGuidCommon(opal_handle handle, const wchar_t* name, char* guid,
                                            bool cluster_only);

// The same for an imported group of any kind, read from the group itself. Returns
// 1 when the group is not imported.
[[nodiscard]] std::uint32_t GetDgGuidfromOpal(opal_handle handle, const wchar_t* name, char* guid);

// Asks the service to look for new disks. The second argument is not used.
[[nodiscard]] std::uint32_t PerformPnpDiskRescan(opal_handle handle, const void* unused);

// Provides the GUID string that the service's methods take: a copy of `guid` if it
// is given, which must have passed check_guid (core/caller_string.h), else that of
// the named group, found as GetDgGuidCommon does. Returns 17 when out of memory and
// 19 when neither is given. On failure `string` holds no buffer.
[[nodiscard]] std::uint32_t SetDgGuidParam(GuidString& string, const char* guid,
                                           const wchar_t* name, opal_handle handle,
                                           bool cluster_only);

}  // namespace farlo
