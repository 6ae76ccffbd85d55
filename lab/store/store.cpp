#include "store/store.h"

#include "store/methods.h"
#include "store/string_conversions.h"

#include <cstdio>

namespace lab {
namespace {

// The parts of: SELECT FROM type where "property" EQ value
struct Query {
    std::string type;
    std::string property;
    std::wstring value;
};

bool parse_query(const std::wstring& text, Query& query) {
    const std::wstring select = L"SELECT FROM ";
    const std::wstring where = L" where \"";
    const std::wstring equals = L"\" EQ ";
    if (text.compare(0, select.size(), select) != 0) {
        return false;
    }
    const std::size_t at_where = text.find(where, select.size());
    if (at_where == std::wstring::npos) {
        return false;
    }
    const std::size_t property = at_where + where.size();
    const std::size_t at_equals = text.find(equals, property);
    if (at_equals == std::wstring::npos) {
        return false;
    }
    query.type = narrow(text.substr(select.size(), at_where - select.size()));
    query.property = narrow(text.substr(property, at_equals - property));
    query.value = text.substr(at_equals + equals.size());
    return !query.type.empty() && !query.property.empty();
}

bool is_null(const opal_objid& id) {
    return IdEqual()(id, opal_objid{});
}

}  // namespace

Object* Store::locate(const opal_objid& id, opal_status& status) {
    Object* object = m_model.find(id);
    if (object != nullptr && !object->hidden) {
        status = ZTSTATUS_OK;
        return object;
    }
    status = is_null(id) ? ZTERROR_NULL_OBJECT : ZTERROR_UNKNOWN_OBJECT;
    return nullptr;
}

void Store::settle() {
    const ULONGLONG now = m_clock();
    {
        const Shared hold(m_lock);
        if (!m_model.node.is_due(now)) {
            return;
        }
    }
    const Exclusive hold(m_lock);
    settle_node(m_model, now);
    report_changes();
}

void Store::report_changes() {
    if (m_change_sink) {
        m_change_sink(m_model, m_model.take_changes());
    }
}

opal_status Store::get_property(const opal_objid& id, const std::string& name, Value& value,
                                ResultFault& /*fault*/) {
    settle();
    const Shared hold(m_lock);
    opal_status status = ZTSTATUS_OK;
    const Object* object = locate(id, status);
    if (object == nullptr) {
        return status;
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
    opal_status status = ZTSTATUS_OK;
    if (Object* object = locate(id, status)) {
        m_model.set(*object, property.name, property.value);
        report_changes();
    }
    return status;
}

opal_status Store::get_properties(const opal_objid& id, PropertySet& properties) {
    settle();
    const Shared hold(m_lock);
    opal_status status = ZTSTATUS_OK;
    if (const Object* object = locate(id, status)) {
        properties = object->properties;
    }
    return status;
}

opal_status Store::get_type(const opal_objid& id, std::string& type, ResultFault& /*fault*/) {
    const Shared hold(m_lock);
    opal_status status = ZTSTATUS_OK;
    if (const Object* object = locate(id, status)) {
        type = object->type;
    }
    return status;
}

opal_status Store::related(const opal_objid& id, std::vector<opal_objid> Object::*relation,
                           const std::string& type, std::vector<opal_objid>& ids) {
    const Shared hold(m_lock);
    opal_status status = ZTSTATUS_OK;
    const Object* object = locate(id, status);
    if (object == nullptr) {
        return status;
    }
    ids.clear();
    for (const opal_objid& other_id : object->*relation) {
        const Object* other = m_model.find(other_id);
        if (!other->hidden && (type.empty() || other->type == type)) {
            ids.push_back(other_id);
        }
    }
    return status;
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
    opal_status status = ZTSTATUS_OK;
    if (locate(id, status) != nullptr) {
        m_model.remove(id);
        report_changes();
    }
    return status;
}

opal_status Store::get_objects(const std::string& type, std::vector<opal_objid>& ids) {
    const Shared hold(m_lock);
    ids.clear();
    for (const opal_objid& id : m_model.of_type(type)) {
        if (!m_model.find(id)->hidden) {
            ids.push_back(id);
        }
    }
    return ZTSTATUS_OK;
}

opal_status Store::query(const std::wstring& text, std::vector<opal_objid>& ids) {
    settle();
    Query query;
    if (!parse_query(text, query)) {
        return ZTERROR_BAD_QUERY;
    }
    const Exclusive hold(m_lock);  // the first query of a property builds an index
    ids = m_model.matching(query.type, query.property, query.value);
    return ZTSTATUS_OK;
}

opal_status Store::invoke(const opal_objid& target_id, const GUID& interface_id,
                          std::uint32_t major, std::uint32_t minor, const PropertySet& input,
                          PropertySet& output) {
    settle();
    std::vector<std::string> alerts;
    opal_status status = ZTSTATUS_OK;
    {
        const Exclusive hold(m_lock);
        if (Object* target = locate(target_id, status)) {
            const MethodHandler handler = find_method(interface_id, major, minor, target->type);
            MethodCall call{m_model, *target, input, output, alerts, m_clock()};
            status = handler != nullptr ? handler(call) : ZTERROR_UNKNOWN_METHOD;
            report_changes();
        }
    }
    for (const std::string& alert : alerts) {
        raise_alert(alert);
    }
    return status;
}

std::string Store::name_of(const opal_objid& id) {
    if (is_null(id)) {
        return "null";
    }
    const Shared hold(m_lock);
    if (const Object* object = m_model.find(id)) {
        return object->name;
    }
    return hex_string(id.bytes, sizeof id.bytes);
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

void Store::set_change_sink(ChangeSink sink) {
    const Exclusive hold(m_lock);
    m_change_sink = std::move(sink);
    m_model.track_changes(static_cast<bool>(m_change_sink));
    m_model.take_changes();
    if (!m_change_sink) {
        return;
    }
    std::vector<opal_objid> all = m_model.of_type(ZTTYPE_DISK_GROUP);
    const std::vector<opal_objid>& volumes = m_model.of_type(ZTTYPE_VOLUME);
    all.insert(all.end(), volumes.begin(), volumes.end());
    m_change_sink(m_model, all);
}

void Store::change(const std::function<void(Model& model)>& work) {
    settle();
    const Exclusive hold(m_lock);
    work(m_model);
    report_changes();
}

void Store::raise_alert(const std::string& name) {
    const Shared hold(m_sink_lock);
    if (m_sink) {
        m_sink(name);
    }
}

FaultScope service_scope(Store& store) {
    return {.service_only = true, .has_object = [&store](const std::string& name) {
                opal_objid id;
                return name == "null" || store.find_named(name, id);
            }};
}

}  // namespace lab
