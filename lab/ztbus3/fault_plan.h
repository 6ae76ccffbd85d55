// Faults that calls are to meet (lab_bus.h, LabSetFaultPlan).
#pragma once

#include "value.h"
#include "ztbus3.h"

#include <cstdint>
#include <string>

namespace lab {

enum class Function;

// Whether a call of the function goes to the service.
bool reaches_service(Function function);

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
};

// False, at the cost of one load, when there is no plan.
bool has_fault_plan();

// What the plan has for this call; counts the call for the rules it matches.
Fault next_fault(Function function, const Subject& subject);

// Hands a property out as the fault wants it.
void hand_out_with(const Fault& fault, const std::string& name, Value value,
                   opal_property& property);

}  // namespace lab
