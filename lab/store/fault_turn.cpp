#include "store/fault_turn.h"

#include <algorithm>
#include <cstdlib>

namespace lab {

FaultTurn::FaultTurn(Members& members) {
    const JsonNode* call = members.find("call");
    if (call != nullptr) {
        m_first = call->unsigned_integer(UINT32_MAX);
        if (m_first == 0) {
            throw ScenarioError(call->line, "calls are counted from 1");
        }
    }
    const JsonNode* given = members.find("times");
    const std::uint64_t times = given != nullptr  ? given->unsigned_integer(UINT64_MAX)
                                : call != nullptr ? 1
                                                  : UINT64_MAX;
    if (times == 0) {
        throw ScenarioError(given->line, "the rule never applies: \"times\" is 0");
    }
    m_last = times > UINT64_MAX - m_first ? UINT64_MAX : m_first + times - 1;
}

bool FaultTurn::is_due() {
    ++m_selected;
    return m_selected >= m_first && m_selected <= m_last;
}

std::uint64_t FaultTurn::applied() const {
    return m_selected < m_first ? 0 : std::min(m_selected, m_last) - m_first + 1;
}

opal_status read_status(const JsonNode& node) {
    if (const auto* number = std::get_if<std::uint64_t>(&node.value);
        number != nullptr && *number <= UINT32_MAX) {
        return static_cast<opal_status>(*number);
    }
    const std::string& text = node.text();
    char* end = nullptr;
    const unsigned long long status = std::strtoull(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || status > UINT32_MAX) {
        throw ScenarioError(node.line, "\"" + text + "\" is not a valid status");
    }
    return static_cast<opal_status>(status);
}

}  // namespace lab
