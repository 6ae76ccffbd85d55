#include "scenario.h"

#include "methods.h"
#include "scenario_values.h"

#include <windows.h>

#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

namespace lab {
namespace {

constexpr std::uint32_t uint32_limit = 0xFFFFFFFF;

// The members of an object, each of which must be asked for: what is left over
// is a key that nobody knows.
class Members {
  public:
    explicit Members(const JsonNode& node) : m_node(node) {
        for (const auto& [key, value] : node.members()) {
            m_left[key] = &value;
        }
    }

    std::size_t line() const { return m_node.line; }

    const JsonNode* find(const std::string& key) {
        const auto found = m_left.find(key);
        if (found == m_left.end()) {
            return nullptr;
        }
        const JsonNode* node = found->second;
        m_left.erase(found);
        return node;
    }
    const JsonNode& get(const std::string& key) {
        const JsonNode* node = find(key);
        if (node == nullptr) {
            throw ScenarioError(m_node.line, "\"" + key + "\" is missing");
        }
        return *node;
    }
    std::string text(const std::string& key, const std::string& otherwise) {
        const JsonNode* node = find(key);
        return node != nullptr ? node->text() : otherwise;
    }
    bool boolean(const std::string& key, bool otherwise) {
        const JsonNode* node = find(key);
        return node != nullptr ? node->boolean() : otherwise;
    }
    std::uint32_t uint32(const std::string& key, std::uint32_t otherwise) {
        const JsonNode* node = find(key);
        return node != nullptr ? static_cast<std::uint32_t>(node->unsigned_integer(uint32_limit))
                               : otherwise;
    }
    std::uint64_t uint64(const std::string& key, std::uint64_t otherwise) {
        const JsonNode* node = find(key);
        return node != nullptr ? node->unsigned_integer(UINT64_MAX) : otherwise;
    }
    // The elements of an array; none when there is no such key.
    const JsonNode::Array& array(const std::string& key) {
        static const JsonNode::Array none;
        const JsonNode* node = find(key);
        return node != nullptr ? node->array() : none;
    }

    void finish() const {
        if (!m_left.empty()) {
            const auto& [key, node] = *m_left.begin();
            throw ScenarioError(node->line, "nothing is known of the key \"" + key + "\"");
        }
    }

  private:
    const JsonNode& m_node;
    std::map<std::string, const JsonNode*> m_left;
};

class Builder {
  public:
    Model build(const JsonNode& root) {
        Members scenario(root);
        add_node(scenario.find("node"));
        for (const JsonNode& group : scenario.array("disk_groups")) {
            add_groups(group);
        }
        for (const JsonNode& object : scenario.array("objects")) {
            add_object(object);
        }
        scenario.find("comment");
        scenario.finish();
        // Last, when every object that a value can name is there.
        for (const auto& override_one : m_overrides) {
            override_one();
        }
        return std::move(m_model);
    }

  private:
    Object& add(const std::string& name, const std::string& type, std::size_t line) {
        try {
            return m_model.add(name, type);
        } catch (const std::invalid_argument& error) {
            throw ScenarioError(line, std::string(error.what()) +
                                          "; give the object an \"id\" of its own");
        }
    }

    // "properties" sets any property with any type, "without" leaves one out.
    void override_properties(Members& members, Object& object) {
        const JsonNode* properties = members.find("properties");
        const JsonNode* without = members.find("without");
        const opal_objid id = object.id;
        m_overrides.push_back([this, properties, without, id] {
            Object& target = *m_model.find(id);
            if (properties != nullptr) {
                for (const auto& [name, node] : properties->members()) {
                    target.set(name, read_value(node, m_model));
                }
            }
            if (without != nullptr) {
                for (const JsonNode& name : without->array()) {
                    if (std::erase_if(target.properties, [&name](const Property& property) {
                            return property.name == name.text();
                        }) == 0) {
                        throw ScenarioError(name.line, "the object has no property \"" +
                                                           name.text() + "\" to leave out");
                    }
                }
            }
        });
    }

    void add_node(const JsonNode* node) {
        static const JsonNode nothing{1, JsonNode::Members()};
        Members members(node != nullptr ? *node : nothing);
        if (members.boolean("cluster_service", true)) {
            Object& service = add("service", "solvane_cluster_service", members.line());
            service.set("Name", wide_value(L"cluster service"));
            service.set("node", wide_value(widen(members.text("name", "node1"))));
        }
        if (members.boolean("misc", true)) {
            Object& misc = add("misc", "tamo_ztvm_misc", members.line());
            misc.set("Name", wide_value(L"misc"));
            misc.set("nodeRole", uint32_value(members.uint32("role", 0)));
            misc.set("nodeStatus", uint32_value(members.uint32("status", 0)));
            misc.set("startSeconds", uint32_value(members.uint32("start_seconds", 0)));
            misc.set("startFails", boolean_value(members.boolean("start_fails", false)));
            override_properties(members, misc);
        }
        members.finish();
    }

    // "count" makes that many groups; a "#" in name, id and dgid is then the number.
    void add_groups(const JsonNode& node) {
        Members counting(node);
        const JsonNode* count = counting.find("count");
        if (count == nullptr) {
            add_group(node, "");
            return;
        }
        const std::uint64_t groups = count->unsigned_integer(1'000'000);
        for (std::uint64_t number = 1; number <= groups; ++number) {
            add_group(node, std::to_string(number));
        }
    }

    static std::string numbered(std::string text, const std::string& number) {
        const std::size_t at = text.find('#');
        return number.empty() || at == std::string::npos ? text : text.replace(at, 1, number);
    }

    void add_group(const JsonNode& node, const std::string& number) {
        Members members(node);
        members.find("count");
        const std::string name = numbered(members.get("name").text(), number);
        Object& group =
            add(numbered(members.text("id", name), number), "tamo_ztvm_diskgroup", members.line());
        const std::uint32_t type = members.uint32("type", 2);
        group.hidden = members.boolean("hidden", false);
        group.set("Name", wide_value(widen(name)));
        group.set("dgid", text_value(numbered(members.get("dgid").text(), number)));
        group.set("LDM DG TYPE", uint32_value(type));
        group.set("imported", boolean_value(members.boolean("imported", false)));
        group.set("cluster resource",
                  boolean_value(members.boolean("cluster_resource", type == 2)));
        group.set("cluster shared", boolean_value(members.boolean("cluster_shared", type == 8)));
        override_properties(members, group);
        const opal_objid id = group.id;
        for (const JsonNode& disk : members.array("disks")) {
            add_disk(disk, id, number);
        }
        for (const JsonNode& volume : members.array("volumes")) {
            add_volume(volume, id, number);
        }
        members.finish();
    }

    // An object below another one; its name is unique below the group that
    // `prefix` names when it gives no "id".
    Object& add_below(Members& members, const opal_objid& parent, const std::string& type,
                      const std::string& number) {
        const std::string name = numbered(members.get("name").text(), number);
        const std::string id = numbered(members.text("id", name), number);
        const bool hidden = m_model.find(parent)->hidden;
        Object& object = add(id, type, members.line());
        object.hidden = hidden;
        object.set("Name", wide_value(widen(name)));
        m_model.link(*m_model.find(parent), object);
        return object;
    }

    void add_disk(const JsonNode& node, const opal_objid& group, const std::string& number) {
        Members members(node);
        Object& disk = add_below(members, group, "tamo_ztvm_disk", number);
        disk.set("DEVICE NAME", wide_value(widen(numbered(members.text("device", ""), number))));
        disk.set("SIGNATURE", uint32_value(members.uint32("signature", 0)));
        disk.set("DISKID", text_value(members.text("disk_id", "")));
        disk.set("DISKGUID", text_value(members.text("disk_guid", "")));
        disk.set("PORT", uint32_value(members.uint32("port", 0)));
        disk.set("DISK TARGET ID", uint32_value(members.uint32("target", 0)));
        disk.set("LUN ID", uint32_value(members.uint32("lun", 0)));
        disk.set("ztvmstate", uint32_value(members.uint32("state", 0)));
        override_properties(members, disk);
        members.finish();
    }

    void add_volume(const JsonNode& node, const opal_objid& group, const std::string& number) {
        Members members(node);
        Object& volume = add_below(members, group, "tamo_ztvm_volume", number);
        volume.set("DEVICE NAME",
                   wide_value(widen(numbered(members.get("device").text(), number))));
        volume.set("volumename", wide_value(widen(members.text("volume_name", ""))));
        volume.set("DRIVE LETTER", wide_value(widen(members.text("drive_letter", ""))));
        volume.set("volguid", text_value(members.text("guid", "")));
        volume.set("type", uint32_value(members.uint32("type", 0)));
        volume.set("ztvmstate", uint32_value(members.uint32("state", 0)));
        volume.set("size", uint64_value(members.uint64("size", 0)));
        volume.set("isdco", boolean_value(members.boolean("data_change_object", false)));
        override_properties(members, volume);
        const opal_objid id = volume.id;
        if (const JsonNode* file_system = members.find("file_system")) {
            add_file_system(*file_system, id);
        }
        add_mount_points(members, id);
        for (const JsonNode& plex : members.array("plexes")) {
            add_plex(plex, id, number);
        }
        members.finish();
    }

    // Folders of other volumes in which this one is mounted: kept for the mount
    // manager's methods as paths and the volumes that hold them.
    void add_mount_points(Members& members, const opal_objid& volume) {
        const JsonNode* mounts = members.find("mount_points");
        if (mounts == nullptr) {
            return;
        }
        m_overrides.push_back([this, mounts, volume] {
            Value paths{TYPE_WSTRZ, {}};
            Value holders{TYPE_ZTOBJIDZ, {}};
            for (const JsonNode& node : mounts->array()) {
                Members mount(node);
                paths.elements.emplace_back(widen(mount.get("path").text()));
                const JsonNode& holder = mount.get("volume");
                const Object* object = m_model.find_named(holder.text());
                if (object == nullptr) {
                    throw ScenarioError(holder.line,
                                        "there is no object \"" + holder.text() + "\"");
                }
                holders.elements.emplace_back(object->id);
                mount.finish();
            }
            Object& target = *m_model.find(volume);
            target.set("mount paths", std::move(paths));
            target.set("mount holders", std::move(holders));
        });
    }

    void add_file_system(const JsonNode& node, const opal_objid& volume) {
        Members members(node);
        const Object& owner = *m_model.find(volume);
        const bool hidden = owner.hidden;
        Object& file_system =
            add(members.text("id", owner.name + " file system"), "tamo_fs_nt", members.line());
        file_system.hidden = hidden;
        file_system.set("type of file system", wide_value(widen(members.text("type", "NTFS"))));
        file_system.set("label", wide_value(widen(members.text("label", ""))));
        m_model.link(*m_model.find(volume), file_system);
        override_properties(members, file_system);
        members.finish();
    }

    void add_plex(const JsonNode& node, const opal_objid& volume, const std::string& number) {
        Members members(node);
        Object& plex = add_below(members, volume, "tamo_ztvm_plex", number);
        plex.set("ztvmstate", uint32_value(members.uint32("state", 0)));
        override_properties(members, plex);
        const opal_objid id = plex.id;
        for (const JsonNode& subdisk : members.array("subdisks")) {
            add_subdisk(subdisk, id, number);
        }
        members.finish();
    }

    // Below its plex, and below the disk that it lies on.
    void add_subdisk(const JsonNode& node, const opal_objid& plex, const std::string& number) {
        Members members(node);
        Object& subdisk = add_below(members, plex, "tamo_ztvm_subdisk", number);
        const opal_objid id = subdisk.id;
        if (const JsonNode* disk_name = members.find("disk")) {
            Object* disk = m_model.find_named(numbered(disk_name->text(), number));
            if (disk == nullptr || disk->type != "tamo_ztvm_disk") {
                throw ScenarioError(disk_name->line, "there is no disk \"" + disk_name->text() +
                                                         "\" before this line");
            }
            m_model.link(*disk, *m_model.find(id));
        }
        override_properties(members, *m_model.find(id));
        members.finish();
    }

    // Any object: "name", "type", "parents", "properties".
    void add_object(const JsonNode& node) {
        Members members(node);
        Object& object =
            add(members.get("name").text(), members.get("type").text(), members.line());
        object.hidden = members.boolean("hidden", false);
        const opal_objid id = object.id;
        for (const JsonNode& parent : members.array("parents")) {
            Object* found = m_model.find_named(parent.text());
            if (found == nullptr) {
                throw ScenarioError(parent.line, "there is no object \"" + parent.text() +
                                                     "\" before this line");
            }
            m_model.link(*found, *m_model.find(id));
        }
        override_properties(members, *m_model.find(id));
        members.finish();
    }

    Model m_model;
    std::vector<std::function<void()>> m_overrides;
};

std::string read_file(const wchar_t* path, const std::string& name) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(_wfopen(path, L"rb"), fclose);
    if (file == nullptr) {
        throw std::runtime_error(name + ": " + std::strerror(errno));
    }
    std::string text;
    char block[16384];
    for (std::size_t got; (got = std::fread(block, 1, sizeof block, file.get())) != 0;) {
        text.append(block, got);
    }
    return text;
}

}  // namespace

Model build_scenario(std::string_view json) {
    const JsonNode root = parse_json(json);
    return Builder().build(root);
}

Model load_scenario(const wchar_t* path) {
    const std::string name = narrow(path);
    const std::string text = read_file(path, name);
    try {
        return build_scenario(text);
    } catch (const ScenarioError& error) {
        throw std::runtime_error(name + ":" + error.what());
    }
}

}  // namespace lab
