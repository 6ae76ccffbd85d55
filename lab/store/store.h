// The lab's storage: typed objects with properties, parents and children, and
// what the service's methods do to them.
#pragma once

#include "locks.h"
#include "service.h"
#include "value.h"

#include <cstring>
#include <map>
#include <string>
#include <unordered_map>
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

struct Object {
    opal_objid id{};
    std::string name;  // the scenario's
    std::string type;
    PropertySet properties;
    std::vector<opal_objid> children;  // in the order of the scenario
    std::vector<opal_objid> parents;
    bool hidden = false;  // unknown to clients until the next rescan of disks

    const Value* get(const std::string& property) const;
    void set(const std::string& property, Value value);
    bool is_true(const std::string& property) const;
    // The text of a narrow or wide property; empty when there is none.
    std::string text(const std::string& property) const;
};

// All objects of a node. Not guarded: Store holds its lock around it.
class Model {
  public:
    // Throws std::invalid_argument when the name is taken.
    Object& add(const std::string& name, const std::string& type);
    void link(Object& parent, Object& child);
    void remove(const opal_objid& id);

    // nullptr when there is none.
    Object* find(const opal_objid& id);
    Object* find_named(const std::string& name);
    // Ids of a type in the order in which they were added.
    const std::vector<opal_objid>& of_type(const std::string& type) const;
    // The first visible object of a type with that text, without regard to case.
    Object* find_by_text(const std::string& type, const std::string& property,
                         const std::string& text);
    // Makes hidden objects visible; how many.
    std::size_t reveal();

  private:
    std::unordered_map<opal_objid, Object, IdHash, IdEqual> m_objects;
    std::unordered_map<std::string, opal_objid> m_names;
    std::map<std::string, std::vector<opal_objid>> m_types;
    std::uint64_t m_last_number = 0;
};

class Store : public Service {
  public:
    explicit Store(Model model) : m_model(std::move(model)) {}

    opal_status get_property(const opal_objid& object, const std::string& name,
                             Value& value) override;
    opal_status set_property(const opal_objid& object, const Property& property) override;
    opal_status get_properties(const opal_objid& object, PropertySet& properties) override;
    opal_status get_type(const opal_objid& object, std::string& type) override;
    opal_status get_children(const opal_objid& object, const std::string& type,
                             std::vector<opal_objid>& ids) override;
    opal_status get_parents(const opal_objid& object, const std::string& type,
                            std::vector<opal_objid>& ids) override;
    opal_status delete_object(const opal_objid& object) override;
    opal_status get_objects(const std::string& type, std::vector<opal_objid>& ids) override;
    opal_status query(const std::wstring& text, std::vector<opal_objid>& ids) override;
    opal_status invoke(const opal_objid& target, const GUID& interface_id, std::uint32_t major,
                       std::uint32_t minor, const PropertySet& input, PropertySet& output) override;
    std::string name_of(const opal_objid& object) override;
    void set_alert_sink(AlertSink sink) override;

    // The id of the scenario's object of that name; false when there is none.
    bool find_named(const std::string& name, opal_objid& id);
    // Sends an alert to the sink.
    void raise_alert(const std::string& name);

  private:
    Object* visible(const opal_objid& id);
    opal_status related(const opal_objid& object, std::vector<opal_objid> Object::*relation,
                        const std::string& type, std::vector<opal_objid>& ids);

    SRWLOCK m_lock = SRWLOCK_INIT;
    Model m_model;
    SRWLOCK m_sink_lock = SRWLOCK_INIT;  // held while an alert is delivered
    AlertSink m_sink;
};

}  // namespace lab
