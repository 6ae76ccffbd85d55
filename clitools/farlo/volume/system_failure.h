// The system's last error as the status of a call that failed.
#pragma once

#include "api/farlo.h"

#include <windows.h>

#include <cstdint>

namespace farlo {

// Returns the status of a call that has failed: `error`, or FARLO_PROVIDER_FAILED if
// the system reports no error. Never FARLO_SUCCESS.
[[nodiscard]] constexpr std::uint32_t failure_of(DWORD error) {
    return error != ERROR_SUCCESS ? error : FARLO_PROVIDER_FAILED;
}

}  // namespace farlo
