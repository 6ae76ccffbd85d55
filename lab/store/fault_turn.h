// The part of a fault plan's rules that the bus and the service process share.
#pragma once

#include "store/scenario_members.h"
#include "ztbus3.h"

#include <cstdint>

namespace lab {

// Decides whether a rule applies to a call that it selects. It applies to "times" calls;
// the first of them is number "call", counted from 1.
class FaultTurn {
  public:
    FaultTurn() = default;
    // Reads both keys. Throws ScenarioError.
    explicit FaultTurn(Members& members);

    // Counts a selected call and returns whether the rule applies to it.
    bool is_due();

    // Whether the rule applies to every call that it selects.
    bool is_always() const { return m_first == 1 && m_last == UINT64_MAX; }
    // The calls that it has selected, and of those the ones that it applied to.
    std::uint64_t selected() const { return m_selected; }
    std::uint64_t applied() const;

  private:
    std::uint64_t m_first = 1;
    std::uint64_t m_last = UINT64_MAX;
    std::uint64_t m_selected = 0;  // calls so far
};

// Reads a number, or a string with a number: "0xc1000001". Throws ScenarioError.
opal_status read_status(const JsonNode& node);

}  // namespace lab
