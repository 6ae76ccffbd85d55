// Fault plans for the lab's tests, which write the members of a rule in JSON. The tests of the
// library use the values of fault_rules.h.
#pragma once

#include "store/service_status.h"
#include "support/service_names.h"
#include "ztservice.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace support {

// Members of a fault plan's rule: the method it applies to, the status to return instead of the
// call, and the status to return after the call.
inline std::string of_method(std::uint32_t method) {
    return "\"minor\": " + std::to_string(method);
}
inline std::string returns(opal_status value) {
    return "\"status\": \"" + hex(value) + "\"";
}
inline std::string returns_after(opal_status value) {
    return "\"after\": \"" + hex(value) + "\"";
}

// A fault plan: fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), returns(ZTERROR_PROVIDER)}}).
inline std::string fault_plan(std::initializer_list<std::vector<std::string>> rules) {
    std::string plan;
    for (const std::vector<std::string>& rule : rules) {
        plan += plan.empty() ? "[" : ", ";
        for (std::size_t i = 0; i < rule.size(); ++i) {
            plan += (i == 0 ? "{" : ", ") + rule[i];
        }
        plan += "}";
    }
    return plan + "]";
}

}  // namespace support
