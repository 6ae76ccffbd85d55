#include "store/scenario_values.h"

#include "store/scenario_members.h"
#include "store/string_conversions.h"

#include <cstdint>
#include <cstdio>

namespace lab {
namespace {

std::string read_narrow(const JsonNode& node) {
    return narrow_string(node, node.text());
}

Bytes read_bytes(const JsonNode& node) {
    const std::string& text = node.text();
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        unsigned byte = 0;
        int used = 0;
        if (std::sscanf(text.c_str() + i, "%2x%n", &byte, &used) != 1 || used != 2) {
            throw ScenarioError(node.line, "expected pairs of hexadecimal digits");
        }
        bytes.push_back(static_cast<std::uint8_t>(byte));
    }
    return bytes;
}

GUID read_guid(const JsonNode& node) {
    unsigned long first = 0;
    unsigned parts[10] = {};
    int used = 0;
    const std::string& text = node.text();
    if (std::sscanf(text.c_str(), "{%8lx-%4x-%4x-%2x%2x-%2x%2x%2x%2x%2x%2x}%n", &first, &parts[0],
                    &parts[1], &parts[2], &parts[3], &parts[4], &parts[5], &parts[6], &parts[7],
                    &parts[8], &parts[9], &used) != 11 ||
        static_cast<std::size_t>(used) != text.size()) {
        throw ScenarioError(node.line,
                            "expected a GUID like {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}");
    }
    GUID guid{
        first, static_cast<unsigned short>(parts[0]), static_cast<unsigned short>(parts[1]), {}};
    for (int i = 0; i < 8; ++i) {
        guid.Data4[i] = static_cast<unsigned char>(parts[i + 2]);
    }
    return guid;
}

opal_objid read_object_id(const JsonNode& node, Model& model) {
    if (node.text() == "null") {
        return {};
    }
    const Object* object = model.find_named(node.text());
    if (object == nullptr) {
        throw ScenarioError(node.line, "there is no object \"" + node.text() + "\"");
    }
    return object->id;
}

I18n read_message(const JsonNode& node) {
    Members members(node);
    const I18n message{members.uint32("id", 0), read_narrow(members.get("name")),
                       read_narrow(members.get("catalog"))};
    members.finish();
    return message;
}

I18nFormat read_format(const JsonNode& node) {
    Members members(node);
    I18nFormat format{read_narrow(members.get("pattern")), {}};
    for (const JsonNode& insertion : members.array("insertions")) {
        // A string is narrow, {"wide": string} is wide.
        if (std::holds_alternative<std::string>(insertion.value)) {
            format.insertions.emplace_back(read_narrow(insertion));
        } else {
            Members wide(insertion);
            format.insertions.emplace_back(widen(wide.get("wide").text()));
            wide.finish();
        }
    }
    members.finish();
    return format;
}

template <class T> T read_signed(const JsonNode& node) {
    const std::int64_t value = node.integer();
    if (value != static_cast<T>(value)) {
        throw ScenarioError(node.line, "the number does not fit its type");
    }
    return static_cast<T>(value);
}

Scalar read_element(std::uint32_t type, const JsonNode& node, Model& model) {
    switch (type) {
    case TYPE_BOOLEAN:
        return node.boolean();
    case TYPE_INT32:
        return read_signed<std::int32_t>(node);
    case TYPE_UINT32:
        return static_cast<std::uint32_t>(node.unsigned_integer(UINT32_MAX));
    case TYPE_INT64:
    case TYPE_TIME:
        return node.integer();
    case TYPE_UINT64:
        return node.unsigned_integer(UINT64_MAX);
    case TYPE_STR:
        return read_narrow(node);
    case TYPE_WSTR:
        return widen(node.text());
    case TYPE_BINARY:
        return read_bytes(node);
    case TYPE_GUID:
        return read_guid(node);
    case TYPE_PROPSET: {
        auto set = std::make_shared<PropertySet>();
        for (const auto& [name, value] : node.members()) {
            set->push_back({name, read_value(value, model)});
        }
        return set;
    }
    case TYPE_ZTOBJID:
        return read_object_id(node, model);
    case TYPE_I18N:
        return read_message(node);
    default:
        return read_format(node);
    }
}

}  // namespace

std::string narrow_string(const JsonNode& node, const std::string& utf8) {
    std::string ansi;
    if (!to_ansi(widen(utf8), ansi)) {
        throw ScenarioError(node.line, "the ANSI code page lacks a character of the string");
    }
    return ansi;
}

Value read_value(const JsonNode& node, Model& model) {
    Members members(node);
    const JsonNode& type = members.get("type");
    const JsonNode& contents = members.get("value");
    members.finish();
    Value value;
    value.type = type_tag(type.text());
    if (value.type == 0) {
        throw ScenarioError(type.line, "\"" + type.text() + "\" is not a type");
    }
    if (!value.is_array()) {
        value.elements.push_back(read_element(value.type, contents, model));
        return value;
    }
    for (const JsonNode& element : contents.array()) {
        value.elements.push_back(read_element(value.element_type(), element, model));
    }
    return value;
}

}  // namespace lab
