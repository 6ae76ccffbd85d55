// Values of any type in a scenario: {"type": "UINT32", "value": 5}.
#pragma once

#include "store/model.h"
#include "store/scenario_json.h"

#include <string>

namespace lab {

// Converts a string of a scenario to the ANSI code page. Throws ScenarioError with
// the node's line if the code page lacks one of its characters.
std::string narrow_string(const JsonNode& node, const std::string& utf8);

// Throws ScenarioError. Object ids are written as names, which are looked up in
// the model; "null" is the null id.
Value read_value(const JsonNode& node, Model& model);

}  // namespace lab
