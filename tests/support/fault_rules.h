// Fault plans (lab_bus.h) as values: which calls of the bus are affected, and how.
//
//   set_faults(fault_plan({{.function = "PsAddProperty", .call = 2, .returns = bus_no_memory},
//                          method_returns(service_no_such_group)}));
#pragma once

#include "support/service_names.h"

#include <optional>
#include <string>
#include <vector>

namespace support {

struct FaultRule {
    // The rule applies to the calls that match all of these members that are set.
    std::string function = {};
    std::string object = {};
    std::string property = {};
    std::string type = {};
    std::optional<Method> method = {};
    int call = 0;   // the first matching call, from 1; 0: every call
    int times = 0;  // the number of calls from `call` on; 0: one if `call` is set, else all

    // The effects on these calls.
    std::optional<std::uint32_t> returns = {};             // does nothing, returns this status
    std::optional<std::uint32_t> returns_after_work = {};  // does the work, returns this status
    bool succeeds_empty = false;  // does the work and succeeds, but provides nothing
    bool drops = false;           // does the work, then drops every connection
    std::string with_type = {};   // the property gets this type: "STR", "INT32", ...
    std::string lie = {};  // the value becomes "empty", "long", "unterminated", "short" or "null"
};

// The plan as set_faults takes it, in JSON.
inline std::string fault_plan(const std::vector<FaultRule>& rules) {
    std::string plan;
    for (const FaultRule& rule : rules) {
        std::string keys;
        const auto add = [&keys](const char* key, const std::string& value) {
            keys += (keys.empty() ? "\"" : ", \"") + std::string(key) + "\": " + value;
        };
        const auto add_string = [&add](const char* key, const std::string& value) {
            if (!value.empty()) {
                add(key, '"' + value + '"');
            }
        };
        const auto add_count = [&add](const char* key, int value) {
            if (value != 0) {
                add(key, std::to_string(value));
            }
        };
        const auto add_true = [&add](const char* key, bool value) {
            if (value) {
                add(key, "true");
            }
        };
        add_string("function", rule.function);
        add_string("object", rule.object);
        add_string("property", rule.property);
        add_string("type", rule.type);
        if (rule.method) {
            add("minor", std::to_string(rule.method->minor));
        }
        add_count("call", rule.call);
        add_count("times", rule.times);
        if (rule.returns) {
            add_string("status", hex(*rule.returns));
        }
        if (rule.returns_after_work) {
            add_string("after", hex(*rule.returns_after_work));
        }
        add_true("nothing", rule.succeeds_empty);
        add_true("drop", rule.drops);
        add_string("as", rule.with_type);
        add_string("lie", rule.lie);
        plan += (plan.empty() ? "{" : ", {") + keys + "}";
    }
    return "[" + plan + "]";
}

// The first set that a method call creates holds its parameters, the second one its results.
inline const FaultRule no_input_set{
    .function = "PsCreatePropset", .call = 1, .returns = bus_no_memory};
inline const FaultRule no_output_set{
    .function = "PsCreatePropset", .call = 2, .returns = bus_no_memory};

// Every method call succeeds with an empty output set, even one that the service rejects.
inline const FaultRule methods_succeed{.function = "PrCallDispatch", .succeeds_empty = true};
// The same, and the connection drops during the call.
inline const FaultRule methods_succeed_and_drop{
    .function = "PrCallDispatch", .succeeds_empty = true, .drops = true};
// Every method call returns this status; the service does nothing.
inline FaultRule methods_return(std::uint32_t status) {
    return {.function = "PrCallDispatch", .returns = status};
}

// Allocations of the bus's memory fail: the n-th one, or each of them.
inline FaultRule no_bus_memory(int call = 0) {
    return {.function = "_ZtAlloc", .call = call, .succeeds_empty = true};
}

// Calls of a method; calls that query the objects of a type, read a property of an object, list
// the children of a type, or add a parameter.
inline FaultRule calling(const Method& method) {
    return {.function = "PrCallDispatch", .method = method};
}
inline FaultRule querying(const std::string& type) {
    return {.function = "DbGetObjects", .type = type};
}
inline FaultRule reading(const std::string& object, const std::string& property) {
    return {.function = "ObGetProperty", .object = object, .property = property};
}
inline FaultRule reading(const std::string& property) {
    return {.function = "ObGetProperty", .property = property};
}
inline FaultRule listing(const std::string& type) {
    return {.function = "ObGetChildObjects", .type = type};
}
inline FaultRule adding(const std::string& property) {
    return {.function = "PsAddProperty", .property = property};
}

// Makes these calls fail; makes the connection drop during them; makes both happen.
inline FaultRule failing(FaultRule calls, std::uint32_t status = bus_provider_failed) {
    calls.returns = status;
    return calls;
}
inline FaultRule dropping(FaultRule calls) {
    calls.drops = true;
    return calls;
}
inline FaultRule failing_and_dropping(FaultRule calls, std::uint32_t status = bus_provider_failed) {
    calls.returns_after_work = status;
    calls.drops = true;
    return calls;
}

// Gives the property that these calls read another type, or a malformed value (FaultRule::lie).
inline FaultRule with_type(FaultRule calls, const std::string& type) {
    calls.with_type = type;
    return calls;
}
inline FaultRule lying(FaultRule calls, const std::string& lie) {
    calls.lie = lie;
    return calls;
}

}  // namespace support
