// Scenarios: storage layouts in JSON (format: lab/scenarios/README.md).
#pragma once

#include "store/model.h"
#include "store/scenario_json.h"

#include <string>
#include <string_view>

namespace lab {

// The storage that a scenario describes. Throws ScenarioError.
Model build_scenario(std::string_view json);

// The storage that a scenario file describes. Throws std::runtime_error with one
// line: "file:line: reason", or "file: reason" if the file cannot be read.
Model load_scenario(const wchar_t* path);

}  // namespace lab
