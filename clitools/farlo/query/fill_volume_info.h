// The record of one volume.
#pragma once

#include "farlo.h"
#include "object.h"
#include "ztcmd.h"

namespace farlo {

// Writes what can be read of a volume, and reports nothing. The mount points and
// the drive letter are always written, though they may be empty.
void FillVolInfo(opal_handle handle, const CZtObject& volume, VolInfo& record);

// The light form: device name, drive letter, type and size. The drive letter is
// asked of the system's mount-point manager and always written.
void FillDgVolInfo(const CZtObject& volume, VolInfo& record);

}  // namespace farlo
