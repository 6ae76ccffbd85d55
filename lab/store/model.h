// The objects of a node: typed, with properties, parents and children.
#pragma once

#include "node_transition.h"
#include "value.h"

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

// Values of one element.
Value boolean_value(bool value);
Value uint32_value(std::uint32_t value);
Value uint64_value(std::uint64_t value);
Value text_value(std::string value);
Value wide_value(std::wstring value);

// A folder of another volume in which a volume is mounted.
struct Mount {
    std::wstring path;  // from the root of the volume that holds it
    opal_objid holder{};
    bool hidden = false;  // unknown until the next refresh of mount paths
};

struct Object {
    opal_objid id{};
    std::string name;  // the scenario's
    std::string type;
    PropertySet properties;            // changed through Model only
    std::vector<opal_objid> children;  // in the order of the scenario
    std::vector<opal_objid> parents;
    std::vector<Mount> mounts;  // of a volume
    bool hidden = false;        // unknown to clients until the next rescan of disks

    // nullptr when there is none.
    const Value* get(const std::string& property) const;
    bool is_true(const std::string& property) const;
    // The text form of a property; empty when it has none.
    std::wstring text(const std::string& property) const;
    // A narrow text; empty when the property is none.
    std::string narrow_text(const std::string& property) const;
    // A 32-bit unsigned number; 0 when the property is none.
    std::uint32_t number(const std::string& property) const;
};

// Not guarded: Store holds its lock around it.
class Model {
  public:
    // Ids are never used twice in a process. Throws std::invalid_argument when
    // the name is taken.
    Object& add(const std::string& name, const std::string& type);
    void link(Object& parent, Object& child);
    void remove(const opal_objid& id);

    // Writes a property, or leaves it out; false when there was none to leave out.
    void set(Object& object, const std::string& property, Value value);
    bool unset(Object& object, const std::string& property);

    // nullptr when there is none.
    Object* find(const opal_objid& id);
    Object* find_named(const std::string& name);
    // Ids of a type in the order in which they were added.
    const std::vector<opal_objid>& of_type(const std::string& type) const;

    // The visible objects of a type with that text, without regard to case, in
    // the order in which they were added.
    std::vector<opal_objid> matching(const std::string& type, const std::string& property,
                                     const std::wstring& text);
    // The first of them, or nullptr.
    Object* find_by_text(const std::string& type, const std::string& property,
                         const std::wstring& text);

    // Makes hidden objects visible; how many.
    std::size_t reveal();

    // The start or stop that is under way.
    NodeTransition node;

    // Whether changed objects are remembered: those that appear or are removed,
    // and those with a property that is set or left out.
    void track_changes(bool tracks) { m_tracks = tracks; }
    // The objects that changed since the last call.
    std::vector<opal_objid> take_changes() { return std::exchange(m_changes, {}); }

  private:
    // The objects of a type by the folded text of one property, each text's in
    // the order in which they were added. Made when first asked for.
    using Index = std::unordered_map<std::wstring, std::map<std::uint64_t, opal_objid>>;

    Index& index_of(const std::string& type, const std::string& property);
    // The index that a change of the property concerns, or nullptr.
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
