// Fault plans: rules that change the results of calls (docs/lab.md, "Fault plans"). The bus and
// the service process have the same rules.
#pragma once

#include "store/bus_function.h"
#include "store/bus_status.h"
#include "store/fault_turn.h"
#include "store/locks.h"
#include "store/value.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lab {

// What a call refers to; members that do not apply are empty or 0.
struct Subject {
    std::string object;
    std::string property;
    std::string type;
    std::uint32_t minor = 0;
};

enum class Lie : std::uint32_t { none, empty, longer, unterminated, shorter, null };

// What a rule does to the results of a call that succeeds.
struct ResultFault {
    bool nothing = false;
    std::uint32_t as_type = 0;
    Lie lie = Lie::none;

    bool changes_property() const { return as_type != 0 || lie != Lie::none; }
    bool changes_results() const { return nothing || changes_property(); }
};

struct Fault : ResultFault {
    bool answers = false;  // returns `status` without doing the work
    bool after = false;    // does the work, then returns `status`
    opal_status status = 0;
    bool drop = false;
    std::uint32_t delay_ms = 0;

    const ResultFault& result() const { return *this; }
    // Whether the caller sees a failure after the work, and so gets no results.
    bool fails_after() const { return after && is_failure(status); }
};

// Changes the number of a value's characters or elements as Lie::empty, longer and shorter say.
// Returns false if it has neither, like a number, or if the lie is another one.
bool resize(Value& value, Lie lie);

struct FaultRule {
    std::optional<Function> function;
    std::optional<std::string> object;
    std::optional<std::string> property;
    std::optional<std::string> type;
    std::optional<std::uint32_t> minor;
    FaultTurn turn;
    Fault fault;

    std::uint32_t number = 0;  // in its plan, from 1; not used again
    std::string source;        // as JSON

    bool concerns(Function called) const;
    bool selects(Function called, const Subject& subject) const;
};

// Where a plan is used, which decides which rules make sense there.
struct FaultScope {
    // Only functions that reach the service.
    bool service_only = false;
    // A program has put the rules together from parts: one may cover a later one.
    bool composed = false;
    // Whether there is an object of that name. Empty: objects are not checked.
    std::function<bool(const std::string& name)> has_object;
};

// May be used by several threads. Functions that read rules throw ScenarioError for one that is
// invalid, that cannot do what it says, or that can never apply; the plan is then unchanged.
class FaultPlan {
  public:
    // Replaces all rules with those of a JSON array.
    void replace(const std::string& json, const FaultScope& scope);
    // Appends the rules of a JSON array, or one rule, and returns their numbers.
    std::vector<std::uint32_t> add(const std::string& json, const FaultScope& scope);
    // Returns false if there is no rule of that number.
    bool remove(std::uint32_t number);
    void clear();
    std::vector<FaultRule> rules() const;

    // Costs one load.
    bool empty() const { return !m_planned.load(std::memory_order_relaxed); }
    // Counts the call for the rules that select it and returns the fault that applies to it.
    // The caller waits as long as it says.
    Fault next(Function function, const Subject& subject);

  private:
    void set(std::vector<FaultRule> rules);  // under the lock

    mutable SRWLOCK m_lock = SRWLOCK_INIT;
    std::vector<FaultRule> m_rules;
    std::uint32_t m_last_number = 0;
    std::atomic<bool> m_planned{false};
};

}  // namespace lab
