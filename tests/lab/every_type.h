// One value of every type of property: as a scenario gives it, as the bus hands
// it out, and as the recorder writes it.
#pragma once

#include "ztbus3.h"

#include <functional>
#include <string>
#include <vector>

namespace lab_tests {

struct TypeCase {
    std::string type;  // without TYPE_
    std::uint32_t tag;
    std::string json;
    std::string recorded;
    std::uint32_t count;
    std::uint32_t size;
    std::function<void(const void* value)> expect_value;
};

const std::vector<TypeCase>& every_type();

// A scenario with the object "o" that has that value as its property "p".
std::string scenario_with(const TypeCase& type);

}  // namespace lab_tests
