#include "typed_value.h"

#include "property_set.h"
#include "status.h"
#include "trace.h"
#include "type_names.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace farlo {
namespace {

// The element at an index of a property's value, checked against its size.
template <class T> T element(const opal_property& property, std::size_t index) {
    if (property.value == nullptr || property.size / sizeof(T) <= index) {
        throw ZTERROR_PROPERTY;
    }
    T value;
    std::memcpy(&value, static_cast<const char*>(property.value) + index * sizeof(T), sizeof(T));
    return value;
}

// How many characters stand before the terminator.
template <class Char> std::size_t text_length(const opal_property& property) {
    const auto* text = static_cast<const Char*>(property.value);
    const std::size_t capacity = property.size / sizeof(Char);
    for (std::size_t length = 0; text != nullptr && length < capacity; ++length) {
        if (text[length] == 0) {
            return length;
        }
    }
    throw ZTERROR_PROPERTY;
}

template <class Char> std::basic_string<Char> text(const opal_property& property) {
    return {static_cast<const Char*>(property.value), text_length<Char>(property)};
}

// A text that a value points to; the bus terminates it and it is never NULL.
template <class Char> std::basic_string<Char> pointed_text(const Char* pointer) {
    if (pointer == nullptr) {
        throw ZTERROR_PROPERTY;
    }
    return pointer;
}

std::string narrow(const wchar_t* wide) {
    const std::size_t length = Ztwcstombs(nullptr, wide, 0);
    if (length == static_cast<std::size_t>(-1)) {
        throw ZTERROR_PROPERTY;
    }
    std::string text(length + 1, '\0');
    Ztwcstombs(text.data(), wide, text.size());
    text.resize(length);
    return text;
}

void convert(opal_bool raw, bool& value) {
    value = raw != opal_false;
}
void convert(const char* raw, std::string& value) {
    value = pointed_text(raw);
}
void convert(const wchar_t* raw, std::wstring& value) {
    value = pointed_text(raw);
}
void convert(const opal_i18n& raw, ZtI18n& value) {
    value = {raw.message_id, pointed_text(raw.name), pointed_text(raw.catalog)};
}
void convert(const opal_i18n_format& raw, ZtI18nFormat& value) {
    if (raw.insertion_count != 0 && raw.insertions == nullptr) {
        throw ZTERROR_PROPERTY;
    }
    ZtI18nFormat format{pointed_text(raw.pattern), {}};
    for (std::uint32_t i = 0; i < raw.insertion_count; ++i) {
        const opal_insertion& insertion = raw.insertions[i];
        format.insertions.push_back(insertion.wide_text != nullptr ? narrow(insertion.wide_text)
                                                                   : pointed_text(insertion.text));
    }
    value = std::move(format);
}
void convert(std::int64_t raw, ZtTime& value) {
    value.value = raw;
}
void convert(opal_propset raw, CZtTempPropertySet& value) {
    opal_propset copy = nullptr;
    throw_on_failure(PsCopyPropset(raw, &copy));
    value = CZtTempPropertySet(copy);
}
template <class T> void convert(const T& raw, T& value) {
    value = raw;
}

template <class Raw, class T> void copy_scalar(const opal_property& property, T& value) {
    convert(element<Raw>(property, 0), value);
}

// Replaces the container whole, so that a value that fails leaves it alone.
template <class Raw, class Container>
void copy_array(const opal_property& property, Container& values) {
    Container copy;
    if constexpr (requires { copy.reserve(1); }) {
        copy.reserve(std::min<std::size_t>(property.count, property.size / sizeof(Raw)));
    }
    for (std::uint32_t i = 0; i < property.count; ++i) {
        typename Container::value_type value{};
        convert(element<Raw>(property, i), value);
        copy.push_back(std::move(value));
    }
    values = std::move(copy);
}

// Made here as an empty set would be a bus call of its own.
void copy_sets(const opal_property& property, std::vector<CZtTempPropertySet>& values) {
    std::vector<CZtTempPropertySet> copy;
    for (std::uint32_t i = 0; i < property.count; ++i) {
        opal_propset set = nullptr;
        throw_on_failure(PsCopyPropset(element<opal_propset>(property, i), &set));
        copy.push_back(CZtTempPropertySet(set));
    }
    values = std::move(copy);
}

}  // namespace

template <class Char> void TextProperty<Char>::take(BusProperty& property) {
    m_length = text_length<Char>(property.get());
    m_text = static_cast<const Char*>(property.get().value);
    m_property.swap(property);
}
template class TextProperty<char>;
template class TextProperty<wchar_t>;

void reject_type(BusProperty& property, const char* name, std::uint32_t wanted) {
    ZtTrace(trace_level_type, names_of_type(wanted).mismatch, provider_name, name);
    property.free();
    throw ZTERROR_PROPERTY;
}

void copy_value(const opal_property& property, bool& value) {
    copy_scalar<opal_bool>(property, value);
}
void copy_value(const opal_property& property, std::int32_t& value) {
    copy_scalar<std::int32_t>(property, value);
}
void copy_value(const opal_property& property, std::uint32_t& value) {
    copy_scalar<std::uint32_t>(property, value);
}
void copy_value(const opal_property& property, std::int64_t& value) {
    copy_scalar<std::int64_t>(property, value);
}
void copy_value(const opal_property& property, std::uint64_t& value) {
    copy_scalar<std::uint64_t>(property, value);
}
void copy_value(const opal_property& property, std::string& value) {
    value = text<char>(property);
}
void copy_value(const opal_property& property, std::wstring& value) {
    value = text<wchar_t>(property);
}
void copy_value(const opal_property& property, ZtBinary& value) {
    if (property.size == 0) {
        value = {};
        return;
    }
    if (property.value == nullptr) {
        throw ZTERROR_PROPERTY;
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
}
void copy_value(const opal_property& property, GUID& value) {
    copy_scalar<GUID>(property, value);
}
void copy_value(const opal_property& property, CZtTempPropertySet& value) {
    copy_scalar<opal_propset>(property, value);
}
void copy_value(const opal_property& property, opal_objid& value) {
    copy_scalar<opal_objid>(property, value);
}
void copy_value(const opal_property& property, ZtI18n& value) {
    copy_scalar<opal_i18n>(property, value);
}
void copy_value(const opal_property& property, ZtI18nFormat& value) {
    copy_scalar<opal_i18n_format>(property, value);
}
void copy_value(const opal_property& property, ZtTime& value) {
    copy_scalar<std::int64_t>(property, value);
}
void copy_value(const opal_property& property, std::vector<bool>& value) {
    copy_array<opal_bool>(property, value);
}
void copy_value(const opal_property& property, std::vector<std::int32_t>& value) {
    copy_array<std::int32_t>(property, value);
}
void copy_value(const opal_property& property, std::vector<std::uint32_t>& value) {
    copy_array<std::uint32_t>(property, value);
}
void copy_value(const opal_property& property, std::vector<std::int64_t>& value) {
    copy_array<std::int64_t>(property, value);
}
void copy_value(const opal_property& property, std::vector<std::uint64_t>& value) {
    copy_array<std::uint64_t>(property, value);
}
void copy_value(const opal_property& property, std::vector<std::string>& value) {
    copy_array<const char*>(property, value);
}
void copy_value(const opal_property& property, std::vector<std::wstring>& value) {
    copy_array<const wchar_t*>(property, value);
}
void copy_value(const opal_property& property, std::vector<GUID>& value) {
    copy_array<GUID>(property, value);
}
void copy_value(const opal_property& property, std::vector<CZtTempPropertySet>& value) {
    copy_sets(property, value);
}
void copy_value(const opal_property& property, std::vector<opal_objid>& value) {
    copy_array<opal_objid>(property, value);
}
void copy_value(const opal_property& property, std::vector<ZtI18n>& value) {
    copy_array<opal_i18n>(property, value);
}
void copy_value(const opal_property& property, std::list<ZtI18n>& value) {
    copy_array<opal_i18n>(property, value);
}
void copy_value(const opal_property& property, std::vector<ZtI18nFormat>& value) {
    copy_array<opal_i18n_format>(property, value);
}
void copy_value(const opal_property& property, std::list<ZtI18nFormat>& value) {
    copy_array<opal_i18n_format>(property, value);
}
void copy_value(const opal_property& property, std::vector<ZtTime>& value) {
    copy_array<std::int64_t>(property, value);
}

}  // namespace farlo
