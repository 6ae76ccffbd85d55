// The members of an object of a scenario.
#pragma once

#include "scenario_json.h"

#include <cstdint>
#include <map>
#include <string>

namespace lab {

// Each member must be asked for: what is left over is a key that nobody knows.
// Of the objects that one pattern makes, each has a number: it takes the place
// of a run of "#" in every text, with as many digits as the run is long at least.
class Members {
  public:
    explicit Members(const JsonNode& node, std::string number = "");

    std::size_t line() const { return m_node.line; }
    const std::string& number() const { return m_number; }

    // nullptr when there is no such key.
    const JsonNode* find(const std::string& key);
    // Throws ScenarioError when there is no such key.
    const JsonNode& get(const std::string& key);

    std::string text(const JsonNode& node) const;
    std::string text(const std::string& key, const std::string& otherwise);
    bool boolean(const std::string& key, bool otherwise);
    std::uint32_t uint32(const std::string& key, std::uint32_t otherwise);
    std::uint64_t uint64(const std::string& key, std::uint64_t otherwise);
    // The elements of an array; none when there is no such key.
    const JsonNode::Array& array(const std::string& key);

    // Throws ScenarioError for a key that was not asked for.
    void finish() const;

  private:
    const JsonNode& m_node;
    std::string m_number;
    std::map<std::string, const JsonNode*> m_left;
};

}  // namespace lab
