// Values of any type in a scenario: {"type": "UINT32", "value": 5}.
#pragma once

#include "scenario_json.h"
#include "store.h"

#include <string>

namespace lab {

// UTF-8 to UTF-16.
std::wstring widen(const std::string& text);

// Throws ScenarioError. Object ids are given by name ("null" for the null id)
// and looked up in the model.
Value read_value(const JsonNode& node, Model& model);

}  // namespace lab
