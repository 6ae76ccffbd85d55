// Exported entries: the fast-failover flag, the cluster service's state and the
// cluster node. ClusterServiceStateA is ClusterServiceStateW itself (farlo.def).
#include "api/farlo.h"
#include "core/guarded.h"
#include "diskgroup/cluster_service_state.h"
#include "diskgroup/fast_failover.h"
#include "volume/node.h"

using farlo::guarded;

extern "C" {

uint32_t SetFastFailoverFlagW(opal_handle handle, const wchar_t* name, const char* guid,
                              uint32_t flag) {
    return guarded([&] { return farlo::SetFastFailoverFlagW(handle, name, guid, flag); });
}

uint32_t ClusterServiceStateW(opal_handle handle, uint32_t state) {
    return guarded([&] { return farlo::ClusterServiceStateW(handle, state); });
}

uint32_t StartCVMClusterW(opal_handle handle) {
    return guarded([&] { return farlo::StartCVMClusterW(handle); });
}

uint32_t StopCVMClusterW(opal_handle handle) {
    return guarded([&] { return farlo::StopCVMClusterW(handle); });
}

uint32_t GetCVMClusterNodeStateW(opal_handle handle, uint32_t* state) {
    return guarded([&] { return farlo::GetCVMClusterNodeStateW(handle, state); });
}

}  // extern "C"
