// Waiting for a named mutex.
#pragma once

#include <windows.h>

#include <cstdint>

namespace farlo {

// Returns 1 when the mutex was obtained within `timeout_ms`, else 0. An abandoned mutex
// is released at once and counts as not obtained: the calling thread owns the mutex
// only on 1.
[[nodiscard]] std::uint32_t WaitForMutex(HANDLE mutex, std::uint32_t timeout_ms);

}  // namespace farlo
