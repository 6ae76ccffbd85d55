// The members of a JSON object in a scenario or fault plan.
#pragma once

#include "store/scenario_json.h"

#include <cstdint>
#include <map>
#include <string>

namespace lab {

// Every member must be read: a member that is left over is an unknown key. In
// objects created from a pattern, the object's number replaces each run of "#"
// in a string, padded with zeros to the length of the run.
class Members {
  public:
    explicit Members(const JsonNode& node, std::string number = "");

    std::size_t line() const { return m_node.line; }
    const std::string& number() const { return m_number; }

    // nullptr if there is no such key.
    const JsonNode* find(const std::string& key);
    // Throws ScenarioError if there is no such key.
    const JsonNode& get(const std::string& key);

    std::string text(const JsonNode& node) const;
    std::string text(const std::string& key, const std::string& otherwise);
    bool boolean(const std::string& key, bool otherwise);
    std::uint32_t uint32(const std::string& key, std::uint32_t otherwise);
    std::uint64_t uint64(const std::string& key, std::uint64_t otherwise);
    // The elements of an array; empty if there is no such key.
    const JsonNode::Array& array(const std::string& key);

    // Throws ScenarioError if a member was not read.
    void finish() const;

  private:
    const JsonNode& m_node;
    std::string m_number;
    std::map<std::string, const JsonNode*> m_left;
};

}  // namespace lab
