// Values of any type in a scenario: {"type": "UINT32", "value": 5}.
#pragma once

#include "model.h"
#include "scenario_json.h"

#include <string>

namespace lab {

// A text of a scenario in the ANSI code page. Throws ScenarioError, for the
// node's line, when it has characters that the code page lacks.
std::string narrow_text(const JsonNode& node, const std::string& utf8);

// Throws ScenarioError. Object ids are given by name ("null" for the null id)
// and looked up in the model.
Value read_value(const JsonNode& node, Model& model);

}  // namespace lab
