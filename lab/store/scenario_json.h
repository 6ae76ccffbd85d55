// JSON as a tree that keeps the line of every value, so that errors in a scenario
// are reported with their line.
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace lab {

// An error in a scenario or fault plan. what() is "line: reason".
class ScenarioError : public std::exception {
  public:
    ScenarioError(std::size_t line, const std::string& reason)
        : m_text(std::to_string(line) + ": " + reason) {}
    const char* what() const noexcept override { return m_text.c_str(); }

  private:
    std::string m_text;
};

struct JsonNode {
    using Array = std::vector<JsonNode>;
    struct Member;
    using Members = std::vector<Member>;  // in file order

    std::size_t line = 0;
    std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, Array,
                 Members>
        value;

    // Each throws ScenarioError if the node is something else.
    const Members& members() const;
    const Array& array() const;
    const std::string& text() const;
    bool boolean() const;
    std::int64_t integer() const;
    std::uint64_t unsigned_integer(std::uint64_t limit) const;
};

struct JsonNode::Member {
    std::string name;
    JsonNode value;
};

// Throws ScenarioError for malformed JSON and for a duplicate key.
JsonNode parse_json(std::string_view text);

// A value as JSON on one line.
std::string json_string(const JsonNode& node);

}  // namespace lab
