// The storage of a service as JSON.
#pragma once

#include "store/model.h"

#include <nlohmann/json.hpp>

namespace lab {

// {"node": {...}, "groups": [{..., "disks": [...], "volumes": [{..., "plexes": [...]}]}]} with
// the keys of a scenario (lab/scenarios/README.md) and the "id" of each object.
nlohmann::ordered_json storage_json(Model& model);

}  // namespace lab
