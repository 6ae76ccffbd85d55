// Bringing the cluster volume manager up on this node, once on the machine.
#pragma once

#include <windows.h>

namespace farlo {

// Thread procedure; the argument is the opal_handle. Starts the cluster volume manager,
// unless it is running or another caller on the machine is starting it, and waits,
// without a limit, until the node reports a role or a failure. Signals the start token
// at the end, whether or not it took it.
//
// The exit code is a status: FARLO_SUCCESS if the cluster is running,
// FARLO_PROVIDER_FAILED if there is no misc object or the node reports a failure,
// FARLO_EXCEPTION if there is no mutex or the node's properties cannot be read, else the
// status of StartCVMClusterW.
DWORD WINAPI CVMClusterStart(void* handle);

}  // namespace farlo
