// farlo.h compiles on its own in C++17; each pointer type is its function's, and farlo_api has a
// pointer of this type for each function.
#include "farlo.h"

// Checks that this is the same declaration of GetProcAddress, and the same HMODULE.
#include <windows.h>

#include <type_traits>

#define EXPORT(name)                                                                               \
    static_assert(std::is_same_v<name##_fn, decltype(&(name))>, #name "_fn is not its type");      \
    static_assert(std::is_same_v<name##_fn, decltype(farlo_api::name)>, "farlo_api::" #name);
#include "api/exports.inc"

static_assert(std::is_same_v<farlo_module, HMODULE>);
