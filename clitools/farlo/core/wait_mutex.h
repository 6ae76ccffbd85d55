// Waiting for a named mutex.
#pragma once

#include <windows.h>

#include <cstdint>

namespace farlo {

// 1 when the mutex was obtained within `timeout_ms`, else 0. An abandoned mutex
// counts as not obtained.
std::uint32_t WaitForMutex(HANDLE mutex, std::uint32_t timeout_ms);

}  // namespace farlo
