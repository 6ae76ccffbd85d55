// The keys of a scenario that can be changed later, by kind of object.
#pragma once

#include "store/model.h"

#include <string>
#include <utility>
#include <vector>

namespace lab {

// Sets values of the object of a kind ("group", "disk", "volume", "plex") with a name in the
// scenario, or of the node ("node", without a name). Values are strings: "true", "0x20". Throws
// std::runtime_error with one line; nothing is changed then.
using KeyValues = std::vector<std::pair<std::string, std::string>>;
void set_scenario_keys(Model& model, const std::string& kind, const std::string& name,
                       const KeyValues& values);

// Returns the object, or throws std::runtime_error.
Object& scenario_object(Model& model, const std::string& kind, const std::string& name);

}  // namespace lab
