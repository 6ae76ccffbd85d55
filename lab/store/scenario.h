// Scenarios: storage layouts in JSON (format: lab/scenarios/README.md).
#pragma once

#include "store/model.h"
#include "store/scenario_json.h"

#include <string>
#include <string_view>

namespace lab {

// The storage that a scenario describes. Throws ScenarioError.
Model build_scenario(std::string_view json);

// Adds what a scenario would have in an array of disk groups ("group"), of a group's disks
// ("disk") or volumes ("volume"), or of a volume's plexes ("plex"). Throws ScenarioError, or
// std::runtime_error if there is no such parent; nothing is added then.
void add_to_scenario(Model& model, const std::string& kind, const std::string& parent,
                     std::string_view json);

// The storage that a scenario file describes. Throws std::runtime_error with one
// line: "file:line: reason", or "file: reason" if the file cannot be read.
Model load_scenario(const wchar_t* path);

}  // namespace lab
