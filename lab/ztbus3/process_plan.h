// The fault plan of this process (lab_bus.h, LabSetFaultPlan).
#pragma once

#include "store/fault_plan.h"
#include "ztbus3.h"

#include <string>

namespace lab {

FaultPlan& process_plan();

// Costs one load.
inline bool has_fault_plan() {
    return !process_plan().empty();
}

// Counts the call for the rules that select it and returns the fault that
// applies to it, after waiting as long as the plan says.
Fault next_fault(Function function, const Subject& subject);

// Returns a property to the client, changed as the fault says.
void hand_out_with(const ResultFault& fault, const std::string& name, Value value,
                   opal_property& property);

}  // namespace lab
