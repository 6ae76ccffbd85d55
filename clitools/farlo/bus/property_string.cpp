// CZtPropertySet::ToString: one property in readable form.
#include "bus/i18n_string.h"
#include "bus/property_set.h"
#include "bus/status.h"
#include "bus/trace.h"
#include "bus/type_names.h"

#include <cstdio>
#include <optional>

namespace farlo {
namespace {

template <class Number> std::string formatted(const char* format, Number number) {
    char string[32];
    _snprintf(string, sizeof string, format, number);
    return string;
}

std::string render(bool value) {
    return value ? "true" : "false";
}
std::string render(std::int32_t value) {
    return formatted("%ld", static_cast<long>(value));
}
std::string render(std::uint32_t value) {
    return formatted("%lu", static_cast<unsigned long>(value));
}
std::string render(std::int64_t value) {
    return formatted("%I64d", value);
}
std::string render(std::uint64_t value) {
    return formatted("%I64u", value);
}
std::string render(const std::string& value) {
    return value;
}
// Returns nothing when a character is not in the code page.
std::optional<std::string> render(const std::wstring& value) {
    std::string string;
    return to_narrow(value.c_str(), string) ? std::optional(string) : std::nullopt;
}
std::string render(const ZtBinary& value) {
    std::string string;
    for (std::uint32_t i = 0; i < value.size; ++i) {
        string += formatted("%02x", value.bytes.get()[i]);
    }
    return string;
}
std::string render(const GUID& value) {
    const BusBlock<char> string(ZtGUIDToString(&value));
    if (string == nullptr) {
        throw ZTERROR_NO_MEMORY;
    }
    return string.get();
}
std::string render(const opal_objid& value) {
    GUID guid;
    static_assert(sizeof guid == sizeof value);
    memcpy(&guid, &value, sizeof guid);
    return render(guid);
}
std::string render(const ZtI18n& value) {
    return CZtI18NFM(value).string();
}
std::string render(const ZtI18nFormat& value) {
    return CZtI18NFM(value).string();
}
// The bus has no string form of a time, so its number is shown.
std::string render(const ZtTime& value) {
    return render(value.value);
}
std::string render(const CZtTempPropertySet& value) {
    std::vector<std::string> names;
    value.GetKeys(names);
    std::string string = "{";
    const char* separator = "";
    for (const std::string& name : names) {
        std::string member;
        value.ToString(member, name.c_str());
        string += separator + name + "=" + member;
        separator = ", ";
    }
    return string + "}";
}
template <class T> std::optional<std::string> render(const std::vector<T>& values) {
    std::string string = "{";
    const char* separator = "";
    for (const T& value : values) {
        const std::optional<std::string> element = render(value);
        if (!element) {
            return std::nullopt;
        }
        string += separator + *element;
        separator = ", ";
    }
    return string + "}";
}

template <class T> std::optional<std::string> render_as(const opal_property& property) {
    T value{};
    return copy_value(property, value) ? std::optional<std::string>(render(value)) : std::nullopt;
}

// Returns nothing when the value is malformed or its type is not a valid one.
std::optional<std::string> render_value(const opal_property& property) {
    switch (property.type) {
    case TYPE_BOOLEAN:
        return render_as<bool>(property);
    case TYPE_INT32:
        return render_as<std::int32_t>(property);
    case TYPE_UINT32:
        return render_as<std::uint32_t>(property);
    case TYPE_INT64:
        return render_as<std::int64_t>(property);
    case TYPE_UINT64:
        return render_as<std::uint64_t>(property);
    case TYPE_STR:
        return render_as<std::string>(property);
    case TYPE_WSTR:
        return render_as<std::wstring>(property);
    case TYPE_BINARY:
        return render_as<ZtBinary>(property);
    case TYPE_GUID:
        return render_as<GUID>(property);
    case TYPE_PROPSET:
        return render_as<CZtTempPropertySet>(property);
    case TYPE_ZTOBJID:
        return render_as<opal_objid>(property);
    case TYPE_I18N:
        return render_as<ZtI18n>(property);
    case TYPE_I18NFORMATSTRING:
        return render_as<ZtI18nFormat>(property);
    case TYPE_TIME:
        return render_as<ZtTime>(property);
    case TYPE_BOOLEANZ:
        return render_as<std::vector<bool>>(property);
    case TYPE_INT32Z:
        return render_as<std::vector<std::int32_t>>(property);
    case TYPE_UINT32Z:
        return render_as<std::vector<std::uint32_t>>(property);
    case TYPE_INT64Z:
        return render_as<std::vector<std::int64_t>>(property);
    case TYPE_UINT64Z:
        return render_as<std::vector<std::uint64_t>>(property);
    case TYPE_STRZ:
        return render_as<std::vector<std::string>>(property);
    case TYPE_WSTRZ:
        return render_as<std::vector<std::wstring>>(property);
    case TYPE_GUIDZ:
        return render_as<std::vector<GUID>>(property);
    case TYPE_PROPSETZ:
        return render_as<std::vector<CZtTempPropertySet>>(property);
    case TYPE_ZTOBJIDZ:
        return render_as<std::vector<opal_objid>>(property);
    case TYPE_I18NZ:
        return render_as<std::vector<ZtI18n>>(property);
    case TYPE_I18NFORMATSTRINGZ:
        return render_as<std::vector<ZtI18nFormat>>(property);
    case TYPE_TIMEZ:
        return render_as<std::vector<ZtTime>>(property);
    default:
        return std::nullopt;
    }
}

}  // namespace

bool CZtPropertySet::ToString(std::string& string, const char* name, bool optional,
                              bool with_type) const {
    // FindProperty would trace the same failure a second time.
    BusProperty property;
    const std::uint32_t status = PsFindProperty(m_set, name, property.receive());
    if (is_failure(status)) {
        if (optional) {
            return false;
        }
        ZtTrace(trace_level_failure,
                "%S: ERROR: CZtPropertySet::ToString(propId), property (%s) doesn't exist in this "
                "property set, and isOptionalProp=opal_false.",
                provider_name, name);
        throw status;
    }
    const std::uint32_t type = property.get().type;
    const std::optional<std::string> value = render_value(property.get());
    if (!value) {
        reject_value(property, name, type);
    }
    string = (with_type ? names_of_type(type).label : "") + *value;
    return true;
}

}  // namespace farlo
