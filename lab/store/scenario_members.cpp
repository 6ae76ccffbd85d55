#include "store/scenario_members.h"

#include <cstdint>

namespace lab {

Members::Members(const JsonNode& node, std::string number)
    : m_node(node), m_number(std::move(number)) {
    for (const auto& [key, value] : node.members()) {
        m_left[key] = &value;
    }
}

const JsonNode* Members::find(const std::string& key) {
    const auto found = m_left.find(key);
    if (found == m_left.end()) {
        return nullptr;
    }
    const JsonNode* node = found->second;
    m_left.erase(found);
    return node;
}

const JsonNode& Members::get(const std::string& key) {
    const JsonNode* node = find(key);
    if (node == nullptr) {
        throw ScenarioError(m_node.line, "\"" + key + "\" is missing");
    }
    return *node;
}

std::string Members::text(const JsonNode& node) const {
    std::string text = node.text();
    const std::size_t begin = text.find('#');
    if (m_number.empty() || begin == std::string::npos) {
        return text;
    }
    const std::size_t end = text.find_first_not_of('#', begin);
    const std::size_t width = (end != std::string::npos ? end : text.size()) - begin;
    const std::size_t zeros = width > m_number.size() ? width - m_number.size() : 0;
    return text.replace(begin, width, std::string(zeros, '0') + m_number);
}

std::string Members::text(const std::string& key, const std::string& otherwise) {
    const JsonNode* node = find(key);
    return node != nullptr ? text(*node) : otherwise;
}

bool Members::boolean(const std::string& key, bool otherwise) {
    const JsonNode* node = find(key);
    return node != nullptr ? node->boolean() : otherwise;
}

std::uint32_t Members::uint32(const std::string& key, std::uint32_t otherwise) {
    const JsonNode* node = find(key);
    return node != nullptr ? static_cast<std::uint32_t>(node->unsigned_integer(UINT32_MAX))
                           : otherwise;
}

std::uint64_t Members::uint64(const std::string& key, std::uint64_t otherwise) {
    const JsonNode* node = find(key);
    return node != nullptr ? node->unsigned_integer(UINT64_MAX) : otherwise;
}

const JsonNode::Array& Members::array(const std::string& key) {
    static const JsonNode::Array none;
    const JsonNode* node = find(key);
    return node != nullptr ? node->array() : none;
}

void Members::finish() const {
    if (!m_left.empty()) {
        const auto& [key, node] = *m_left.begin();
        throw ScenarioError(node->line, "unknown key \"" + key + "\"");
    }
}

}  // namespace lab
