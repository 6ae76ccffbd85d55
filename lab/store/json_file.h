// JSON files that people write: scenarios and fault plans.
#pragma once

#include "scenario_json.h"

#include <functional>
#include <string>

namespace lab {

// Gives a file's text to `use`. Throws std::runtime_error with one line: "file:
// reason" when the file cannot be read, "file:line: reason" for a ScenarioError
// of `use`.
void use_json_file(const wchar_t* path, const std::function<void(const std::string& text)>& use);

}  // namespace lab
