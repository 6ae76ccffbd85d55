#include "store/scenario.h"

#include "store/group_reservation.h"
#include "store/json_file.h"
#include "store/node_drive.h"
#include "store/scenario_members.h"
#include "store/scenario_values.h"
#include "store/string_conversions.h"
#include "ztservice.h"

#include <functional>
#include <stdexcept>

namespace lab {
namespace {

constexpr std::uint64_t most_of_a_pattern = 1'000'000;

Object& named_object(Model& model, const std::string& name, const char* type, const char* what) {
    Object* object = model.find_named(name);
    if (object == nullptr || object->type != type) {
        throw std::runtime_error("there is no " + std::string(what) + " \"" + name + "\"");
    }
    return *object;
}

constexpr std::uint32_t usual_start_role = 1;
constexpr std::uint64_t usual_reservation_key = 1;

class Builder {
  public:
    explicit Builder(Model& model) : m_model(model) {}

    void build(const JsonNode& root) {
        Members scenario(root);
        add_node(scenario.find("node"));
        for (const JsonNode& group : scenario.array("disk_groups")) {
            repeat(group, "", [&](const std::string& number) { add_group(group, number); });
        }
        for (const JsonNode& object : scenario.array("objects")) {
            add_object(object);
        }
        scenario.find("comment");
        scenario.finish();
        finish();
    }

    // Adds one object of a scenario, or several if it has a "count", to an existing parent.
    void add(const std::string& kind, Object* parent, const JsonNode& node) {
        if (kind == "plex") {
            add_plex(node, *parent, "");
        } else {
            repeat(node, "", [&](const std::string& number) {
                if (kind == "group") {
                    add_group(node, number);
                } else if (kind == "disk") {
                    add_disk(node, *parent, number);
                } else {
                    add_volume(node, *parent, number);
                }
            });
        }
        finish();
    }

  private:
    // Called last, when every object that a value can refer to exists.
    void finish() const {
        for (const auto& step : m_last_steps) {
            step();
        }
    }

    // ------------------------------------------------------------- any object

    Object& add(const std::string& id, const std::string& type, std::size_t line) {
        if (id.empty() || id == "null") {
            throw ScenarioError(line, "\"" + id + "\" cannot be an object's id; add an \"id\"");
        }
        try {
            return m_model.add(id, type);
        } catch (const std::invalid_argument& error) {
            throw ScenarioError(line, std::string(error.what()) + "; add an \"id\" of its own");
        }
    }

    // Adds an object with a "Name", as a child of `parent` unless that is null.
    Object& add_named(Members& members, const std::string& type, Object* parent) {
        const JsonNode& name_node = members.get("name");
        const std::string name = members.text(name_node);
        const JsonNode* id = members.find("id");
        Object& object = add(id != nullptr ? members.text(*id) : name, type,
                             id != nullptr ? id->line : name_node.line);
        m_model.set(object, "Name", wide_value(widen(name)));
        if (parent != nullptr) {
            object.hidden = parent->hidden;
            m_model.link(*parent, object);
        }
        return object;
    }

    // "properties" sets any property to any type, "without" removes properties.
    void override_properties(Members& members, Object& object) {
        const JsonNode* properties = members.find("properties");
        const JsonNode* without = members.find("without");
        if (properties == nullptr && without == nullptr) {
            return;
        }
        m_last_steps.push_back([this, properties, without, &object] {
            if (properties != nullptr) {
                for (const auto& [name, node] : properties->members()) {
                    m_model.set(object, name, read_value(node, m_model));
                }
            }
            if (without != nullptr) {
                for (const JsonNode& name : without->array()) {
                    if (!m_model.unset(object, name.text())) {
                        throw ScenarioError(name.line, "the object has no property \"" +
                                                           name.text() + "\" to remove");
                    }
                }
            }
        });
    }

    Object& find_object(const JsonNode& name_node, const std::string& name) {
        Object* object = m_model.find_named(name);
        if (object == nullptr) {
            throw ScenarioError(name_node.line, "there is no object \"" + name + "\"");
        }
        return *object;
    }

    static Value narrow_value(const Members& members, const JsonNode& node) {
        return string_value(narrow_string(node, members.text(node)));
    }
    // Empty if there is no such key.
    static Value narrow_value(Members& members, const char* key) {
        const JsonNode* node = members.find(key);
        return node != nullptr ? narrow_value(members, *node) : string_value("");
    }

    // --------------------------------------------------------------- the node

    void add_node(const JsonNode* node) {
        static const JsonNode nothing{1, JsonNode::Members()};
        Members members(node != nullptr ? *node : nothing);
        add_cluster_service(members);
        if (members.boolean("misc", true)) {
            Object& misc = add("misc", ZTTYPE_MISC, members.line());
            m_model.set(misc, "Name", wide_value(L"misc"));
            m_model.set(misc, "nodeRole", uint32_value(members.uint32("role", 0)));
            m_model.set(misc, "nodeStatus", uint32_value(members.uint32("status", 0)));
            m_model.set(misc, "startSeconds", uint32_value(members.uint32("start_seconds", 0)));
            m_model.set(misc, "startRole", uint32_value(start_role(members)));
            m_model.set(misc, "stopSeconds", uint32_value(members.uint32("stop_seconds", 0)));
            m_model.set(misc, "startFails", boolean_value(members.boolean("start_fails", false)));
            override_properties(members, misc);
        }
        members.finish();
    }

    // The role after a start. 0 would mean a node that does not run.
    static std::uint32_t start_role(Members& node) {
        const JsonNode* given = node.find("start_role");
        const auto role = given != nullptr
                              ? static_cast<std::uint32_t>(given->unsigned_integer(UINT32_MAX))
                              : usual_start_role;
        if (role == 0) {
            throw ScenarioError(given->line, "the role of a node that runs cannot be 0");
        }
        return role;
    }

    // "cluster_service": false omits the object, an object overrides its properties.
    void add_cluster_service(Members& node) {
        const std::string node_name = node.text("name", "node1");
        const std::uint64_t key = node.uint64("reservation_key", usual_reservation_key);
        const JsonNode* given = node.find("cluster_service");
        const bool overrides =
            given != nullptr && std::holds_alternative<JsonNode::Members>(given->value);
        if (given != nullptr && !overrides && !given->boolean()) {
            return;
        }
        Object& service = add("service", ZTTYPE_CLUSTER_SERVICE, node.line());
        m_model.set(service, "Name", wide_value(L"cluster service"));
        m_model.set(service, "node", wide_value(widen(node_name)));
        m_model.set(service, reservation_key, uint64_value(key));
        if (overrides) {
            Members members(*given);
            override_properties(members, service);
            members.finish();
        }
    }

    // ------------------------------------------------------------ disk groups

    // Calls `add` once, or "count" times with numbers from 1. All objects inside a copy
    // have the number of the copy.
    template <class Add>
    static void repeat(const JsonNode& node, const std::string& number, Add&& add) {
        const JsonNode* count = Members(node).find("count");
        if (count == nullptr) {
            add(number);
            return;
        }
        if (!number.empty()) {
            throw ScenarioError(count->line, "a \"count\" inside another \"count\" is not allowed");
        }
        const std::uint64_t copies = count->unsigned_integer(most_of_a_pattern);
        for (std::uint64_t copy = 1; copy <= copies; ++copy) {
            add(std::to_string(copy));
        }
    }

    void add_group(const JsonNode& node, const std::string& number) {
        Members members(node, number);
        members.find("count");
        Object& group = add_named(members, ZTTYPE_DISK_GROUP, nullptr);
        const std::uint32_t type = members.uint32("type", ZTDGTYPE_CLUSTER);
        group.hidden = members.boolean("hidden", false);
        m_model.set(group, "dgid", narrow_value(members, members.get("dgid")));
        m_model.set(group, "LDM DG TYPE", uint32_value(type));
        m_model.set(group, "imported", boolean_value(members.boolean("imported", false)));
        m_model.set(group, "cluster resource",
                    boolean_value(members.boolean("cluster_resource", type == ZTDGTYPE_CLUSTER)));
        m_model.set(
            group, "cluster shared",
            boolean_value(members.boolean("cluster_shared", type == ZTDGTYPE_CLUSTER_SHARED)));
        if (const JsonNode* reservation = members.find("reservation")) {
            add_reservation(*reservation, group, number);
        }
        override_properties(members, group);
        for (const JsonNode& disk : members.array("disks")) {
            repeat(disk, number, [&](const std::string& own) { add_disk(disk, group, own); });
        }
        for (const JsonNode& volume : members.array("volumes")) {
            repeat(volume, number, [&](const std::string& own) { add_volume(volume, group, own); });
        }
        members.finish();
    }

    void add_reservation(const JsonNode& node, Object& group, const std::string& number) {
        Members members(node, number);
        const JsonNode& owner = members.get("owner");
        const std::wstring name = widen(members.text(owner));
        if (name.empty()) {
            throw ScenarioError(owner.line, "the owner of a reservation must be a node's name");
        }
        reserve(m_model, group, name, members.uint64("key", 0), members.boolean("defended", true));
        members.finish();
    }

    void add_disk(const JsonNode& node, Object& group, const std::string& number) {
        Members members(node, number);
        members.find("count");
        Object& disk = add_named(members, ZTTYPE_DISK, &group);
        m_model.set(disk, "DEVICE NAME", wide_value(widen(members.text("device", ""))));
        m_model.set(disk, "SIGNATURE", uint32_value(members.uint32("signature", 0)));
        m_model.set(disk, "DISKID", narrow_value(members, "disk_id"));
        m_model.set(disk, "DISKGUID", narrow_value(members, "disk_guid"));
        m_model.set(disk, "PORT", uint32_value(members.uint32("port", 0)));
        m_model.set(disk, "DISK TARGET ID", uint32_value(members.uint32("target", 0)));
        m_model.set(disk, "LUN ID", uint32_value(members.uint32("lun", 0)));
        m_model.set(disk, "ztvmstate", uint32_value(members.uint32("state", 0)));
        override_properties(members, disk);
        members.finish();
    }

    void add_volume(const JsonNode& node, Object& group, const std::string& number) {
        Members members(node, number);
        members.find("count");
        Object& volume = add_named(members, ZTTYPE_VOLUME, &group);
        add_volume_names(members, volume);
        if (const JsonNode* guid = members.find("guid")) {
            m_model.set(volume, "volguid", narrow_value(members, *guid));
        }
        m_model.set(volume, "type", uint32_value(members.uint32("type", 0)));
        m_model.set(volume, "ztvmstate", uint32_value(members.uint32("state", 0)));
        m_model.set(volume, "size", uint64_value(members.uint64("size", 0)));
        m_model.set(volume, "isdco", boolean_value(members.boolean("data_change_object", false)));
        override_properties(members, volume);
        if (const JsonNode* file_system = members.find("file_system")) {
            add_file_system(*file_system, volume, number);
        }
        if (const JsonNode* mounts = members.find("mount_points")) {
            m_last_steps.push_back(
                [this, mounts, &volume, number] { add_mount_points(*mounts, volume, number); });
        }
        for (const JsonNode& plex : members.array("plexes")) {
            add_plex(plex, volume, number);
        }
        members.finish();
    }

    // A volume that is a drive of the machine has the machine's names unless the
    // scenario gives others.
    void add_volume_names(Members& members, Object& volume) {
        const JsonNode* drive = members.find("drive");
        const JsonNode* device = drive != nullptr ? members.find("device") : &members.get("device");
        NodeDriveNames names;
        std::wstring letter;
        if (drive != nullptr) {
            const NodeDrive wanted = read_drive(*drive, members.number());
            letter = wanted.letter;
            try {
                names = provide_drive(wanted);
            } catch (const std::runtime_error& error) {
                throw ScenarioError(drive->line, error.what());
            }
        }
        if (device != nullptr) {
            names.device = widen(members.text(*device));
        }
        if (const JsonNode* volume_name = members.find("volume_name")) {
            names.volume_name = widen(members.text(*volume_name));
        }
        if (const JsonNode* drive_letter = members.find("drive_letter")) {
            letter = widen(members.text(*drive_letter));
        }
        m_model.set(volume, "DEVICE NAME", wide_value(std::move(names.device)));
        m_model.set(volume, "volumename", wide_value(std::move(names.volume_name)));
        m_model.set(volume, "DRIVE LETTER", wide_value(std::move(letter)));
    }

    static NodeDrive read_drive(const JsonNode& node, const std::string& number) {
        Members members(node, number);
        const JsonNode& letter = members.get("letter");
        const std::string text = members.text(letter);
        if (text.size() != 1 || text.front() < 'A' || text.front() > 'Z') {
            throw ScenarioError(letter.line, "expected a letter from \"A\" to \"Z\"");
        }
        const JsonNode& serial_number = members.get("serial");
        const NodeDrive drive{
            static_cast<wchar_t>(text.front()),
            static_cast<std::uint32_t>(serial_number.unsigned_integer(UINT32_MAX)),
            members.text("label", "")};
        members.finish();
        return drive;
    }

    // Folders on other volumes where this one is mounted.
    void add_mount_points(const JsonNode& mounts, Object& volume, const std::string& number) {
        for (const JsonNode& node : mounts.array()) {
            Members mount(node, number);
            const JsonNode& holder_name = mount.get("volume");
            const Object& holder = find_object(holder_name, mount.text(holder_name));
            if (holder.type != ZTTYPE_VOLUME) {
                throw ScenarioError(holder_name.line, "\"" + holder.name + "\" is not a volume");
            }
            volume.mounts.push_back(
                {widen(mount.text(mount.get("path"))), holder.id, mount.boolean("hidden", false)});
            mount.finish();
        }
    }

    void add_file_system(const JsonNode& node, Object& volume, const std::string& number) {
        Members members(node, number);
        Object& file_system = add(members.text("id", volume.name + " file system"),
                                  ZTTYPE_FILE_SYSTEM, members.line());
        file_system.hidden = volume.hidden;
        m_model.set(file_system, "type of file system",
                    wide_value(widen(members.text("type", "NTFS"))));
        m_model.set(file_system, "label", wide_value(widen(members.text("label", ""))));
        m_model.link(volume, file_system);
        override_properties(members, file_system);
        members.finish();
    }

    void add_plex(const JsonNode& node, Object& volume, const std::string& number) {
        Members members(node, number);
        Object& plex = add_named(members, ZTTYPE_PLEX, &volume);
        m_model.set(plex, "ztvmstate", uint32_value(members.uint32("state", 0)));
        override_properties(members, plex);
        for (const JsonNode& subdisk : members.array("subdisks")) {
            add_subdisk(subdisk, plex, number);
        }
        members.finish();
    }

    // A child of its plex and of the disk it is on.
    void add_subdisk(const JsonNode& node, Object& plex, const std::string& number) {
        Members members(node, number);
        Object& subdisk = add_named(members, ZTTYPE_SUBDISK, &plex);
        if (const JsonNode* disk_name = members.find("disk")) {
            Object& disk = find_object(*disk_name, members.text(*disk_name));
            if (disk.type != ZTTYPE_DISK) {
                throw ScenarioError(disk_name->line, "\"" + disk.name + "\" is not a disk");
            }
            m_model.link(disk, subdisk);
        }
        override_properties(members, subdisk);
        members.finish();
    }

    // ---------------------------------------------------------- anything else

    // Any object. It has only the properties that the scenario sets.
    void add_object(const JsonNode& node) {
        Members members(node);
        const JsonNode& name = members.get("name");
        Object& object = add(name.text(), members.get("type").text(), name.line);
        object.hidden = members.boolean("hidden", false);
        for (const JsonNode& parent : members.array("parents")) {
            m_model.link(find_object(parent, parent.text()), object);
        }
        override_properties(members, object);
        members.finish();
    }

    Model& m_model;
    std::vector<std::function<void()>> m_last_steps;
};

}  // namespace

Model build_scenario(std::string_view json) {
    const JsonNode root = parse_json(json);
    Model model;
    Builder(model).build(root);
    return model;
}

void add_to_scenario(Model& model, const std::string& kind, const std::string& parent,
                     std::string_view json) {
    const JsonNode root = parse_json(json);
    Model changed = model;  // an error may come after some objects were added
    Object* parent_object = nullptr;
    if (kind == "disk" || kind == "volume") {
        parent_object = &named_object(changed, parent, ZTTYPE_DISK_GROUP, "disk group");
    } else if (kind == "plex") {
        parent_object = &named_object(changed, parent, ZTTYPE_VOLUME, "volume");
    }
    Builder(changed).add(kind, parent_object, root);
    model = std::move(changed);
}

Model load_scenario(const wchar_t* path) {
    Model model;
    use_json_file(path, [&model](const std::string& text) { model = build_scenario(text); });
    return model;
}

}  // namespace lab
