// Between the lab's values and the records of the bus's C interface.
#pragma once

#include "value.h"
#include "ztbus3.h"

#include <string>

namespace lab {

// Fills a record with a copy of a value, freed by free_property. Counted.
void hand_out(const std::string& name, const Value& value, opal_property& property);

// As hand_out, but the text is followed by characters instead of a terminator
// and the size leaves the terminator out.
void hand_out_unterminated(const std::string& name, const Value& value, opal_property& property);

// Frees what hand_out made, whatever became of the record's other fields since,
// and clears the record. False for a record that hand_out did not make.
bool free_property(opal_property& property);

// Reads a client's record. False when it is none: an unknown type, a size that
// does not hold what type and count say, a text without terminator.
bool take_in(const opal_property& property, Property& result);

}  // namespace lab
