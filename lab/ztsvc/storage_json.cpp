#include "ztsvc/storage_json.h"

#include "store/disk_state_bits.h"
#include "store/group_reservation.h"
#include "store/string_conversions.h"
#include "ztservice.h"

#include <cstdlib>

namespace lab {
namespace {

using Json = nlohmann::ordered_json;

std::string string_of(const Object& object, const char* property) {
    return to_utf8(object.text(property));
}

std::uint64_t number_of(const Object& object, const char* property) {
    return std::wcstoull(object.text(property).c_str(), nullptr, 10);
}

// The objects of a type below another one.
template <class Describe>
Json children_of(Model& model, const Object& parent, const char* type, Describe&& describe) {
    Json array = Json::array();
    for (const opal_objid& id : parent.children) {
        const Object& child = *model.find(id);
        if (child.type == type) {
            array.push_back(describe(child));
        }
    }
    return array;
}

Json describe_disk(const Object& disk) {
    return {{"id", disk.name},
            {"name", string_of(disk, "Name")},
            {"device", string_of(disk, "DEVICE NAME")},
            {"state", disk.number("ztvmstate")},
            {"live", (disk.number("ztvmstate") & disk_dead) == 0}};
}

Json describe_plex(Model& model, const Object& plex) {
    Json disks = Json::array();
    for (const opal_objid& id : plex.children) {
        for (const opal_objid& parent : model.find(id)->parents) {
            if (model.find(parent)->type == ZTTYPE_DISK) {
                disks.push_back(model.find(parent)->name);
            }
        }
    }
    return {{"id", plex.name},
            {"name", string_of(plex, "Name")},
            {"state", plex.number("ztvmstate")},
            {"disks", disks}};
}

Json describe_volume(Model& model, const Object& volume) {
    return {{"id", volume.name},
            {"name", string_of(volume, "Name")},
            {"device", string_of(volume, "DEVICE NAME")},
            {"drive_letter", string_of(volume, "DRIVE LETTER")},
            {"guid", string_of(volume, "volguid")},
            {"type", volume.number("type")},
            {"state", volume.number("ztvmstate")},
            {"size", number_of(volume, "size")},
            {"plexes", children_of(model, volume, ZTTYPE_PLEX, [&](const Object& plex) {
                 return describe_plex(model, plex);
             })}};
}

Json describe_group(Model& model, const Object& group) {
    Json json{{"id", group.name},
              {"name", string_of(group, "Name")},
              {"dgid", string_of(group, "dgid")},
              {"type", group.number("LDM DG TYPE")},
              {"imported", group.is_true("imported")},
              {"hidden", group.hidden}};
    if (is_reserved(group)) {
        json["reservation"] = {{"owner", string_of(group, reservation_owner)},
                               {"key", number_of(group, reservation_key)},
                               {"defended", group.is_true(reservation_defended)}};
    }
    json["disks"] = children_of(model, group, ZTTYPE_DISK, describe_disk);
    json["volumes"] = children_of(model, group, ZTTYPE_VOLUME, [&](const Object& volume) {
        return describe_volume(model, volume);
    });
    return json;
}

const char* state_name(NodeState state) {
    constexpr const char* names[] = {"stopped", "starting", "running", "stopping", "failed"};
    return names[state];
}

Json describe_node(Model& model) {
    Json json = Json::object();
    const std::vector<opal_objid>& services = model.of_type(ZTTYPE_CLUSTER_SERVICE);
    if (!services.empty()) {
        const Object& service = *model.find(services.front());
        json["name"] = string_of(service, "node");
        json["reservation_key"] = number_of(service, reservation_key);
    }
    const std::vector<opal_objid>& miscs = model.of_type(ZTTYPE_MISC);
    if (!miscs.empty()) {
        const Object& misc = *model.find(miscs.front());
        json["state"] =
            state_name(node_state(model.node, misc.number("nodeRole"), misc.number("nodeStatus")));
        json["role"] = misc.number("nodeRole");
        json["status"] = misc.number("nodeStatus");
        json["start_seconds"] = misc.number("startSeconds");
        json["start_fails"] = misc.is_true("startFails");
        json["start_role"] = misc.number("startRole");
        json["stop_seconds"] = misc.number("stopSeconds");
    }
    return json;
}

}  // namespace

Json storage_json(Model& model) {
    Json groups = Json::array();
    for (const opal_objid& id : model.of_type(ZTTYPE_DISK_GROUP)) {
        groups.push_back(describe_group(model, *model.find(id)));
    }
    return {{"node", describe_node(model)}, {"groups", groups}};
}

}  // namespace lab
