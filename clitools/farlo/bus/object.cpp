#include "bus/object.h"

#include "bus/status.h"
#include "bus/trace.h"

#include <utility>

namespace farlo {

CZtObject::~CZtObject() {
    if (m_transaction.handle() == nullptr) {
        return;
    }
    try {
        m_transaction.Destroy();
    } catch (std::uint32_t) {
        ZtTrace(trace_level_failure, "ERROR: ~CZtObject(): __m_transaction.Destroy() failed");
    }
}

CZtObject::CZtObject(CZtObject&& other) noexcept
    : m_pair(other.m_pair), m_id(other.m_id), m_transaction(other.m_transaction.release()) {}

bool CZtObject::GetProp(const char* name, BusProperty& property, bool optional) const {
    const std::uint32_t status =
        ObGetProperty(m_pair.connection, m_pair.context, &m_id, name, property.receive());
    if (!is_failure(status)) {
        return true;
    }
    if (optional) {
        return false;
    }
    ZtTrace(trace_level_failure, "%S: ERROR: CZtObject::GetProp() : Unable to find property %s",
            provider_name, name);
    throw status;
}

void CZtObject::AddProperty(const CZtProperty& property) {
    const std::uint32_t status =
        ObSetProperty(m_pair.connection, m_pair.context, &m_id, &property.bus());
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: CZtObject::AddProperty(const CZtProperty &property): ObSetProperty "
                "failed",
                provider_name);
        throw status;
    }
}

void CZtObject::AddProperty(const opal_property& property) {
    const std::uint32_t status = ObSetProperty(m_pair.connection, m_pair.context, &m_id, &property);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: CZtObject::AddProperty(const opal_property &property): ObSetProperty "
                "failed",
                provider_name);
        throw status;
    }
}

std::uint32_t CZtObject::Destroy() {
    const opal_objid null_id{};
    if (ObCompareId(&m_id, &null_id) == 0) {
        ZtTrace(trace_level_type,
                "%S: ERROR: in CZtObject::Destroy(), Cannot destroy a null object.", provider_name);
        throw ZTERROR_NULL_OBJECT;
    }
    const std::uint32_t status = ObDeleteObject(m_pair.connection, m_pair.context, &m_id);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure, "%S: ERROR: in CZtObject::Destroy() ObDeleteObject() failed",
                provider_name);
        throw status;
    }
    return status;
}

void CZtObject::GetProperties(CZtTempPropertySet& properties) const {
    opal_propset set = nullptr;
    const std::uint32_t status = ObGetProperties(m_pair.connection, m_pair.context, &m_id, &set);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtObject::GetProperties() ObGetProperties() failed", provider_name);
        throw status;
    }
    properties = CZtTempPropertySet(set);
}

void CZtObject::GetType(std::string& type) const {
    char* string = nullptr;
    const std::uint32_t status = ObGetObjectType(m_pair.connection, m_pair.context, &m_id, &string);
    const BusBlock<char> owner(string);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure, "%S: ERROR: in CZtObject::GetType() ObGetObjectType() failed",
                provider_name);
        throw status;
    }
    if (string == nullptr) {
        throw ZTERROR_PROPERTY;
    }
    type = string;
}

void CZtObject::GetChildObjects(std::vector<CZtObject>& objects, const char* type) const {
    BusIds ids;
    const std::uint32_t status =
        ObGetChildObjects(m_pair.connection, m_pair.context, &m_id, type, ids.ids(), ids.count());
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtObject::GetChildObjects() ObGetChildObjects() failed",
                provider_name);
        throw status;
    }
    append_objects(objects, m_pair, ids);
}

void CZtObject::GetParentObjects(const char* type, std::vector<CZtObject>& objects) const {
    BusIds ids;
    const std::uint32_t status =
        ObGetParentObjects(m_pair.connection, m_pair.context, &m_id, type, ids.ids(), ids.count());
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtObject::GetParentObjects(%s) ObGetParentObjects() failed",
                provider_name, type);
        throw status;
    }
    append_objects(objects, m_pair, ids);
}

std::wstring CZtObject::Name() const {
    std::wstring name;
    GetProp("Name", name);
    return name;
}

ZtI18n CZtObject::NameI18N() const {
    ZtI18n name;
    GetProp("NameI18N", name);
    return name;
}

std::uint32_t CZtObject::State() const {
    std::uint32_t state = 0;
    GetProp("State", state);
    return state;
}

ZtI18n CZtObject::StateDescription() const {
    ZtI18n description;
    GetProp("StateDescription", description);
    return description;
}

void append_objects(std::vector<CZtObject>& objects, const ConnectionPair& pair,
                    const BusIds& ids) {
    objects.reserve(objects.size() + ids.get().size());
    for (const opal_objid& id : ids.get()) {
        objects.emplace_back(pair, id);
    }
}

}  // namespace farlo
