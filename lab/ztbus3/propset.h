// The record behind an opal_propset.
#pragma once

#include "value.h"
#include "ztbus3.h"

struct opal_propset_s {
    static constexpr std::uint64_t alive = 0x7465737072707a6c;

    std::uint64_t magic = alive;
    std::uint32_t number = 0;  // as the recorder names it; 0 until it does
    lab::PropertySet properties;
    std::size_t walk = 0;  // index of the next property of the walk
};

namespace lab {

// Makes a set, counted.
opal_propset new_propset(PropertySet properties);
// Destroys it. False for NULL, and for what is no set.
bool delete_propset(opal_propset set);
bool is_propset(opal_propset set);
// The next set is number 1 again.
void restart_set_numbers();

}  // namespace lab
