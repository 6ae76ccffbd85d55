// The record of one volume.
#pragma once

#include "api/farlo.h"
#include "bus/object.h"
#include "ztcmd.h"

namespace farlo {

// Writes what can be read of a volume; reports no errors. Always writes the mount
// points and the drive letter, which may be empty.
void FillVolInfo(opal_handle handle, const CZtObject& volume, VolInfo& record);

// The light form: device name, drive letter, type and size. Always writes the drive
// letter, which it asks the system's mount-point manager for.
void FillDgVolInfo(const CZtObject& volume, VolInfo& record);

}  // namespace farlo
