// Exported entries: connection handles and alerts. ValidateClusterA and
// InitializeClusterW are ValidateClusterW itself (farlo.def).
#include "api/farlo.h"
#include "core/guarded.h"
#include "core/validate.h"
#include "diskgroup/alerts.h"

using farlo::guarded;

extern "C" {

uint32_t ValidateClusterW(opal_handle* slot) {
    return guarded([&] { return farlo::ValidateClusterW(slot); });
}

// The name is ignored; old agents pass one.
uint32_t InitializeClusterA(const char* /*name*/, uintptr_t /*reserved*/, opal_handle* slot) {
    return ValidateClusterW(slot);
}

uint32_t UnInitializeClusterW(opal_handle handle) {
    return guarded([&] { return farlo::UnInitializeClusterW(handle); });
}

uint32_t UnInitializeClusterA(opal_handle handle) {
    return UnInitializeClusterW(handle);
}

uint32_t RegisterForAlerts(opal_handle handle, farlo_reset_timeout callback) {
    return guarded([&] { return farlo::RegisterForAlerts(handle, callback); });
}

}  // extern "C"
