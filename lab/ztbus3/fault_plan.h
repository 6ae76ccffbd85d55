// Faults to inject into calls (lab_bus.h, LabSetFaultPlan).
#pragma once

#include "store/value.h"
#include "ztbus3.h"
#include "ztbus3/bus_status.h"
#include "ztbus3/function.h"

#include <cstdint>
#include <string>

namespace lab {

// What a call refers to; members that do not apply are empty or 0.
struct Subject {
    std::string object;
    std::string property;
    std::string type;
    std::uint32_t minor = 0;
};

enum class Lie { none, empty, longer, unterminated, shorter, null };

struct Fault {
    bool answers = false;  // returns `status` without doing the work
    bool after = false;    // does the work, then returns `status`
    opal_status status = 0;
    bool nothing = false;
    bool drop = false;
    std::uint32_t delay_ms = 0;
    std::uint32_t as_type = 0;
    Lie lie = Lie::none;

    // Whether the caller sees a failure after the work, and so gets no results.
    bool fails_after() const { return after && is_failure(status); }
};

// Costs one load.
bool has_fault_plan();

// Counts the call for the rules that select it and returns the fault that
// applies to it, after waiting as long as the plan says.
Fault next_fault(Function function, const Subject& subject);

// Returns a property to the client, changed as the fault says.
void hand_out_with(const Fault& fault, const std::string& name, Value value,
                   opal_property& property);

}  // namespace lab
