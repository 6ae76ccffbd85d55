// The trace level of what is measured.
#pragma once

namespace bench {

// Gives the process a registry of its own in which the trace level is 0, whatever the
// node's says. To be called before the library is loaded.
void log_errors_only();

}  // namespace bench
