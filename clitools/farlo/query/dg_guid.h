// Finding a disk group's GUID text by its name.
#pragma once

#include "guid_text.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Writes the GUID text of a named group into a buffer of guid_text_capacity
// characters. With `cluster` set only a cluster group counts. A group that is
// not found is looked for again after a rescan of the machine's disks, and then
// asked of the cluster-service object.
std::uint32_t GetDgGuidCommon(opal_handle handle, const wchar_t* name, char* guid, bool cluster);

// The same for an imported group of any kind, read from the group itself: 1
// when the group is not imported.
std::uint32_t GetDgGuidfromOpal(opal_handle handle, const wchar_t* name, char* guid);

// Asks the service to look for disks that appeared. The second argument is not
// used. Callers ignore the status.
std::uint32_t PerformPnpDiskRescan(opal_handle handle, const void* unused);

// The GUID text that a method of the service takes: a copy of the caller's when
// there is one, else that of the named group, found as GetDgGuidCommon does. On
// failure `text` holds no buffer. 17 out of memory, 19 when neither is given.
// The caller's must have passed check_guid (core/caller_string.h).
std::uint32_t SetDgGuidParam(GuidText& text, const char* guid, const wchar_t* name,
                             opal_handle handle, bool cluster);

}  // namespace farlo
