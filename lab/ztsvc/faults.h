// Faults of the service, from a file:
//
//   [{"minor": 2003, "call": 2, "status": "0xe5150101"},
//    {"function": "ObGetProperty", "delay": 500},
//    {"minor": 6058, "drop": true}]
//
// "function" selects requests by the bus function that sends them (without it,
// any), "minor" method calls by their number, "call" the n-th selected request
// (every one without it), "times" how many from there on (1 with "call", else
// all). "delay" waits that many milliseconds first; "status" answers without
// doing the work; "drop" does the work and closes the client's connection
// without an answer. The first rule that is for a request applies.
#pragma once

#include "fault_turn.h"
#include "frame.h"
#include "locks.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lab {

struct ServiceFault {
    std::uint32_t delay_ms = 0;
    std::optional<opal_status> status;
    bool drop = false;
};

class FaultPlan {
  public:
    // A plan without rules.
    FaultPlan() = default;
    // Throws std::runtime_error with one line, "file:line: reason".
    explicit FaultPlan(const wchar_t* path);

    // What the next request of that kind meets; `minor` is that of a method call.
    ServiceFault next(Operation operation, std::uint32_t minor = 0);

  private:
    struct Rule {
        std::optional<Operation> operation;
        std::optional<std::uint32_t> minor;
        FaultTurn turn;
        ServiceFault fault;
    };
    static Rule read_rule(const JsonNode& node);

    SRWLOCK m_lock = SRWLOCK_INIT;
    std::vector<Rule> m_rules;
};

}  // namespace lab
