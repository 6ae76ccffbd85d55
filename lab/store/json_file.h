// JSON files that people write: scenarios and fault plans.
#pragma once

#include "store/scenario_json.h"

#include <functional>
#include <string>

namespace lab {

// Calls `use` with the contents of a file. Throws std::runtime_error with one
// line: "file: reason" if the file cannot be read, "file:line: reason" if `use`
// throws a ScenarioError.
void use_json_file(const wchar_t* path, const std::function<void(const std::string& json)>& use);

}  // namespace lab
