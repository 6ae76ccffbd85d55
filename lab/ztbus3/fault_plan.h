// Faults that calls are to meet (lab_bus.h, LabSetFaultPlan).
#pragma once

#include "bus_status.h"
#include "function.h"
#include "value.h"
#include "ztbus3.h"

#include <cstdint>
#include <string>

namespace lab {

// What a call is about; empty or 0 where it is about no such thing.
struct Subject {
    std::string object;
    std::string property;
    std::string type;
    std::uint32_t minor = 0;
};

enum class Lie { none, empty, longer, unterminated, shorter, null };

struct Fault {
    bool answers = false;  // with `status`, without doing the work
    bool after = false;    // does the work, then answers `status`
    opal_status status = 0;
    bool nothing = false;
    bool drop = false;
    std::uint32_t delay_ms = 0;
    std::uint32_t as_type = 0;
    Lie lie = Lie::none;

    // Whether the caller gets to see a failure: nothing is handed out then.
    bool fails_after() const { return after && is_failure(status); }
};

// False, at the cost of one load, when there is no plan.
bool has_fault_plan();

// What the plan has for this call; counts the call for the rules that select it.
// Waits as the plan says before it returns.
Fault next_fault(Function function, const Subject& subject);

// Hands a property out as the fault wants it.
void hand_out_with(const Fault& fault, const std::string& name, Value value,
                   opal_property& property);

}  // namespace lab
