#include "store/scenario_json.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>

namespace lab {
namespace {

// The reader's position. A line feed counts only when the character after it is
// read: the parser reports a number only then, and the number was on the old line.
struct Place {
    std::size_t line = 1;
    bool at_line_end = false;
};

// Reads characters and counts lines.
class LineIterator {
  public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineIterator(const char* position, Place* place) : m_position(position), m_place(place) {}

    reference operator*() const { return *m_position; }
    LineIterator& operator++() {
        m_place->line += m_place->at_line_end ? 1 : 0;
        m_place->at_line_end = *m_position == '\n';
        ++m_position;
        return *this;
    }
    LineIterator operator++(int) {
        LineIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const LineIterator& other) const { return m_position == other.m_position; }

  private:
    const char* m_position;
    Place* m_place;
};

// Builds the tree from the parser's events.
class TreeBuilder {
  public:
    using number_integer_t = nlohmann::json::number_integer_t;
    using number_unsigned_t = nlohmann::json::number_unsigned_t;
    using number_float_t = nlohmann::json::number_float_t;
    using string_t = nlohmann::json::string_t;
    using binary_t = nlohmann::json::binary_t;

    explicit TreeBuilder(const Place& place) : m_place(place) {}

    JsonNode take() { return std::move(m_root); }

    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(number_integer_t value) { return add(value); }
    bool number_unsigned(number_unsigned_t value) { return add(value); }
    bool number_float(number_float_t value, const string_t&) { return add(value); }
    bool string(string_t& value) { return add(std::move(value)); }
    bool binary(binary_t&) { return false; }
    bool start_object(std::size_t) { return open(JsonNode::Members()); }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(JsonNode::Array()); }
    bool end_array() { return close(); }

    bool key(string_t& name) {
        const auto& members = std::get<JsonNode::Members>(m_open.back()->value);
        if (std::any_of(members.begin(), members.end(),
                        [&name](const auto& member) { return member.name == name; })) {
            throw ScenarioError(m_place.line, "the key \"" + name + "\" is a duplicate");
        }
        m_key = name;
        return true;
    }

    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception& error) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: reason"
        const std::string what = error.what();
        const std::size_t column = what.find("column ");
        const std::size_t colon = what.find(": ");
        if (column == std::string::npos || colon == std::string::npos || column > colon) {
            throw ScenarioError(m_place.line, what);
        }
        throw ScenarioError(m_place.line, what.substr(colon + 2) + " (" +
                                              what.substr(column, colon - column) + ")");
    }

  private:
    template <class T> JsonNode& place(T value) {
        JsonNode node{m_place.line, std::move(value)};
        if (m_open.empty()) {
            m_root = std::move(node);
            return m_root;
        }
        if (auto* array = std::get_if<JsonNode::Array>(&m_open.back()->value)) {
            return array->emplace_back(std::move(node));
        }
        auto& members = std::get<JsonNode::Members>(m_open.back()->value);
        members.push_back({m_key, std::move(node)});
        return members.back().value;
    }
    template <class T> bool add(T value) {
        place(std::move(value));
        return true;
    }
    template <class T> bool open(T value) {
        m_open.push_back(&place(std::move(value)));
        return true;
    }
    bool close() {
        m_open.pop_back();
        return true;
    }

    const Place& m_place;
    JsonNode m_root;
    // The open containers, outermost first. Only the innermost grows, so the
    // pointers stay valid.
    std::vector<JsonNode*> m_open;
    std::string m_key;
};

nlohmann::ordered_json to_json(const JsonNode& node) {
    return std::visit(
        [](const auto& value) -> nlohmann::ordered_json {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, JsonNode::Array>) {
                auto array = nlohmann::ordered_json::array();
                for (const JsonNode& element : value) {
                    array.push_back(to_json(element));
                }
                return array;
            } else if constexpr (std::is_same_v<T, JsonNode::Members>) {
                auto object = nlohmann::ordered_json::object();
                for (const auto& [name, member] : value) {
                    object[name] = to_json(member);
                }
                return object;
            } else {
                return value;
            }
        },
        node.value);
}

}  // namespace

const JsonNode::Members& JsonNode::members() const {
    const auto* result = std::get_if<Members>(&value);
    if (result == nullptr) {
        throw ScenarioError(line, "expected an object");
    }
    return *result;
}

const JsonNode::Array& JsonNode::array() const {
    const auto* result = std::get_if<Array>(&value);
    if (result == nullptr) {
        throw ScenarioError(line, "expected an array");
    }
    return *result;
}

const std::string& JsonNode::text() const {
    const auto* result = std::get_if<std::string>(&value);
    if (result == nullptr) {
        throw ScenarioError(line, "expected a string");
    }
    return *result;
}

bool JsonNode::boolean() const {
    const auto* result = std::get_if<bool>(&value);
    if (result == nullptr) {
        throw ScenarioError(line, "expected true or false");
    }
    return *result;
}

std::int64_t JsonNode::integer() const {
    if (const auto* result = std::get_if<std::int64_t>(&value)) {
        return *result;
    }
    const auto* result = std::get_if<std::uint64_t>(&value);
    if (result == nullptr || *result > INT64_MAX) {
        throw ScenarioError(line, "expected an integer");
    }
    return static_cast<std::int64_t>(*result);
}

std::uint64_t JsonNode::unsigned_integer(std::uint64_t limit) const {
    const auto* result = std::get_if<std::uint64_t>(&value);
    if (result == nullptr || *result > limit) {
        throw ScenarioError(line, "expected an integer from 0 to " + std::to_string(limit));
    }
    return *result;
}

JsonNode parse_json(std::string_view text) {
    Place place;
    TreeBuilder builder(place);
    nlohmann::json::sax_parse(LineIterator(text.data(), &place),
                              LineIterator(text.data() + text.size(), &place), &builder);
    return builder.take();
}

std::string json_string(const JsonNode& node) {
    return to_json(node).dump();
}

}  // namespace lab
