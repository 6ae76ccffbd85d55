#include "bus/property_set.h"

#include "bus/status.h"
#include "bus/trace.h"

#include <cstring>
#include <cwchar>
#include <utility>

namespace farlo {
namespace {

std::uint32_t narrow_size(const char* string) {
    return static_cast<std::uint32_t>(std::strlen(string) + 1);
}

std::uint32_t wide_size(const wchar_t* string) {
    return static_cast<std::uint32_t>((std::wcslen(string) + 1) * sizeof(wchar_t));
}

}  // namespace

// ------------------------------------------------------------- CZtProperty

CZtProperty::CZtProperty(const char* name, bool value)
    : m_small{.boolean = value ? opal_true : opal_false}, m_property{name, TYPE_BOOLEAN, 1,
                                                                     sizeof m_small.boolean,
                                                                     &m_small} {}
CZtProperty::CZtProperty(const char* name, std::int32_t value)
    : m_small{.int32 = value}, m_property{name, TYPE_INT32, 1, sizeof m_small.int32, &m_small} {}
CZtProperty::CZtProperty(const char* name, std::uint32_t value)
    : m_small{.uint32 = value}, m_property{name, TYPE_UINT32, 1, sizeof m_small.uint32, &m_small} {}
CZtProperty::CZtProperty(const char* name, std::int64_t value)
    : m_small{.int64 = value}, m_property{name, TYPE_INT64, 1, sizeof m_small.int64, &m_small} {}
CZtProperty::CZtProperty(const char* name, std::uint64_t value)
    : m_small{.uint64 = value}, m_property{name, TYPE_UINT64, 1, sizeof m_small.uint64, &m_small} {}
CZtProperty::CZtProperty(const char* name, const char* value)
    : m_small{}, m_property{name, TYPE_STR, 1, 0, value != nullptr ? value : ""} {
    m_property.size = narrow_size(static_cast<const char*>(m_property.value));
}
CZtProperty::CZtProperty(const char* name, const wchar_t* value)
    : m_small{}, m_property{name, TYPE_WSTR, 1, 0, value != nullptr ? value : L""} {
    m_property.size = wide_size(static_cast<const wchar_t*>(m_property.value));
}
CZtProperty::CZtProperty(const char* name, const GUID& value)
    : m_small{.guid = value}, m_property{name, TYPE_GUID, 1, sizeof m_small.guid, &m_small} {}
CZtProperty::CZtProperty(const char* name, const opal_objid& value)
    : m_small{.object = value}, m_property{name, TYPE_ZTOBJID, 1, sizeof m_small.object, &m_small} {
}
CZtProperty::CZtProperty(const char* name, ZtTime value)
    : m_small{.int64 = value.value}, m_property{name, TYPE_TIME, 1, sizeof m_small.int64,
                                                &m_small} {}
CZtProperty::CZtProperty(const char* name, opal_propset value)
    : m_small{.set = value}, m_property{name, TYPE_PROPSET, 1, sizeof m_small.set, &m_small} {}
CZtProperty::CZtProperty(const char* name, const opal_i18n& value)
    : m_small{}, m_property{name, TYPE_I18N, 1, sizeof value, &value} {}
CZtProperty::CZtProperty(const char* name, const opal_i18n_format& value)
    : m_small{}, m_property{name, TYPE_I18NFORMATSTRING, 1, sizeof value, &value} {}
CZtProperty::CZtProperty(const char* name, const void* bytes, std::uint32_t size)
    : m_small{}, m_property{name, TYPE_BINARY, 1, size, bytes} {}
CZtProperty::CZtProperty(const char* name, std::uint32_t type, const void* elements,
                         std::uint32_t count, std::uint32_t size)
    : m_small{}, m_property{name, type, count, size, elements} {}

// ------------------------------------------------------ CZtPropertySetBase

void CZtPropertySetBase::AddProp(const char* name, const char* string) {
    const std::uint32_t status = PsAddProperty(m_set, &CZtProperty(name, string).bus());
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: CZtPropertySetBase::AddProp(), Failed to add property %s of type "
                "string",
                provider_name, name);
        throw status;
    }
}

void CZtPropertySetBase::AddProp(const char* name, const wchar_t* string) {
    const std::uint32_t status = PsAddProperty(m_set, &CZtProperty(name, string).bus());
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: CZtPropertySetBase::AddProp(), Failed to add property %s of type "
                "wstring",
                provider_name, name);
        throw status;
    }
}

// ---------------------------------------------------------- CZtPropertySet

void CZtPropertySet::Create() {
    const std::uint32_t status = PsCreatePropset(&m_set);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtPropertySet::Create() PsCreatePropset() failed", provider_name);
        throw status;
    }
}

void CZtPropertySet::Destroy() {
    const std::uint32_t status = PsDestroyPropset(m_set);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtPropertySet::Destroy() PsDestroyPropset() failed", provider_name);
        throw status;
    }
    m_set = nullptr;
}

bool CZtPropertySet::FindProperty(const char* name, BusProperty& property, bool optional) const {
    const std::uint32_t status = PsFindProperty(m_set, name, property.receive());
    if (!is_failure(status)) {
        return true;
    }
    if (optional) {
        return false;
    }
    ZtTrace(trace_level_failure,
            "%S: ERROR: CZtPropertySet::FindProperty() : Unable to find property %s", provider_name,
            name);
    throw status;
}

void CZtPropertySet::AddProperty(const CZtProperty& property) {
    const std::uint32_t status = PsAddProperty(m_set, &property.bus());
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: %x CZtPropertySet::AddProperty(CZtProperty) Failed to add property "
                "%s, %d",
                provider_name, status, property.bus().name, property.bus().type);
        throw status;
    }
}

void CZtPropertySet::AddProperty(const opal_property& property) {
    const std::uint32_t status = PsAddProperty(m_set, &property);
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtPropertySet::AddProperty(property) Failed to add property %s",
                provider_name, property.name);
        throw status;
    }
}

std::uint32_t CZtPropertySet::SetProperty(const CZtProperty& property) {
    const std::uint32_t status = PsSetProperty(m_set, &property.bus());
    if (status == ZTSTATUS_SAME_VALUE) {
        return 0;
    }
    if (is_failure(status)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: CZtPropertySet::SetProperty(CZtProperty) Failed to set property %s, "
                "setting a property to the same value twice is invalid.",
                provider_name, property.bus().name);
        throw status;
    }
    return status;
}

void CZtPropertySet::GetKeys(std::vector<std::string>& names) const {
    if (m_set == nullptr) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtPropertySet::GetKeys() Attempt to get keys on NULL propset "
                "failed",
                provider_name);
        throw ZTERROR_INVALID_ARGUMENT;
    }
    const std::uint32_t opened = PsOpenPropset(m_set);
    if (is_failure(opened)) {
        ZtTrace(trace_level_failure,
                "%S: ERROR: in CZtPropertySet::GetKeys() PsOpenPropset() failed", provider_name);
        throw opened;
    }
    std::vector<std::string> keys;
    for (;;) {
        BusProperty property;
        const std::uint32_t status = PsFindNextProperty(m_set, property.receive());
        if (status == ZTERROR_END_OF_SET) {
            break;
        }
        throw_on_failure(status);
        if (property.get().name == nullptr) {
            throw ZTERROR_PROPERTY;  // success without a property is a failure
        }
        keys.emplace_back(property.get().name);
    }
    names = std::move(keys);
}

// ------------------------------------------------------ CZtTempPropertySet

CZtTempPropertySet::CZtTempPropertySet() {
    try {
        Create();
    } catch (std::uint32_t) {
        ZtTrace(trace_level_failure, "ERROR: CZtTempPropertySet - Create() failed.");
        throw;
    }
}

CZtTempPropertySet::~CZtTempPropertySet() {
    destroy_quietly();
}

CZtTempPropertySet::CZtTempPropertySet(CZtTempPropertySet&& other) noexcept
    : CZtPropertySet(std::exchange(other.m_set, nullptr)) {}

CZtTempPropertySet& CZtTempPropertySet::operator=(CZtTempPropertySet&& other) noexcept {
    destroy_quietly();
    m_set = std::exchange(other.m_set, nullptr);
    return *this;
}

void CZtTempPropertySet::destroy_quietly() {
    if (m_set == nullptr) {
        return;
    }
    try {
        Destroy();
    } catch (std::uint32_t) {
        ZtTrace(trace_level_failure, "ERROR: CZtTempPropertySet - Destroy() failed.");
    }
}

}  // namespace farlo
