// The memory of connection handles, and the strict mode (lab_cmd.h, LabCmdStrict).
#pragma once

#include "ztcmd.h"

namespace lab {

bool is_strict();
bool set_strict(bool strict);  // returns the previous mode

// The record of a new handle, all 0. In strict mode it is on a page of its own, whose
// address is never used again. Throws std::bad_alloc.
opal_handle make_record();

// Releases a record that make_record returned. In strict mode any later access to its page
// ends the process. A page that is released while the mode is switched off stays accessible.
void release_record(opal_handle record);

// Whether a handle was released in strict mode.
bool was_released(opal_handle handle);

}  // namespace lab
