#include "ztsvc/control.h"

#include "store/disk_state_bits.h"
#include "store/group_reservation.h"
#include "store/scenario.h"
#include "store/scenario_keys.h"
#include "store/scenario_members.h"
#include "store/string_conversions.h"
#include "ztsvc/storage_json.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <stdexcept>

namespace lab {
namespace {

using Json = nlohmann::ordered_json;

Json show_status(ServiceParts& parts, Members& /*request*/) {
    Json status;
    parts.store.change([&](Model& model) { status = storage_json(model); });
    status["driver"] = parts.kernel.has_driver();
    status["recording"] = parts.recorder.is_on();
    status["fault_rules"] = parts.faults.rules().size();
    status["clients"] = Json::array();
    for (const ClientName& client : parts.clients()) {
        Json row{{"client", client.number}};
        if (!client.program.empty()) {
            row["program"] = client.program;
            row["pid"] = client.process;
        }
        status["clients"].push_back(row);
    }
    return status;
}

Json set_keys(ServiceParts& parts, Members& request) {
    const std::string kind = request.get("kind").text();
    const std::string name = request.text("name", "");
    KeyValues values;
    for (const auto& [key, value] : request.get("values").members()) {
        values.emplace_back(key, value.text());
    }
    parts.store.change([&](Model& model) { set_scenario_keys(model, kind, name, values); });
    return Json::object();
}

Json add_object(ServiceParts& parts, Members& request) {
    const std::string kind = request.get("kind").text();
    const std::string parent = request.text("parent", "");
    const std::string object = request.get("object").text();
    if (kind != "group" && kind != "disk" && kind != "volume" && kind != "plex") {
        throw std::runtime_error("\"" + kind + "\" is not a kind of object");
    }
    parts.store.change([&](Model& model) { add_to_scenario(model, kind, parent, object); });
    return Json::object();
}

Json remove_object(ServiceParts& parts, Members& request) {
    const std::string kind = request.get("kind").text();
    const std::string name = request.get("name").text();
    parts.store.change(
        [&](Model& model) { model.remove_tree(scenario_object(model, kind, name).id); });
    return Json::object();
}

void change_disk_state(ServiceParts& parts, Members& request, std::uint32_t set,
                       std::uint32_t clear) {
    const std::string name = request.get("name").text();
    parts.store.change([&](Model& model) {
        Object& disk = scenario_object(model, "disk", name);
        model.set(disk, "ztvmstate", uint32_value((disk.number("ztvmstate") | set) & ~clear));
    });
}

Json fail_disk(ServiceParts& parts, Members& request) {
    change_disk_state(parts, request, disk_failed, 0);
    return Json::object();
}

Json repair_disk(ServiceParts& parts, Members& request) {
    change_disk_state(parts, request, 0, disk_dead);
    return Json::object();
}

Json reserve_group(ServiceParts& parts, Members& request) {
    const std::string group = request.get("group").text();
    const std::wstring owner = widen(request.get("owner").text());
    const std::uint64_t key = request.uint64("key", 0);
    const bool defended = request.boolean("defended", true);
    if (owner.empty()) {
        throw std::runtime_error("the owner of a reservation must be a node's name");
    }
    parts.store.change([&](Model& model) {
        reserve(model, scenario_object(model, "group", group), owner, key, defended);
    });
    return Json::object();
}

Json release_group(ServiceParts& parts, Members& request) {
    const std::string name = request.get("group").text();
    parts.store.change([&](Model& model) {
        Object& group = scenario_object(model, "group", name);
        if (!is_reserved(group)) {
            throw std::runtime_error("\"" + name + "\" is not reserved");
        }
        release_reservation(model, group);
    });
    return Json::object();
}

Json drop_client(ServiceParts& parts, Members& request) {
    const std::uint32_t number = request.uint32("client", 0);
    if (!parts.drop_client(number)) {
        throw std::runtime_error("there is no client " + std::to_string(number));
    }
    return Json::object();
}

Json raise_alert(ServiceParts& parts, Members& request) {
    const std::string name = request.get("name").text();
    if (name.empty()) {
        throw std::runtime_error("an alert must have a name");
    }
    parts.store.raise_alert(name);
    return Json::object();
}

Json add_faults(ServiceParts& parts, Members& request) {
    const std::vector<std::uint32_t> numbers =
        parts.faults.add(request.get("rules").text(), service_scope(parts.store));
    return {{"numbers", numbers}};
}

Json list_faults(ServiceParts& parts, Members& /*request*/) {
    Json rules = Json::array();
    for (const FaultRule& rule : parts.faults.rules()) {
        rules.push_back({{"number", rule.number},
                         {"rule", Json::parse(rule.source)},
                         {"selected", rule.turn.selected()},
                         {"due", rule.turn.applied()}});
    }
    return {{"rules", rules}};
}

Json clear_faults(ServiceParts& parts, Members& request) {
    const JsonNode* rule = request.find("rule");
    if (rule == nullptr) {
        parts.faults.clear();
        return Json::object();
    }
    const auto number = static_cast<std::uint32_t>(rule->unsigned_integer(UINT32_MAX));
    if (!parts.faults.remove(number)) {
        throw std::runtime_error("there is no rule " + std::to_string(number));
    }
    return Json::object();
}

Json start_record(ServiceParts& parts, Members& /*request*/) {
    parts.recorder.start();
    return Json::object();
}

Json stop_record(ServiceParts& parts, Members& /*request*/) {
    parts.recorder.stop();
    return Json::object();
}

Json show_record(ServiceParts& parts, Members& request) {
    const CallRecorder::Part part = parts.recorder.lines(request.uint64("from", 0));
    return {{"lines", part.lines}, {"next", part.next}, {"discarded", part.discarded}};
}

// The status is no part of the user's JSON, so its errors have no line.
opal_status status_member(Members& request) {
    const JsonNode& node = request.get("status");
    try {
        return read_status(node);
    } catch (const ScenarioError&) {
        throw std::runtime_error("\"" + node.text() + "\" is not a valid status");
    }
}

Json plan_driver_reply(ServiceParts& parts, Members& request) {
    constexpr std::pair<const char*, std::uint32_t> codes[] = {
        {"get-reservation", DM_INFO_GET_RESERVATION},
        {"release-reservation", DM_INFO_RELEASE_RESERVATION},
        {"get-imported", DM_INFO_GET_IMPORTED},
        {"volume-status", DM_CONFIG_GET_VOLUME_STATUS},
        {"volume-offline", DM_CONFIG_VOLUME_OFFLINE}};
    const std::string name = request.get("request").text();
    const opal_status status = status_member(request);
    const std::uint32_t requests = request.uint32("requests", 1);
    std::string known;
    for (const auto& [known_name, code] : codes) {
        if (name == known_name) {
            parts.kernel.plan_reply(code, status, requests);
            return Json::object();
        }
        known += (known.empty() ? "" : ", ") + std::string(known_name);
    }
    throw std::runtime_error("\"" + name + "\" is not a request; there are: " + known);
}

struct Command {
    const char* name;
    Json (*run)(ServiceParts& parts, Members& request);
};
constexpr Command commands[] = {
    {"status", show_status},
    {"set", set_keys},
    {"add", add_object},
    {"remove", remove_object},
    {"fail", fail_disk},
    {"repair", repair_disk},
    {"reserve", reserve_group},
    {"release", release_group},
    {"drop", drop_client},
    {"alert", raise_alert},
    {"add_faults", add_faults},
    {"faults", list_faults},
    {"clear_faults", clear_faults},
    {"start_record", start_record},
    {"stop_record", stop_record},
    {"record", show_record},
    {"driver_reply", plan_driver_reply},
};

}  // namespace

std::string control(ServiceParts& parts, const std::string& request) {
    const JsonNode root = parse_json(request);
    Members members(root);
    const std::string name = members.get("command").text();
    for (const Command& command : commands) {
        if (name == command.name) {
            // Programs may have changed the storage through the driver.
            parts.kernel.collect();
            const Json result = command.run(parts, members);
            return result.dump(-1, ' ', false, Json::error_handler_t::replace);
        }
    }
    throw std::runtime_error("unknown command \"" + name + "\"");
}

}  // namespace lab
