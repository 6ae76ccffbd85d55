// Typed values and property sets as the lab stores and sends them.
#pragma once

#include "ztbus3.h"

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

namespace lab {

struct Property;
using PropertySet = std::vector<Property>;  // in the order they were added

struct I18n {
    std::uint32_t message_id = 0;
    std::string name;
    std::string catalog;
};

using Insertion = std::variant<std::string, std::wstring>;

struct I18nFormat {
    std::string pattern;
    std::vector<Insertion> insertions;
};

using Bytes = std::vector<std::uint8_t>;

// One element of a value. TYPE_TIME is stored as std::int64_t.
using Scalar = std::variant<bool, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                            std::string, std::wstring, Bytes, GUID, opal_objid,
                            std::shared_ptr<PropertySet>, I18n, I18nFormat>;

// A value with its type tag: one element, or any number for an array type. The
// elements have the C++ type that belongs to the tag.
struct Value {
    std::uint32_t type = 0;
    std::vector<Scalar> elements;

    bool is_array() const { return (type & TYPE_ARRAY_BIT) != 0; }
    std::uint32_t element_type() const { return type & ~TYPE_ARRAY_BIT; }
};

struct Property {
    std::string name;
    Value value;
};

// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}" in lower-case hexadecimal.
std::string guid_string(const GUID& guid);

// Two lower-case hexadecimal digits per byte.
std::string hex_string(const std::uint8_t* bytes, std::size_t size);

// Formats a string for people, on one line: in double quotes, with backslash
// escapes for quotes, backslashes and everything that is not printable ASCII.
std::string quoted(const std::string& text);
std::string quoted(const std::wstring& text);

// The property of that name, or nullptr.
const Property* find(const PropertySet& set, const std::string& name);

// Deep equality of type and contents.
bool same(const Value& left, const Value& right);
bool same(const PropertySet& left, const PropertySet& right);

// The type's name without "TYPE_": "WSTR", "UINT32Z". "?" for an unknown tag.
const char* type_name(std::uint32_t type);

// The tag of the type with that name; 0 if there is none.
std::uint32_t type_tag(const std::string& name);

// Formats a value for people: strings as quoted() does, booleans as true and
// false, numbers in decimal, bytes in hexadecimal, arrays in brackets, sets in
// braces. `name_of` formats object ids.
using ObjectNamer = std::string (*)(const opal_objid& id, const void* context);
std::string to_text(const Value& value, ObjectNamer name_of, const void* context);
std::string to_text(const PropertySet& set, ObjectNamer name_of, const void* context);

}  // namespace lab
