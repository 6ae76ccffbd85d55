#include "bus/typed_value.h"

#include "bus/property_set.h"
#include "bus/status.h"
#include "bus/trace.h"
#include "bus/type_names.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace farlo {
namespace {

// Reads the element at an index of a property's value. Returns false when it is not
// within the value's size.
template <class T>
[[nodiscard]] bool element(const opal_property& property, std::size_t index, T& value) {
    if (property.value == nullptr || property.size / sizeof(T) <= index) {
        return false;
    }
    std::memcpy(&value, static_cast<const char*>(property.value) + index * sizeof(T), sizeof(T));
    return true;
}

// Counts the characters before the terminator. Returns false when there is no
// terminator within the value's size.
template <class Char>
[[nodiscard]] bool string_length(const opal_property& property, std::size_t& length) {
    const auto* string = static_cast<const Char*>(property.value);
    const std::size_t capacity = property.size / sizeof(Char);
    for (std::size_t i = 0; string != nullptr && i < capacity; ++i) {
        if (string[i] == 0) {
            length = i;
            return true;
        }
    }
    return false;
}

template <class Char>
[[nodiscard]] bool copy_string(const opal_property& property, std::basic_string<Char>& value) {
    std::size_t length = 0;
    if (!string_length<Char>(property, length)) {
        return false;
    }
    value.assign(static_cast<const Char*>(property.value), length);
    return true;
}

// Converts an element of the bus to the C++ type. The value is undefined when the
// element is malformed; the bus terminates the strings that an element points to.
[[nodiscard]] bool convert(opal_bool raw, bool& value) {
    value = raw != opal_false;
    return true;
}
template <class Char> [[nodiscard]] bool convert(const Char* raw, std::basic_string<Char>& value) {
    if (raw == nullptr) {
        return false;
    }
    value = raw;
    return true;
}
[[nodiscard]] bool convert(const opal_i18n& raw, ZtI18n& value) {
    value.message_id = raw.message_id;
    return convert(raw.name, value.name) && convert(raw.catalog, value.catalog);
}
[[nodiscard]] bool convert(const opal_insertion& raw, std::string& value) {
    return raw.wide_string != nullptr ? to_narrow(raw.wide_string, value)
                                      : convert(raw.string, value);
}
[[nodiscard]] bool convert(const opal_i18n_format& raw, ZtI18nFormat& value) {
    if (raw.insertion_count != 0 && raw.insertions == nullptr) {
        return false;
    }
    for (std::uint32_t i = 0; i < raw.insertion_count; ++i) {
        if (!convert(raw.insertions[i], value.insertions.emplace_back())) {
            return false;
        }
    }
    return convert(raw.pattern, value.pattern);
}
[[nodiscard]] bool convert(std::int64_t raw, ZtTime& value) {
    value.value = raw;
    return true;
}
[[nodiscard]] bool convert(opal_propset raw, CZtTempPropertySet& value) {
    opal_propset copy = nullptr;
    throw_on_failure(PsCopyPropset(raw, &copy));
    value = CZtTempPropertySet(copy);
    return true;
}
template <class T> [[nodiscard]] bool convert(const T& raw, T& value) {
    value = raw;
    return true;
}

// A value to convert into. The property set has no handle: creating one would be an
// extra bus call.
template <class T> T blank() {
    return {};
}
template <> CZtTempPropertySet blank<CZtTempPropertySet>() {
    return CZtTempPropertySet(opal_propset{});
}

template <class Raw, class T>
[[nodiscard]] bool copy_element(const opal_property& property, std::size_t index, T& value) {
    Raw raw;
    return element(property, index, raw) && convert(raw, value);
}

template <class Raw, class T>
[[nodiscard]] bool copy_scalar(const opal_property& property, T& value) {
    auto copy = blank<T>();
    if (!copy_element<Raw>(property, 0, copy)) {
        return false;
    }
    value = std::move(copy);
    return true;
}

template <class Raw, class Container>
[[nodiscard]] bool copy_array(const opal_property& property, Container& values) {
    Container copy;
    if constexpr (requires { copy.reserve(1); }) {
        copy.reserve(std::min<std::size_t>(property.count, property.size / sizeof(Raw)));
    }
    for (std::uint32_t i = 0; i < property.count; ++i) {
        auto value = blank<typename Container::value_type>();
        if (!copy_element<Raw>(property, i, value)) {
            return false;
        }
        copy.push_back(std::move(value));
    }
    values = std::move(copy);
    return true;
}

}  // namespace

template <class Char> bool StringProperty<Char>::take(BusProperty& property) {
    if (!string_length<Char>(property.get(), m_length)) {
        return false;
    }
    m_string = static_cast<const Char*>(property.get().value);
    m_property.swap(property);
    return true;
}
template class StringProperty<char>;
template class StringProperty<wchar_t>;

bool to_narrow(const wchar_t* wide, std::string& value) {
    const std::size_t length = Ztwcstombs(nullptr, wide, 0);
    if (length == static_cast<std::size_t>(-1)) {
        return false;
    }
    value.assign(length + 1, '\0');
    Ztwcstombs(value.data(), wide, value.size());
    value.resize(length);
    return true;
}

void reject_value(BusProperty& property, const char* name, std::uint32_t wanted) {
    ZtTrace(trace_level_type, names_of_type(wanted).mismatch, provider_name, name);
    property.free();
    throw ZTERROR_PROPERTY;
}

bool copy_value(const opal_property& property, bool& value) {
    return copy_scalar<opal_bool>(property, value);
}
bool copy_value(const opal_property& property, std::int32_t& value) {
    return copy_scalar<std::int32_t>(property, value);
}
bool copy_value(const opal_property& property, std::uint32_t& value) {
    return copy_scalar<std::uint32_t>(property, value);
}
bool copy_value(const opal_property& property, std::int64_t& value) {
    return copy_scalar<std::int64_t>(property, value);
}
bool copy_value(const opal_property& property, std::uint64_t& value) {
    return copy_scalar<std::uint64_t>(property, value);
}
bool copy_value(const opal_property& property, std::string& value) {
    return copy_string(property, value);
}
bool copy_value(const opal_property& property, std::wstring& value) {
    return copy_string(property, value);
}
bool copy_value(const opal_property& property, ZtBinary& value) {
    if (property.size == 0) {
        value = {};
        return true;
    }
    if (property.value == nullptr) {
        return false;
    }
    BusBlock<std::uint8_t> bytes(static_cast<std::uint8_t*>(_ZtAlloc(property.size)));
    if (bytes == nullptr) {
        ZtTrace(
            trace_level_failure,
            "%S: ERROR: CZtPropertySet::GetProp(TYPE_BINARY) : Unable to allocate %d memory for "
            "property %s",
            provider_name, property.size, property.name);
        throw ZTERROR_NO_MEMORY;
    }
    std::memcpy(bytes.get(), property.value, property.size);
    value.bytes = std::move(bytes);
    value.size = property.size;
    return true;
}
bool copy_value(const opal_property& property, GUID& value) {
    return copy_scalar<GUID>(property, value);
}
bool copy_value(const opal_property& property, CZtTempPropertySet& value) {
    return copy_scalar<opal_propset>(property, value);
}
bool copy_value(const opal_property& property, opal_objid& value) {
    return copy_scalar<opal_objid>(property, value);
}
bool copy_value(const opal_property& property, ZtI18n& value) {
    return copy_scalar<opal_i18n>(property, value);
}
bool copy_value(const opal_property& property, ZtI18nFormat& value) {
    return copy_scalar<opal_i18n_format>(property, value);
}
bool copy_value(const opal_property& property, ZtTime& value) {
    return copy_scalar<std::int64_t>(property, value);
}
bool copy_value(const opal_property& property, std::vector<bool>& value) {
    return copy_array<opal_bool>(property, value);
}
bool copy_value(const opal_property& property, std::vector<std::int32_t>& value) {
    return copy_array<std::int32_t>(property, value);
}
bool copy_value(const opal_property& property, std::vector<std::uint32_t>& value) {
    return copy_array<std::uint32_t>(property, value);
}
bool copy_value(const opal_property& property, std::vector<std::int64_t>& value) {
    return copy_array<std::int64_t>(property, value);
}
bool copy_value(const opal_property& property, std::vector<std::uint64_t>& value) {
    return copy_array<std::uint64_t>(property, value);
}
bool copy_value(const opal_property& property, std::vector<std::string>& value) {
    return copy_array<const char*>(property, value);
}
bool copy_value(const opal_property& property, std::vector<std::wstring>& value) {
    return copy_array<const wchar_t*>(property, value);
}
bool copy_value(const opal_property& property, std::vector<GUID>& value) {
    return copy_array<GUID>(property, value);
}
bool copy_value(const opal_property& property, std::vector<CZtTempPropertySet>& value) {
    return copy_array<opal_propset>(property, value);
}
bool copy_value(const opal_property& property, std::vector<opal_objid>& value) {
    return copy_array<opal_objid>(property, value);
}
bool copy_value(const opal_property& property, std::vector<ZtI18n>& value) {
    return copy_array<opal_i18n>(property, value);
}
bool copy_value(const opal_property& property, std::list<ZtI18n>& value) {
    return copy_array<opal_i18n>(property, value);
}
bool copy_value(const opal_property& property, std::vector<ZtI18nFormat>& value) {
    return copy_array<opal_i18n_format>(property, value);
}
bool copy_value(const opal_property& property, std::list<ZtI18nFormat>& value) {
    return copy_array<opal_i18n_format>(property, value);
}
bool copy_value(const opal_property& property, std::vector<ZtTime>& value) {
    return copy_array<std::int64_t>(property, value);
}

}  // namespace farlo
