// Finding volumes by the names that an agent knows.
#pragma once

#include "object.h"
#include "ztcmd.h"

namespace farlo {

// Asks the service for the volume of a device name. False, and `volume` as it
// was, when there is none, the query failed or the name does not fit into one.
bool FindVolObjByDevName(opal_handle handle, const wchar_t* device, CZtObject& volume);

// The first volume whose "Name", "DEVICE NAME" or "DRIVE LETTER" is `name`,
// compared without regard to case. False, and `volume` as it was, when there is
// none.
bool FindVolIdByDLorDevName(opal_handle handle, CZtObject& volume, const wchar_t* name);

}  // namespace farlo
