// What farlo.json, the description of farlo.h for programs, says about statuses.
#pragma once

#include <cstdint>
#include <string>

namespace sweep {

// Whether the description lists that status for the export, among its own or among those that
// it passes through. FARLO_EXCEPTION, for a lack of memory, is any export's.
bool is_listed(const std::string& export_name, std::uint32_t status);

}  // namespace sweep
