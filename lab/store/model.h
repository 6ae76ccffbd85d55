// The service's objects: typed, with properties, parents and children.
#pragma once

#include "store/node_transition.h"
#include "store/value.h"

#include <cstring>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace lab {

struct IdHash {
    std::size_t operator()(const opal_objid& id) const {
        std::size_t value;
        std::memcpy(&value, id.bytes, sizeof value);
        return value;
    }
};
struct IdEqual {
    bool operator()(const opal_objid& left, const opal_objid& right) const {
        return std::memcmp(&left, &right, sizeof left) == 0;
    }
};

// Make values of one element.
Value boolean_value(bool value);
Value uint32_value(std::uint32_t value);
Value uint64_value(std::uint64_t value);
Value string_value(std::string value);
Value wide_value(std::wstring value);

// A folder on another volume where a volume is mounted.
struct Mount {
    std::wstring path;  // from the root of the holding volume
    opal_objid holder{};
    bool hidden = false;  // unknown until the mount path is refreshed
};

struct Object {
    opal_objid id{};
    std::string name;  // in the scenario
    std::string type;
    PropertySet properties;            // changed through Model only
    std::vector<opal_objid> children;  // in the order of the scenario
    std::vector<opal_objid> parents;
    std::vector<Mount> mounts;  // of a volume
    bool hidden = false;        // unknown to clients until disks are rescanned

    // nullptr if there is no such property.
    const Value* get(const std::string& property) const;
    bool is_true(const std::string& property) const;
    // The property formatted as a string; empty if there is none.
    std::wstring text(const std::string& property) const;
    // A narrow string; empty if the property is not one.
    std::string narrow_string(const std::string& property) const;
    // A 32-bit unsigned number; 0 if the property is not one.
    std::uint32_t number(const std::string& property) const;
};

// Has no lock of its own; Store locks it.
class Model {
  public:
    // No id is used twice in a process. Throws std::invalid_argument if the name
    // is taken.
    Object& add(const std::string& name, const std::string& type);
    void link(Object& parent, Object& child);
    void remove(const opal_objid& id);
    // Removes an object and all below it.
    void remove_tree(const opal_objid& id);
    // Hides an object and all below it from clients, or reveals them.
    void hide_tree(Object& object, bool hidden);

    // Set and remove a property. `unset` returns false if there was none.
    void set(Object& object, const std::string& property, Value value);
    bool unset(Object& object, const std::string& property);

    // nullptr if there is no such object.
    Object* find(const opal_objid& id);
    Object* find_named(const std::string& name);
    // The ids of the objects of a type, in the order they were added.
    const std::vector<opal_objid>& of_type(const std::string& type) const;

    // The visible objects of a type whose property equals a string, ignoring case,
    // in the order they were added.
    std::vector<opal_objid> matching(const std::string& type, const std::string& property,
                                     const std::wstring& text);
    // The first match, or nullptr.
    Object* find_by_text(const std::string& type, const std::string& property,
                         const std::wstring& text);

    // Makes hidden objects visible and returns their number.
    std::size_t reveal();

    // The start or stop in progress.
    NodeTransition node;

    // Starts or ends the recording of changes: objects that appear or are removed,
    // and objects with a property that is set or removed.
    void track_changes(bool tracks) { m_tracks = tracks; }
    // The objects that changed since the last call.
    std::vector<opal_objid> take_changes() { return std::exchange(m_changes, {}); }

  private:
    // The objects of a type by the case-folded string of one property, equal ones
    // in the order they were added. Built when first needed.
    using Index = std::unordered_map<std::wstring, std::map<std::uint64_t, opal_objid>>;

    Index& index_of(const std::string& type, const std::string& property);
    // The index to update when the property changes, or nullptr.
    Index* existing_index(const Object& object, const std::string& property);
    static void enter(Index& index, const Object& object, const std::string& property);
    static void leave(Index& index, const Object& object, const std::string& property);

    void touch(const Object& object);

    bool m_tracks = false;
    std::vector<opal_objid> m_changes;
    std::unordered_map<opal_objid, Object, IdHash, IdEqual> m_objects;
    std::unordered_map<std::string, opal_objid> m_names;
    std::map<std::string, std::vector<opal_objid>> m_types;
    std::map<std::pair<std::string, std::string>, Index> m_indexes;
};

}  // namespace lab
