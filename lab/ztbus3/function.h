// Counts of the calls of each function of the bus.
#pragma once

#include "store/bus_function.h"

namespace lab {

void count_call(Function function);

}  // namespace lab
