#include "store/fault_turn.h"

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
    const std::uint64_t times = members.uint64("times", call != nullptr ? 1 : UINT64_MAX);
    m_last = times > UINT64_MAX - m_first ? UINT64_MAX : m_first + times - 1;
}

bool FaultTurn::is_due() {
    ++m_selected;
    return m_selected >= m_first && m_selected <= m_last;
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
