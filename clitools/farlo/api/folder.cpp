// Exported entries: clean-up of virtual-machine folders.
#include "api/farlo.h"
#include "core/guarded.h"
#include "volume/vmms_check.h"
#include "volume/vmms_folder.h"

using farlo::guarded;

extern "C" {

uint32_t CheckOSVersionAndReg(void) {
    return guarded([] { return farlo::CheckOSVersionAndReg(); });
}

uint32_t DeleteVMMSFolder(const wchar_t* folder) {
    return guarded([&] { return farlo::DeleteVMMSFolder(folder); });
}

}  // extern "C"
