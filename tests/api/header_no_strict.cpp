// farlo.h with the loose types of windows.h.
#define NO_STRICT
#include "farlo.h"

#include <windows.h>

#include <type_traits>

static_assert(std::is_same_v<HMODULE, void*>);
static_assert(std::is_same_v<farlo_module, HMODULE>);
