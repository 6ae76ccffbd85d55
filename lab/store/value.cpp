#include "store/value.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace lab {
namespace {

struct TypeName {
    std::uint32_t tag;
    const char* name;
};

constexpr TypeName type_names[] = {
    {TYPE_BOOLEAN, "BOOLEAN"},
    {TYPE_INT32, "INT32"},
    {TYPE_UINT32, "UINT32"},
    {TYPE_INT64, "INT64"},
    {TYPE_UINT64, "UINT64"},
    {TYPE_STR, "STR"},
    {TYPE_WSTR, "WSTR"},
    {TYPE_BINARY, "BINARY"},
    {TYPE_GUID, "GUID"},
    {TYPE_PROPSET, "PROPSET"},
    {TYPE_ZTOBJID, "ZTOBJID"},
    {TYPE_I18N, "I18N"},
    {TYPE_I18NFORMATSTRING, "I18NFORMATSTRING"},
    {TYPE_TIME, "TIME"},
    {TYPE_BOOLEANZ, "BOOLEANZ"},
    {TYPE_INT32Z, "INT32Z"},
    {TYPE_UINT32Z, "UINT32Z"},
    {TYPE_INT64Z, "INT64Z"},
    {TYPE_UINT64Z, "UINT64Z"},
    {TYPE_STRZ, "STRZ"},
    {TYPE_WSTRZ, "WSTRZ"},
    {TYPE_GUIDZ, "GUIDZ"},
    {TYPE_PROPSETZ, "PROPSETZ"},
    {TYPE_ZTOBJIDZ, "ZTOBJIDZ"},
    {TYPE_I18NZ, "I18NZ"},
    {TYPE_I18NFORMATSTRINGZ, "I18NFORMATSTRINGZ"},
    {TYPE_TIMEZ, "TIMEZ"},
};

bool same_scalar(const Scalar& left, const Scalar& right) {
    if (left.index() != right.index()) {
        return false;
    }
    return std::visit(
        [&right](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            const T& other = std::get<T>(right);
            if constexpr (std::is_same_v<T, GUID> || std::is_same_v<T, opal_objid>) {
                return std::memcmp(&value, &other, sizeof value) == 0;
            } else if constexpr (std::is_same_v<T, std::shared_ptr<PropertySet>>) {
                return same(*value, *other);
            } else if constexpr (std::is_same_v<T, I18n>) {
                return value.message_id == other.message_id && value.name == other.name &&
                       value.catalog == other.catalog;
            } else if constexpr (std::is_same_v<T, I18nFormat>) {
                return value.pattern == other.pattern && value.insertions == other.insertions;
            } else {
                return value == other;
            }
        },
        left);
}

// `escape` is the printf format for characters that are not printable ASCII.
template <class Char> std::string quote(const std::basic_string<Char>& text, const char* escape) {
    std::string result = "\"";
    for (const Char character : text) {
        if (character == '"' || character == '\\') {
            result += '\\';
        }
        if (character >= 0x20 && character < 0x7f) {
            result += static_cast<char>(character);
        } else {
            char digits[8];
            const auto code = static_cast<std::make_unsigned_t<Char>>(character);
            std::snprintf(digits, sizeof digits, escape, static_cast<unsigned>(code));
            result += digits;
        }
    }
    return result + '"';
}

class Renderer {
  public:
    Renderer(ObjectNamer name_of, const void* context) : m_name_of(name_of), m_context(context) {}

    std::string operator()(bool value) const { return value ? "true" : "false"; }
    template <class Number>
    requires std::is_integral_v<Number> std::string operator()(Number value) const {
        return std::to_string(value);
    }
    std::string operator()(const std::string& value) const { return quoted(value); }
    std::string operator()(const std::wstring& value) const { return quoted(value); }
    std::string operator()(const Bytes& value) const {
        return hex_string(value.data(), value.size());
    }
    std::string operator()(const GUID& value) const { return guid_string(value); }
    std::string operator()(const opal_objid& value) const {
        return "@" + m_name_of(value, m_context);
    }
    std::string operator()(const std::shared_ptr<PropertySet>& value) const {
        return to_text(*value, m_name_of, m_context);
    }
    std::string operator()(const I18n& value) const {
        return "message " + std::to_string(value.message_id) + " " + quoted(value.name) + " " +
               quoted(value.catalog);
    }
    std::string operator()(const I18nFormat& value) const {
        std::string result = "format " + quoted(value.pattern) + " [";
        for (const Insertion& insertion : value.insertions) {
            result += (result.back() == '[' ? "" : " ") +
                      std::visit([](const auto& text) { return quoted(text); }, insertion);
        }
        return result + "]";
    }

  private:
    ObjectNamer m_name_of;
    const void* m_context;
};

}  // namespace

std::string guid_string(const GUID& guid) {
    char text[40];
    std::snprintf(text, sizeof text, "{%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x}",
                  guid.Data1, guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1], guid.Data4[2],
                  guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
    return text;
}

std::string hex_string(const std::uint8_t* bytes, std::size_t size) {
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        text += digits;
    }
    return text;
}

std::string quoted(const std::string& text) {
    return quote(text, "\\x%02x");
}

std::string quoted(const std::wstring& text) {
    return quote(text, "\\u%04x");
}

const Property* find(const PropertySet& set, const std::string& name) {
    const auto found = std::find_if(set.begin(), set.end(), [&name](const Property& property) {
        return property.name == name;
    });
    return found == set.end() ? nullptr : &*found;
}

bool same(const Value& left, const Value& right) {
    return left.type == right.type &&
           std::equal(left.elements.begin(), left.elements.end(), right.elements.begin(),
                      right.elements.end(), same_scalar);
}

bool same(const PropertySet& left, const PropertySet& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const Property& one, const Property& other) {
                          return one.name == other.name && same(one.value, other.value);
                      });
}

const char* type_name(std::uint32_t type) {
    for (const TypeName& row : type_names) {
        if (row.tag == type) {
            return row.name;
        }
    }
    return "?";
}

std::uint32_t type_tag(const std::string& name) {
    for (const TypeName& row : type_names) {
        if (name == row.name) {
            return row.tag;
        }
    }
    return 0;
}

std::string to_text(const Value& value, ObjectNamer name_of, const void* context) {
    const Renderer renderer(name_of, context);
    if (!value.is_array()) {
        return value.elements.empty() ? "" : std::visit(renderer, value.elements.front());
    }
    std::string result = "[";
    for (const Scalar& element : value.elements) {
        result += (result.size() == 1 ? "" : " ") + std::visit(renderer, element);
    }
    return result + "]";
}

std::string to_text(const PropertySet& set, ObjectNamer name_of, const void* context) {
    std::string result = "{";
    for (const Property& property : set) {
        result += (result.size() == 1 ? "" : ", ") + quoted(property.name) + ": " +
                  type_name(property.value.type) + " " + to_text(property.value, name_of, context);
    }
    return result + "}";
}

}  // namespace lab
