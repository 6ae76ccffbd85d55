// Converts between the lab's values and the records of the bus's C interface.
#pragma once

#include "store/value.h"
#include "ztbus3.h"

#include <string>

namespace lab {

// Fills a record with a copy of a value, to be freed with free_property. Counts it.
void hand_out(const std::string& name, const Value& value, opal_property& property);

// Like hand_out, but without the terminator: the string is followed by other
// characters, and the size does not include one.
void hand_out_unterminated(const std::string& name, const Value& value, opal_property& property);

// Frees what hand_out allocated, even if other fields of the record were changed,
// and clears the record. Returns false if hand_out did not fill the record.
bool free_property(opal_property& property);

// Reads a client's record. Returns false if it is invalid: its type is unknown,
// its size does not fit type and count, or a string has no terminator.
bool take_in(const opal_property& property, Property& result);

}  // namespace lab
