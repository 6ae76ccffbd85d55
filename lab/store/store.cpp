#include "store.h"

#include "methods.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace lab {
namespace {

// The parts of: SELECT FROM type where "property" EQ value
struct Query {
    std::string type;
    std::string property;
    std::string value;
};

bool parse_query(const std::wstring& wide, Query& query) {
    const std::string text = narrow(wide);
    const std::string select = "SELECT FROM ";
    const std::string where = " where \"";
    const std::string equals = "\" EQ ";
    if (text.compare(0, select.size(), select) != 0) {
        return false;
    }
    const std::size_t at_where = text.find(where, select.size());
    if (at_where == std::string::npos) {
        return false;
    }
    const std::size_t property = at_where + where.size();
    const std::size_t at_equals = text.find(equals, property);
    if (at_equals == std::string::npos) {
        return false;
    }
    query.type = text.substr(select.size(), at_where - select.size());
    query.property = text.substr(property, at_equals - property);
    query.value = text.substr(at_equals + equals.size());
    return !query.type.empty() && !query.property.empty();
}

// The form in which a query compares a property; false for a type that has none.
bool comparable_text(const Value& value, std::string& text) {
    if (value.is_array() || value.elements.empty()) {
        return false;
    }
    return std::visit(
        [&text](const auto& element) {
            using T = std::decay_t<decltype(element)>;
            if constexpr (std::is_same_v<T, bool>) {
                text = element ? "true" : "false";
            } else if constexpr (std::is_integral_v<T>) {
                text = std::to_string(element);
            } else if constexpr (std::is_same_v<T, std::string>) {
                text = element;
            } else if constexpr (std::is_same_v<T, std::wstring>) {
                text = narrow(element);
            } else if constexpr (std::is_same_v<T, GUID>) {
                text = guid_text(element);
            } else {
                return false;
            }
            return true;
        },
        value.elements.front());
}

template <class T> Value single(std::uint32_t type, T value) {
    Value result;
    result.type = type;
    result.elements.emplace_back(std::move(value));
    return result;
}

}  // namespace

Value boolean_value(bool value) {
    return single(TYPE_BOOLEAN, value);
}
Value uint32_value(std::uint32_t value) {
    return single(TYPE_UINT32, value);
}
Value uint64_value(std::uint64_t value) {
    return single(TYPE_UINT64, value);
}
Value text_value(std::string value) {
    return single(TYPE_STR, std::move(value));
}
Value wide_value(std::wstring value) {
    return single(TYPE_WSTR, std::move(value));
}

// -------------------------------------------------------------------- Object

const Value* Object::get(const std::string& property) const {
    const Property* found = lab::find(properties, property);
    return found != nullptr ? &found->value : nullptr;
}

void Object::set(const std::string& property, Value value) {
    for (Property& existing : properties) {
        if (existing.name == property) {
            existing.value = std::move(value);
            return;
        }
    }
    properties.push_back({property, std::move(value)});
}

bool Object::is_true(const std::string& property) const {
    const Value* value = get(property);
    const bool* flag = value != nullptr && !value->elements.empty()
                           ? std::get_if<bool>(&value->elements.front())
                           : nullptr;
    return flag != nullptr && *flag;
}

std::string Object::text(const std::string& property) const {
    const Value* value = get(property);
    std::string result;
    if (value != nullptr) {
        comparable_text(*value, result);
    }
    return result;
}

// --------------------------------------------------------------------- Model

Object& Model::add(const std::string& name, const std::string& type) {
    if (m_names.count(name) != 0) {
        throw std::invalid_argument("the name \"" + name + "\" is taken");
    }
    opal_objid id{};
    ++m_last_number;
    std::memcpy(id.bytes, &m_last_number, sizeof m_last_number);
    id.bytes[sizeof id.bytes - 1] = 1;  // no id is the null id
    Object& object = m_objects[id];
    object.id = id;
    object.name = name;
    object.type = type;
    m_names[name] = id;
    m_types[type].push_back(id);
    return object;
}

void Model::link(Object& parent, Object& child) {
    parent.children.push_back(child.id);
    child.parents.push_back(parent.id);
}

void Model::remove(const opal_objid& id) {
    const Object* object = find(id);
    if (object == nullptr) {
        return;
    }
    const auto is_it = [&id](const opal_objid& other) { return IdEqual()(id, other); };
    for (const opal_objid& parent : object->parents) {
        std::erase_if(find(parent)->children, is_it);
    }
    for (const opal_objid& child : object->children) {
        std::erase_if(find(child)->parents, is_it);
    }
    std::erase_if(m_types[object->type], is_it);
    m_names.erase(object->name);
    m_objects.erase(id);
}

Object* Model::find(const opal_objid& id) {
    const auto found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : &found->second;
}

Object* Model::find_named(const std::string& name) {
    const auto found = m_names.find(name);
    return found == m_names.end() ? nullptr : find(found->second);
}

const std::vector<opal_objid>& Model::of_type(const std::string& type) const {
    static const std::vector<opal_objid> none;
    const auto found = m_types.find(type);
    return found == m_types.end() ? none : found->second;
}

Object* Model::find_by_text(const std::string& type, const std::string& property,
                            const std::string& text) {
    for (const opal_objid& id : of_type(type)) {
        Object* object = find(id);
        const Value* value = object->get(property);
        std::string candidate;
        if (!object->hidden && value != nullptr && comparable_text(*value, candidate) &&
            _stricmp(candidate.c_str(), text.c_str()) == 0) {
            return object;
        }
    }
    return nullptr;
}

std::size_t Model::reveal() {
    std::size_t count = 0;
    for (auto& [id, object] : m_objects) {
        count += object.hidden ? 1 : 0;
        object.hidden = false;
    }
    return count;
}

// --------------------------------------------------------------------- Store

Object* Store::visible(const opal_objid& id) {
    Object* object = m_model.find(id);
    return object != nullptr && !object->hidden ? object : nullptr;
}

opal_status Store::get_property(const opal_objid& id, const std::string& name, Value& value) {
    const Shared hold(m_lock);
    const Object* object = visible(id);
    if (object == nullptr) {
        return ZTERROR_UNKNOWN_OBJECT;
    }
    const Value* found = object->get(name);
    if (found == nullptr) {
        return ZTERROR_PROPERTY;
    }
    value = *found;
    return ZTSTATUS_OK;
}

opal_status Store::set_property(const opal_objid& id, const Property& property) {
    const Exclusive hold(m_lock);
    Object* object = visible(id);
    if (object == nullptr) {
        return ZTERROR_UNKNOWN_OBJECT;
    }
    object->set(property.name, property.value);
    return ZTSTATUS_OK;
}

opal_status Store::get_properties(const opal_objid& id, PropertySet& properties) {
    const Shared hold(m_lock);
    const Object* object = visible(id);
    if (object == nullptr) {
        return ZTERROR_UNKNOWN_OBJECT;
    }
    properties = object->properties;
    return ZTSTATUS_OK;
}

opal_status Store::get_type(const opal_objid& id, std::string& type) {
    const Shared hold(m_lock);
    const Object* object = visible(id);
    if (object == nullptr) {
        return ZTERROR_UNKNOWN_OBJECT;
    }
    type = object->type;
    return ZTSTATUS_OK;
}

opal_status Store::related(const opal_objid& id, std::vector<opal_objid> Object::*relation,
                           const std::string& type, std::vector<opal_objid>& ids) {
    const Shared hold(m_lock);
    const Object* object = visible(id);
    if (object == nullptr) {
        return ZTERROR_UNKNOWN_OBJECT;
    }
    ids.clear();
    for (const opal_objid& other_id : object->*relation) {
        const Object* other = visible(other_id);
        if (other != nullptr && (type.empty() || other->type == type)) {
            ids.push_back(other_id);
        }
    }
    return ZTSTATUS_OK;
}

opal_status Store::get_children(const opal_objid& id, const std::string& type,
                                std::vector<opal_objid>& ids) {
    return related(id, &Object::children, type, ids);
}

opal_status Store::get_parents(const opal_objid& id, const std::string& type,
                               std::vector<opal_objid>& ids) {
    return related(id, &Object::parents, type, ids);
}

opal_status Store::delete_object(const opal_objid& id) {
    const Exclusive hold(m_lock);
    if (visible(id) == nullptr) {
        return ZTERROR_UNKNOWN_OBJECT;
    }
    m_model.remove(id);
    return ZTSTATUS_OK;
}

opal_status Store::get_objects(const std::string& type, std::vector<opal_objid>& ids) {
    const Shared hold(m_lock);
    ids.clear();
    for (const opal_objid& id : m_model.of_type(type)) {
        if (visible(id) != nullptr) {
            ids.push_back(id);
        }
    }
    return ZTSTATUS_OK;
}

opal_status Store::query(const std::wstring& text, std::vector<opal_objid>& ids) {
    Query query;
    if (!parse_query(text, query)) {
        return ZTERROR_BAD_QUERY;
    }
    const Shared hold(m_lock);
    ids.clear();
    for (const opal_objid& id : m_model.of_type(query.type)) {
        const Object* object = visible(id);
        const Value* value = object != nullptr ? object->get(query.property) : nullptr;
        std::string candidate;
        if (value != nullptr && comparable_text(*value, candidate) &&
            _stricmp(candidate.c_str(), query.value.c_str()) == 0) {
            ids.push_back(id);
        }
    }
    return ZTSTATUS_OK;
}

opal_status Store::invoke(const opal_objid& target_id, const GUID& interface_id,
                          std::uint32_t major, std::uint32_t minor, const PropertySet& input,
                          PropertySet& output) {
    std::vector<std::string> alerts;
    opal_status status = ZTERROR_UNKNOWN_METHOD;
    {
        const Exclusive hold(m_lock);
        const MethodHandler handler = find_method(interface_id, major, minor);
        Object* target = visible(target_id);
        if (target == nullptr) {
            status = ZTERROR_UNKNOWN_OBJECT;
        } else if (handler != nullptr) {
            MethodCall call{m_model, *target, input, output, alerts};
            status = handler(call);
        }
    }
    for (const std::string& alert : alerts) {
        raise_alert(alert);
    }
    return status;
}

std::string Store::name_of(const opal_objid& id) {
    const opal_objid null_id{};
    if (IdEqual()(id, null_id)) {
        return "null";
    }
    const Shared hold(m_lock);
    if (const Object* object = m_model.find(id)) {
        return object->name;
    }
    std::string text;
    for (const std::uint8_t byte : id.bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += digits;
    }
    return text;
}

void Store::set_alert_sink(AlertSink sink) {
    const Exclusive hold(m_sink_lock);
    m_sink = std::move(sink);
}

bool Store::find_named(const std::string& name, opal_objid& id) {
    const Shared hold(m_lock);
    const Object* object = m_model.find_named(name);
    if (object == nullptr) {
        return false;
    }
    id = object->id;
    return true;
}

void Store::raise_alert(const std::string& name) {
    const Shared hold(m_sink_lock);
    if (m_sink) {
        m_sink(name);
    }
}

}  // namespace lab
