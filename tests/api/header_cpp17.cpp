// farlo.h compiles on its own in C++17, and each pointer type matches its function.
#include "farlo.h"

#include <type_traits>

#define EXPORT(name)                                                                               \
    static_assert(std::is_same_v<name##_fn, decltype(&(name))>, #name "_fn is not its type");
#include "api/exports.inc"
