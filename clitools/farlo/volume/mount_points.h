// The access paths of a volume: its drive letters and the folders of other
// volumes in which it is mounted.
#pragma once

#include "ztcmd.h"

#include <cstddef>
#include <cstdint>

namespace farlo {

// Characters of the mount-point text of a volume record, the terminator
// included.
inline constexpr std::size_t mount_text_capacity = 261;

// Appends the access paths of a volume to a text of mount_text_capacity
// characters; what does not fit is cut off. A holder that holds itself, through
// whichever others, is followed once, and no chain of holders further than a
// text could tell of it: what was gathered stays. 0, or the status of a call
// that failed, the last nested volume's included.
[[nodiscard]] std::uint32_t GetMountPoints(opal_handle handle, wchar_t* text,
                                           const opal_objid& volume);

// The letter that the system's mount manager gave a volume, without a colon,
// into a text of `capacity` characters. On failure, which is normal for a
// volume without a letter, the text stays as it was.
[[nodiscard]] std::uint32_t GetDriveLetterFromMntMgr(opal_handle handle, wchar_t* letter,
                                                     std::size_t capacity,
                                                     const opal_objid& volume);

}  // namespace farlo
