// The trace level during a measurement.
#pragma once

namespace bench {

// Gives the process a registry of its own in which the trace level is 0. Must be called before
// the library is loaded.
void log_errors_only();

}  // namespace bench
