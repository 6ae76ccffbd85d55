// Reading the value of a bus property as a C++ type. The property's type tag is checked
// first.
//
// No reader reads beyond the size that the property states. A value is malformed if it
// is shorter than its type, a string without a terminator within its size, a NULL
// string, or a string that cannot be converted. A malformed value is traced and refused
// like a value of another type.
#pragma once

#include "bus/bus_memory.h"
#include "ztbus3.h"

#include <cstdint>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace farlo {

class CZtTempPropertySet;

// A TYPE_TIME value: 100 ns steps since 1601-01-01 UTC.
struct ZtTime {
    std::int64_t value = 0;
};

// A TYPE_BINARY value, copied into memory of the bus; NULL when it is empty.
struct ZtBinary {
    BusBlock<std::uint8_t> bytes;
    std::uint32_t size = 0;
};

// A TYPE_I18N value.
struct ZtI18n {
    std::uint32_t message_id = 0;
    std::string name;
    std::string catalog;
};

// A TYPE_I18NFORMATSTRING value; wide insertions are converted to narrow.
struct ZtI18nFormat {
    std::string pattern;
    std::vector<std::string> insertions;
};

// A string property that is read in place. The string lives as long as this object.
// Saves the copy where a string is only compared or copied.
template <class Char> class StringProperty {
  public:
    // Never NULL.
    const Char* c_str() const { return m_string; }
    std::size_t length() const { return m_length; }

    // Takes over a property whose tag has been checked, and frees the previous one.
    // Returns false, and changes nothing, when the value is malformed.
    [[nodiscard]] bool take(BusProperty& property);

  private:
    BusProperty m_property;
    const Char* m_string = empty;
    std::size_t m_length = 0;
    static constexpr Char empty[1] = {};
};
using NarrowString = StringProperty<char>;
using WideString = StringProperty<wchar_t>;

// The tag of the properties that a C++ type is read from, and a second tag that is
// accepted.
template <class T> struct TypeTag;
template <std::uint32_t Tag, std::uint32_t Also = Tag> struct TypeTagIs {
    static constexpr std::uint32_t tag = Tag;
    static constexpr std::uint32_t also = Also;
};
template <> struct TypeTag<bool> : TypeTagIs<TYPE_BOOLEAN> {};
template <> struct TypeTag<std::int32_t> : TypeTagIs<TYPE_INT32> {};
template <> struct TypeTag<std::uint32_t> : TypeTagIs<TYPE_UINT32> {};
template <> struct TypeTag<std::int64_t> : TypeTagIs<TYPE_INT64> {};
template <> struct TypeTag<std::uint64_t> : TypeTagIs<TYPE_UINT64> {};
template <> struct TypeTag<std::string> : TypeTagIs<TYPE_STR> {};
template <> struct TypeTag<NarrowString> : TypeTagIs<TYPE_STR> {};
template <> struct TypeTag<std::wstring> : TypeTagIs<TYPE_WSTR> {};
template <> struct TypeTag<WideString> : TypeTagIs<TYPE_WSTR> {};
template <> struct TypeTag<ZtBinary> : TypeTagIs<TYPE_BINARY> {};
template <> struct TypeTag<GUID> : TypeTagIs<TYPE_GUID> {};
template <> struct TypeTag<CZtTempPropertySet> : TypeTagIs<TYPE_PROPSET> {};
template <> struct TypeTag<opal_objid> : TypeTagIs<TYPE_ZTOBJID, TYPE_GUID> {};
template <> struct TypeTag<ZtI18n> : TypeTagIs<TYPE_I18N> {};
template <> struct TypeTag<ZtI18nFormat> : TypeTagIs<TYPE_I18NFORMATSTRING> {};
template <> struct TypeTag<ZtTime> : TypeTagIs<TYPE_TIME> {};
template <class T>
struct TypeTag<std::vector<T>>
    : TypeTagIs<TYPE_ARRAY_BIT | TypeTag<T>::tag, TYPE_ARRAY_BIT | TypeTag<T>::also> {};
// Messages and format patterns are also read into lists.
template <class T> struct TypeTag<std::list<T>> : TypeTagIs<TYPE_ARRAY_BIT | TypeTag<T>::tag> {};

// Traces that the property is not of the type whose tag is `wanted`, frees the property
// and throws ZTERROR_PROPERTY.
[[noreturn]] void reject_value(BusProperty& property, const char* name, std::uint32_t wanted);

// Converts a string to the code page with the bus's own function. Returns false when a
// character is not in the code page.
[[nodiscard]] bool to_narrow(const wchar_t* wide, std::string& value);

// Copies the value of a property whose tag has been checked. Returns false, leaves
// `value` unchanged and traces nothing when the value is malformed. Throws the status
// of a bus call that fails.
[[nodiscard]] bool copy_value(const opal_property& property, bool& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::int32_t& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::uint32_t& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::int64_t& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::uint64_t& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::string& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::wstring& value);
[[nodiscard]] bool copy_value(const opal_property& property, ZtBinary& value);
[[nodiscard]] bool copy_value(const opal_property& property, GUID& value);
[[nodiscard]] bool copy_value(const opal_property& property, CZtTempPropertySet& value);
[[nodiscard]] bool copy_value(const opal_property& property, opal_objid& value);
[[nodiscard]] bool copy_value(const opal_property& property, ZtI18n& value);
[[nodiscard]] bool copy_value(const opal_property& property, ZtI18nFormat& value);
[[nodiscard]] bool copy_value(const opal_property& property, ZtTime& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<bool>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<std::int32_t>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<std::uint32_t>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<std::int64_t>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<std::uint64_t>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<std::string>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<std::wstring>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<GUID>& value);
[[nodiscard]] bool copy_value(const opal_property& property,
                              std::vector<CZtTempPropertySet>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<opal_objid>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<ZtI18n>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::list<ZtI18n>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<ZtI18nFormat>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::list<ZtI18nFormat>& value);
[[nodiscard]] bool copy_value(const opal_property& property, std::vector<ZtTime>& value);

// GetProp of property sets and of objects. `find` receives a BusProperty and returns
// whether there is such a property; `value` is unchanged if there is not.
template <class T, class Find> bool read_typed(const char* name, T& value, Find&& find) {
    constexpr bool in_place = std::is_same_v<T, NarrowString> || std::is_same_v<T, WideString>;
    BusProperty property;
    if (!find(property)) {
        return false;
    }
    const auto read = [&] {
        if constexpr (in_place) {
            return value.take(property);
        } else {
            return copy_value(property.get(), value);
        }
    };
    const std::uint32_t type = property.get().type;
    if ((type != TypeTag<T>::tag && type != TypeTag<T>::also) || !read()) {
        reject_value(property, name, TypeTag<T>::tag);
    }
    return true;
}

}  // namespace farlo
