// What labctl prints for people.
#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace lab {

// Each takes the result of the control request "status", or of "faults".
std::string show_status(const nlohmann::ordered_json& status, const std::string& address);
std::string show_node(const nlohmann::ordered_json& status);
std::string show_clients(const nlohmann::ordered_json& status);
// The objects of a kind: "group", "disk", "volume", "plex".
std::string show_objects(const nlohmann::ordered_json& status, const std::string& kind);
std::string show_faults(const nlohmann::ordered_json& faults);

// The same objects as a JSON array; each has the "id" of its "group", a plex also of its
// "volume".
nlohmann::ordered_json objects_of(const nlohmann::ordered_json& status, const std::string& kind);

}  // namespace lab
