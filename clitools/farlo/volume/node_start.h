// Bringing the cluster volume manager up on this node, once on the machine.
#pragma once

#include <windows.h>

namespace farlo {

// Thread procedure; the argument is the opal_handle. Starts the cluster volume
// manager unless it runs or somebody else on the machine is starting it, and
// waits, without a limit, until the node reports a role or a failure. The exit
// code is the status: 0 it runs; 0xc1000001 no misc object, or the node reports
// a failure; 18 no mutex, or the node's properties cannot be read; else the
// status of StartCVMClusterW. Signals the start token on its way out, whether
// or not it took it.
DWORD WINAPI CVMClusterStart(void* handle);

}  // namespace farlo
