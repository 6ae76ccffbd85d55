// The line on stderr that says why a connection was refused.
#pragma once

#include <string>

namespace lab {

// Writes "ztbus3: connection refused: REASON" to stderr, unless the last line said the same:
// clients try again and again.
void report_refusal(const std::string& reason);

}  // namespace lab
