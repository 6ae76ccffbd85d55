// The record that an opal_propset points to.
#pragma once

#include "store/value.h"
#include "ztbus3.h"

struct opal_propset_s {
    static constexpr std::uint64_t alive = 0x7465737072707a6c;

    std::uint64_t magic = alive;
    std::uint32_t number = 0;  // in the recorder; 0 until the recorder names the set
    lab::PropertySet properties;
    std::size_t walk = 0;  // index of the iteration's next property
};

namespace lab {

// Creates a set and counts it.
opal_propset new_propset(PropertySet properties);
// Destroys a set. Returns false for NULL and for an invalid set.
bool delete_propset(opal_propset set);
bool is_propset(opal_propset set);
// Numbers sets from 1 again.
void restart_set_numbers();

}  // namespace lab
