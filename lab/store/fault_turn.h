// What the rules of the lab's fault plans have in common, in the bus and in the
// service process.
#pragma once

#include "scenario_members.h"
#include "ztbus3.h"

#include <cstdint>

namespace lab {

// The calls that a rule is for, among those that it selects: "call" is the first
// of them, counted from 1, "times" how many from there on.
class FaultTurn {
  public:
    FaultTurn() = default;
    // Takes both keys. Throws ScenarioError.
    explicit FaultTurn(Members& members);

    // Counts a selected call; whether the rule is for it.
    bool is_due();

  private:
    std::uint64_t m_first = 1;
    std::uint64_t m_last = UINT64_MAX;
    std::uint64_t m_selected = 0;  // calls so far
};

// A number, or a text with one: "0xc1000001". Throws ScenarioError.
opal_status read_status(const JsonNode& node);

}  // namespace lab
