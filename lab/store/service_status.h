// Statuses that the lab's service returns in addition to those of ztservice.h. The
// facility is 0x515 and bit 31 is set: all are failures.
#pragma once

#include "ztbus3.h"

namespace lab {

inline constexpr opal_status status_no_such_group = 0xe5150101;
inline constexpr opal_status status_not_imported = 0xe5150102;
inline constexpr opal_status status_no_such_volume = 0xe5150103;
inline constexpr opal_status status_missing_parameter = 0xe5150104;  // or one of another type
inline constexpr opal_status status_name_taken = 0xe5150105;
inline constexpr opal_status status_no_identifier = 0xe5150106;  // the object has no identifier
inline constexpr opal_status status_node_not_running = 0xe5150107;
inline constexpr opal_status status_volume_broken = 0xe5150108;  // cannot go online
inline constexpr opal_status status_no_drive_letter = 0xe5150109;
inline constexpr opal_status status_reservation_conflict = 0xe515010a;  // another node holds it
inline constexpr opal_status status_not_reserved = 0xe515010b;          // not by this node
inline constexpr opal_status status_node_busy = 0xe515010c;             // starting or stopping
inline constexpr opal_status status_no_node = 0xe515010d;               // no misc object

}  // namespace lab
