// Faults of the service's methods, from a file:
//
//   [{"minor": 2003, "call": 2, "times": 1, "status": "0xe5150101"},
//    {"minor": 2001, "delay": 500},
//    {"minor": 6058, "drop": true}]
//
// "minor" selects the method (all without it), "call" the n-th selected call
// (every one without it), "times" how many from there on. "delay" waits that
// many milliseconds first, "status" answers without doing the work, "drop"
// closes the client's connection without an answer.
#pragma once

#include "locks.h"
#include "ztbus3.h"

#include <cstdint>
#include <string>
#include <vector>

namespace lab {

// Thrown where the client's connection is to be closed.
struct Dropped {};

class FaultPlan {
  public:
    FaultPlan() = default;
    // Throws std::runtime_error with one line.
    explicit FaultPlan(const wchar_t* path);

    // Waits where a rule says so; true when one answers with `status`.
    bool answers(std::uint32_t minor, opal_status& status);

  private:
    struct Rule {
        bool any_method = true;
        std::uint32_t minor = 0;
        std::uint64_t first = 1;
        std::uint64_t last = UINT64_MAX;
        std::uint64_t matched = 0;
        std::uint32_t delay_ms = 0;
        bool drop = false;
        bool has_status = false;
        opal_status status = 0;
    };

    SRWLOCK m_lock = SRWLOCK_INIT;
    std::vector<Rule> m_rules;
};

}  // namespace lab
