#include "store/scenario_keys.h"

#include "store/group_reservation.h"
#include "store/string_conversions.h"
#include "ztservice.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <stdexcept>

namespace lab {
namespace {

enum class Kind { boolean, uint32, uint64, narrow, wide, hidden };

struct Key {
    const char* object;  // the kind of object
    const char* key;
    const char* property;
    Kind kind;
};

// As scenario.cpp reads them.
constexpr Key keys[] = {
    {"node", "name", "node", Kind::wide},
    {"node", "reservation_key", reservation_key, Kind::uint64},
    {"node", "role", "nodeRole", Kind::uint32},
    {"node", "status", "nodeStatus", Kind::uint32},
    {"node", "start_seconds", "startSeconds", Kind::uint32},
    {"node", "start_fails", "startFails", Kind::boolean},
    {"node", "start_role", "startRole", Kind::uint32},
    {"node", "stop_seconds", "stopSeconds", Kind::uint32},
    {"group", "name", "Name", Kind::wide},
    {"group", "dgid", "dgid", Kind::narrow},
    {"group", "type", "LDM DG TYPE", Kind::uint32},
    {"group", "imported", "imported", Kind::boolean},
    {"group", "cluster_resource", "cluster resource", Kind::boolean},
    {"group", "cluster_shared", "cluster shared", Kind::boolean},
    {"group", "hidden", nullptr, Kind::hidden},
    {"disk", "name", "Name", Kind::wide},
    {"disk", "device", "DEVICE NAME", Kind::wide},
    {"disk", "signature", "SIGNATURE", Kind::uint32},
    {"disk", "disk_id", "DISKID", Kind::narrow},
    {"disk", "disk_guid", "DISKGUID", Kind::narrow},
    {"disk", "port", "PORT", Kind::uint32},
    {"disk", "target", "DISK TARGET ID", Kind::uint32},
    {"disk", "lun", "LUN ID", Kind::uint32},
    {"disk", "state", "ztvmstate", Kind::uint32},
    {"volume", "name", "Name", Kind::wide},
    {"volume", "device", "DEVICE NAME", Kind::wide},
    {"volume", "volume_name", "volumename", Kind::wide},
    {"volume", "drive_letter", "DRIVE LETTER", Kind::wide},
    {"volume", "guid", "volguid", Kind::narrow},
    {"volume", "type", "type", Kind::uint32},
    {"volume", "state", "ztvmstate", Kind::uint32},
    {"volume", "size", "size", Kind::uint64},
    {"volume", "data_change_object", "isdco", Kind::boolean},
    {"plex", "name", "Name", Kind::wide},
    {"plex", "state", "ztvmstate", Kind::uint32},
};

struct ObjectKind {
    const char* kind;
    const char* type;
    const char* words;
};
constexpr ObjectKind object_kinds[] = {{"group", ZTTYPE_DISK_GROUP, "disk group"},
                                       {"disk", ZTTYPE_DISK, "disk"},
                                       {"volume", ZTTYPE_VOLUME, "volume"},
                                       {"plex", ZTTYPE_PLEX, "plex"}};

[[noreturn]] void refuse(const std::string& key, const std::string& value,
                         const std::string& expected) {
    throw std::runtime_error(key + ": \"" + value + "\" is not " + expected);
}

std::uint64_t read_number(const std::string& key, const std::string& value, std::uint64_t limit) {
    char* end = nullptr;
    errno = 0;
    const bool is_hex = value.rfind("0x", 0) == 0;
    const unsigned long long number = std::strtoull(value.c_str(), &end, is_hex ? 16 : 10);
    const bool begins = !value.empty() && std::isdigit(static_cast<unsigned char>(value.front()));
    if (!begins || *end != '\0' || errno != 0 || number > limit) {
        refuse(key, value, "a number from 0 to " + std::to_string(limit));
    }
    return number;
}

bool read_boolean(const std::string& key, const std::string& value) {
    if (value != "true" && value != "false") {
        refuse(key, value, "true or false");
    }
    return value == "true";
}

std::string read_narrow(const std::string& key, const std::string& value) {
    std::string ansi;
    if (!to_ansi(widen(value), ansi)) {
        refuse(key, value, "in the ANSI code page");
    }
    return ansi;
}

Value read_value(const Key& key, const std::string& value) {
    switch (key.kind) {
    case Kind::boolean:
        return boolean_value(read_boolean(key.key, value));
    case Kind::uint32:
        return uint32_value(static_cast<std::uint32_t>(read_number(key.key, value, UINT32_MAX)));
    case Kind::uint64:
        return uint64_value(read_number(key.key, value, UINT64_MAX));
    case Kind::narrow:
        return string_value(read_narrow(key.key, value));
    default:
        return wide_value(widen(value));
    }
}

const Key& find_key(const std::string& kind, const std::string& name) {
    std::string known;
    for (const Key& key : keys) {
        if (kind == key.object) {
            if (name == key.key) {
                return key;
            }
            known += (known.empty() ? "" : ", ") + std::string(key.key);
        }
    }
    throw std::runtime_error("unknown key \"" + name + "\"; there are: " + known);
}

// The object that has a key of the node: its name and its reservation key are the service's.
Object& node_object(Model& model, const Key& key) {
    const bool is_of_service = std::string(key.property) == "node" || key.kind == Kind::uint64;
    const std::vector<opal_objid>& ids =
        model.of_type(is_of_service ? ZTTYPE_CLUSTER_SERVICE : ZTTYPE_MISC);
    if (ids.empty()) {
        throw std::runtime_error(std::string("the scenario has no object with the node's ") +
                                 key.key);
    }
    return *model.find(ids.front());
}

}  // namespace

Object& scenario_object(Model& model, const std::string& kind, const std::string& name) {
    for (const ObjectKind& row : object_kinds) {
        if (kind != row.kind) {
            continue;
        }
        Object* object = model.find_named(name);
        if (object == nullptr || object->type != row.type) {
            throw std::runtime_error("there is no " + std::string(row.words) + " \"" + name + "\"");
        }
        return *object;
    }
    throw std::runtime_error("\"" + kind + "\" is not a kind of object");
}

void set_scenario_keys(Model& model, const std::string& kind, const std::string& name,
                       const KeyValues& values) {
    // All values are read before the first is set.
    std::vector<std::function<void()>> steps;
    for (const auto& [key_name, value] : values) {
        const Key& key = find_key(kind, key_name);
        Object& object =
            kind == "node" ? node_object(model, key) : scenario_object(model, kind, name);
        if (key.kind == Kind::hidden) {
            steps.push_back([&model, &object, hidden = read_boolean(key.key, value)] {
                model.hide_tree(object, hidden);
            });
            continue;
        }
        if (kind == "node" && key_name == "start_role" &&
            read_number(key.key, value, UINT32_MAX) == 0) {
            throw std::runtime_error("the role of a node that runs cannot be 0");
        }
        steps.push_back([&model, &object, &key, set = read_value(key, value)] {
            model.set(object, key.property, set);
        });
    }
    for (const auto& step : steps) {
        step();
    }
}

}  // namespace lab
