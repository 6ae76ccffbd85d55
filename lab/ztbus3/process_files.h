// The files by which the environment steers the bus in this process: ZTLAB_FAULTS and
// ZTLAB_RECORD (docs/lab.md).
#pragma once

#include "store/fault_plan.h"

namespace lab {

// Reads the fault plan if its file has changed since the last call, and opens the record. Throws
// std::exception with one line; a plan with an error is not used.
void use_process_files(const FaultScope& scope);

}  // namespace lab
