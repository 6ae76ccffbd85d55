#include "array/group_record.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace lab {
namespace {

using Json = nlohmann::ordered_json;

// Members that nobody reads would be lost with the next update.
void check_members(const Json& object, std::initializer_list<std::string_view> known) {
    if (!object.is_object()) {
        throw std::runtime_error("group record: an object is expected");
    }
    for (const auto& [key, value] : object.items()) {
        if (std::find(known.begin(), known.end(), key) == known.end()) {
            throw std::runtime_error("group record: unknown member \"" + key + "\"");
        }
    }
}

// A conversion would accept -1, 1.5 and true.
template <typename Number> Number number(const Json& object, const char* key) {
    constexpr std::uint64_t limit = std::numeric_limits<Number>::max();
    const Json& value = object.at(key);
    if (!value.is_number_unsigned() || value.get<std::uint64_t>() > limit) {
        throw std::runtime_error("group record: \"" + std::string(key) +
                                 "\" is not a number from 0 to " + std::to_string(limit));
    }
    return value.get<Number>();
}

Json to_json_value(const Extent& extent) {
    return {{"disk", extent.disk}, {"first_block", extent.first_block}, {"blocks", extent.blocks}};
}

Json to_json_value(const VolumeRecord& volume) {
    Json extents = Json::array();
    for (const Extent& extent : volume.extents) {
        extents.push_back(to_json_value(extent));
    }
    return {{"name", volume.name}, {"guid", volume.guid}, {"extents", extents}};
}

Extent extent_of(const Json& object) {
    check_members(object, {"disk", "first_block", "blocks"});
    return {object.at("disk").get<std::string>(), number<std::uint64_t>(object, "first_block"),
            number<std::uint64_t>(object, "blocks")};
}

VolumeRecord volume_of(const Json& object) {
    check_members(object, {"name", "guid", "extents"});
    VolumeRecord volume{
        object.at("name").get<std::string>(), object.at("guid").get<std::string>(), {}};
    for (const Json& extent : object.at("extents")) {
        volume.extents.push_back(extent_of(extent));
    }
    return volume;
}

GroupRecord record_of(const Json& object) {
    check_members(object,
                  {"update", "name", "guid", "type", "host_id", "disk", "disks", "volumes"});
    GroupRecord record;
    record.update = number<std::uint64_t>(object, "update");
    record.name = object.at("name").get<std::string>();
    record.guid = object.at("guid").get<std::string>();
    record.type = number<std::uint32_t>(object, "type");
    record.host_id = object.at("host_id").get<std::string>();
    record.disk = object.at("disk").get<std::string>();
    record.disks = object.at("disks").get<std::vector<std::string>>();
    for (const Json& volume : object.at("volumes")) {
        record.volumes.push_back(volume_of(volume));
    }
    return record;
}

}  // namespace

std::string to_json(const GroupRecord& record) {
    Json volumes = Json::array();
    for (const VolumeRecord& volume : record.volumes) {
        volumes.push_back(to_json_value(volume));
    }
    const Json object = {{"update", record.update},   {"name", record.name},
                         {"guid", record.guid},       {"type", record.type},
                         {"host_id", record.host_id}, {"disk", record.disk},
                         {"disks", record.disks},     {"volumes", volumes}};
    return object.dump(1) + "\n";
}

GroupRecord group_record(const std::string& json) {
    try {
        return record_of(Json::parse(json));
    } catch (const Json::exception& error) {
        throw std::runtime_error(std::string("group record: ") + error.what());
    }
}

}  // namespace lab
