#include "sweep/description.h"

#include "farlo.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <map>
#include <set>
#include <stdexcept>
#include <string_view>

namespace sweep {
namespace {

using nlohmann::json;

struct Statuses {
    std::set<std::uint32_t> own;
    bool service = false;
    bool system = false;
};

Statuses statuses_of(const json& function) {
    Statuses found;
    for (const json& status : function.at("statuses")) {
        found.own.insert(status.at("value").get<std::uint32_t>());
    }
    for (const json& other : function.at("passed_through")) {
        const auto from = other.at("from").get<std::string>();
        // The driver's are listed by their names. The command library returns the bus's.
        if (from == "the service's" || from == "the command library's") {
            found.service = true;
        } else if (std::string_view(from).substr(0, 18) == "the system's error") {
            found.system = true;
        } else if (from != "the driver's") {
            throw std::runtime_error("farlo.json: whose statuses are these? " + from);
        }
    }
    return found;
}

std::map<std::string, Statuses> read_description() {
    std::ifstream file(FARLO_DESCRIPTION);
    const json description = json::parse(file);
    std::map<std::string, Statuses> found;
    for (const json& function : description.at("functions")) {
        found[function.at("name").get<std::string>()] = statuses_of(function);
    }
    return found;
}

}  // namespace

bool is_listed(const std::string& export_name, std::uint32_t status) {
    static const std::map<std::string, Statuses> description = read_description();
    const Statuses& statuses = description.at(export_name);
    const std::uint32_t facility = (status >> 16) & 0xFFF;
    const bool is_service = status >= 0x10000 && facility != 0x007;
    const bool is_system = status < 0x4000 || facility == 0x007;
    return status == FARLO_EXCEPTION || statuses.own.count(status) != 0 ||
           (statuses.service && is_service) || (statuses.system && is_system);
}

}  // namespace sweep
