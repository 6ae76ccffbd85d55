// One value of every property type: in a scenario, from the bus, and in the
// recorder.
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

// Returns a scenario with an object "o" whose property "p" has the value.
std::string scenario_with(const TypeCase& type);

}  // namespace lab_tests
