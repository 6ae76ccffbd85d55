// The access paths of a volume: its drive letters and the folders of other
// volumes in which it is mounted.
#pragma once

#include "ztcmd.h"

#include <cstddef>
#include <cstdint>

namespace farlo {

// The size of a volume record's mount points in characters, including the terminator.
inline constexpr std::size_t mount_string_capacity = 261;

// Appends the access paths of a volume to a string of mount_string_capacity characters
// and cuts off what does not fit. Follows nested holders once each, and no deeper than
// paths could fit. Returns 0, or the status of a call that failed, including that of
// the last nested volume.
[[nodiscard]] std::uint32_t GetMountPoints(opal_handle handle, wchar_t* string,
                                           const opal_objid& volume);

// Stores the letter that the system's mount manager gave a volume, without a colon, in
// a string of `capacity` characters. On failure, which is normal for a volume without a
// letter, the string is unchanged.
[[nodiscard]] std::uint32_t GetDriveLetterFromMntMgr(opal_handle handle, wchar_t* letter,
                                                     std::size_t capacity,
                                                     const opal_objid& volume);

}  // namespace farlo
