// Constants of the service in the forms that tests write: lines of the recorder and rules of a
// fault plan. The constants themselves are those of ztservice.h, ztbus3.h and the lab's
// service_status.h, which tests/lab/ztservice_test.cpp pins to their numbers.
#pragma once

#include "../../lab/store/service_status.h"
#include "ztservice.h"

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

namespace support {

// Interface ids as the recorder writes them.
inline constexpr char volume_manager_methods[] = "{61678c9a-1dd2-11b2-9623-0800209ead9c}";
inline constexpr char cluster_methods[] = "{375ec58d-475e-4658-3bcd-61c7483a4fc6}";
inline constexpr char mount_methods[] = "{2f0eafcd-7b86-4f9b-bd98-d61ce4211f8f}";

// A status as the recorder writes it: "0xe515007a".
inline std::string hex_status(opal_status status) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(status));
    return text;
}

// Members of a fault plan's rule: the method it applies to, the status to return instead of the
// call, and the status to return after the call.
inline std::string of_method(std::uint32_t method) {
    return "\"minor\": " + std::to_string(method);
}
inline std::string returns(opal_status value) {
    return "\"status\": \"" + hex_status(value) + "\"";
}
inline std::string returns_after(opal_status value) {
    return "\"after\": \"" + hex_status(value) + "\"";
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
