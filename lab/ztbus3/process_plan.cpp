#include "ztbus3/process_plan.h"

#include "ztbus3/lab_bus.h"
#include "ztbus3/marshal.h"
#include "ztbus3/report_error.h"

namespace lab {
namespace {

FaultPlan plan;

}  // namespace

FaultPlan& process_plan() {
    return plan;
}

Fault next_fault(Function function, const Subject& subject) {
    const Fault fault = plan.next(function, subject);
    if (fault.delay_ms != 0) {
        Sleep(fault.delay_ms);
    }
    return fault;
}

void hand_out_with(const ResultFault& fault, const std::string& name, Value value,
                   opal_property& property) {
    const bool resized = resize(value, fault.lie);
    if (fault.lie == Lie::unterminated) {
        hand_out_unterminated(name, value, property);
    } else {
        hand_out(name, value, property);
    }
    if (!resized && (fault.lie == Lie::empty || fault.lie == Lie::shorter)) {
        property.size = 0;  // a number with one element less
    }
    if (fault.lie == Lie::null) {
        property.value = nullptr;
        property.size = 0;
    }
    if (fault.as_type != 0) {
        property.type = fault.as_type;
    }
}

}  // namespace lab

using namespace lab;

int LabSetFaultPlan(const char* json, char* error, size_t capacity) {
    return reporting(error, capacity, [json] {
        if (json != nullptr) {
            plan.replace(json, {.composed = true, .has_object = {}});
        } else {
            plan.clear();
        }
    });
}
