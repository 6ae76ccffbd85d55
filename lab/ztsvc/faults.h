// The service's fault plan, read from a file:
//
//   [{"minor": 2003, "call": 2, "status": "0xe5150101"},
//    {"function": "ObGetProperty", "delay": 500},
//    {"minor": 6058, "drop": true}]
//
// A rule selects requests by "function", the bus function that sends them, and
// method calls by "minor", their number; without both, all requests. It applies
// to "times" of the selected requests from number "call", counted from 1. The
// default is all of them; with "call" it is that one.
//
// "delay" first waits that many milliseconds. "status" answers without doing the
// work. "drop" does the work and closes the client's connection without an
// answer. If several rules apply to a request, the first one is used.
#pragma once

#include "store/fault_turn.h"
#include "store/locks.h"
#include "wire/frame.h"

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
    // An empty plan.
    FaultPlan() = default;
    // Throws std::runtime_error with one line, "file:line: reason".
    explicit FaultPlan(const wchar_t* path);

    // Counts a request and returns its fault. `minor` is the number of a method.
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
