// The states of a volume's plexes.
#pragma once

#include "api/farlo.h"
#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// farlo.h, GetDgVolPlexStates.
[[nodiscard]] std::uint32_t GetDgVolPlexStatesW(opal_handle handle, const wchar_t* name,
                                                const char* guid, const wchar_t* device,
                                                std::uint32_t* count, farlo_plex_state* plexes);

}  // namespace farlo
