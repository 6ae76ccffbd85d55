// Levels at which the class layer and the provider runtime trace through
// ZtTrace, the bus library's own trace.
#pragma once

#include <cstdint>

namespace farlo {

inline constexpr std::uint32_t trace_level_failure = 4;  // a bus call failed
inline constexpr std::uint32_t trace_level_warning = 5;  // a query failed
inline constexpr std::uint32_t trace_level_type = 6;     // a property has another type
inline constexpr std::uint32_t trace_level_runtime = 6;  // provider start and shutdown

}  // namespace farlo
