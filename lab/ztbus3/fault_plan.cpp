#include "fault_plan.h"

#include "call.h"
#include "lab_bus.h"
#include "locks.h"
#include "marshal.h"
#include "report_error.h"

#include <nlohmann/json.hpp>

#include <atomic>
#include <optional>
#include <stdexcept>
#include <vector>

namespace lab {
namespace {

struct Rule {
    std::optional<std::string> function;
    std::optional<std::string> object;
    std::optional<std::string> property;
    std::optional<std::string> type;
    std::optional<std::uint32_t> minor;
    std::uint64_t first = 1;
    std::uint64_t last = UINT64_MAX;
    Fault fault;
    std::uint64_t matched = 0;

    bool selects(Function called, const Subject& subject) const {
        if (function ? *function != function_name(called) : !reaches_service(called)) {
            return false;
        }
        return (!object || *object == subject.object) &&
               (!property || *property == subject.property) && (!type || *type == subject.type) &&
               (!minor || *minor == subject.minor);
    }
};

SRWLOCK plan_lock = SRWLOCK_INIT;
std::vector<Rule> plan;
std::atomic<bool> planned{false};

opal_status read_status(const nlohmann::json& value) {
    if (value.is_number_unsigned()) {
        return value.get<opal_status>();
    }
    std::size_t used = 0;
    const std::string text = value.get<std::string>();
    const unsigned long status = std::stoul(text, &used, 0);
    if (used != text.size()) {
        throw std::invalid_argument("\"" + text + "\" is no status");
    }
    return static_cast<opal_status>(status);
}

Lie read_lie(const std::string& text) {
    constexpr std::pair<const char*, Lie> lies[] = {{"empty", Lie::empty},
                                                    {"long", Lie::longer},
                                                    {"unterminated", Lie::unterminated},
                                                    {"short", Lie::shorter},
                                                    {"null", Lie::null}};
    for (const auto& [name, lie] : lies) {
        if (text == name) {
            return lie;
        }
    }
    throw std::invalid_argument("\"" + text + "\" is no lie");
}

Rule read_rule(const nlohmann::json& json) {
    Rule rule;
    bool has_times = false;
    std::uint64_t times = 0;
    bool has_call = false;
    for (const auto& [key, value] : json.items()) {
        if (key == "function") {
            rule.function = value.get<std::string>();
        } else if (key == "object") {
            rule.object = value.get<std::string>();
        } else if (key == "property") {
            rule.property = value.get<std::string>();
        } else if (key == "type") {
            rule.type = value.get<std::string>();
        } else if (key == "minor") {
            rule.minor = value.get<std::uint32_t>();
        } else if (key == "call") {
            rule.first = value.get<std::uint64_t>();
            has_call = true;
        } else if (key == "times") {
            times = value.get<std::uint64_t>();
            has_times = true;
        } else if (key == "status") {
            rule.fault.answers = true;
            rule.fault.status = read_status(value);
        } else if (key == "after") {
            rule.fault.after = true;
            rule.fault.status = read_status(value);
        } else if (key == "nothing") {
            rule.fault.nothing = value.get<bool>();
        } else if (key == "drop") {
            rule.fault.drop = value.get<bool>();
        } else if (key == "delay") {
            rule.fault.delay_ms = value.get<std::uint32_t>();
        } else if (key == "as") {
            rule.fault.as_type = type_tag(value.get<std::string>());
            if (rule.fault.as_type == 0) {
                throw std::invalid_argument("\"" + value.get<std::string>() + "\" is no type");
            }
        } else if (key == "lie") {
            rule.fault.lie = read_lie(value.get<std::string>());
        } else {
            throw std::invalid_argument("nothing is known of the key \"" + key + "\"");
        }
    }
    if (!has_times) {
        times = has_call ? 1 : UINT64_MAX;
    }
    rule.last = times > UINT64_MAX - rule.first ? UINT64_MAX : rule.first + times - 1;
    return rule;
}

// A value with fewer or more characters or elements.
void resize(Value& value, Lie lie) {
    const auto change = [lie](auto& sequence) {
        if (lie == Lie::empty) {
            sequence.clear();
        } else if (lie == Lie::shorter) {
            if (!sequence.empty()) {
                sequence.pop_back();
            }
        } else {
            const auto once = sequence;
            for (int i = 1; i < 10; ++i) {
                sequence.insert(sequence.end(), once.begin(), once.end());
            }
        }
    };
    if (value.is_array()) {
        change(value.elements);
        return;
    }
    for (Scalar& element : value.elements) {
        if (auto* text = std::get_if<std::string>(&element)) {
            change(*text);
        } else if (auto* wide = std::get_if<std::wstring>(&element)) {
            change(*wide);
        } else if (auto* bytes = std::get_if<Bytes>(&element)) {
            change(*bytes);
        }
    }
}

}  // namespace

bool has_fault_plan() {
    return planned.load(std::memory_order_relaxed);
}

Fault next_fault(Function function, const Subject& subject) {
    const Exclusive hold(plan_lock);
    for (Rule& rule : plan) {
        if (rule.selects(function, subject)) {
            ++rule.matched;
            if (rule.matched >= rule.first && rule.matched <= rule.last) {
                return rule.fault;
            }
        }
    }
    return {};
}

void hand_out_with(const Fault& fault, const std::string& name, Value value,
                   opal_property& property) {
    if (fault.lie == Lie::empty || fault.lie == Lie::longer || fault.lie == Lie::shorter) {
        resize(value, fault.lie);
    }
    if (fault.lie == Lie::unterminated) {
        hand_out_unterminated(name, value, property);
    } else {
        hand_out(name, value, property);
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
        std::vector<Rule> rules;
        if (json != nullptr) {
            const nlohmann::json parsed = nlohmann::json::parse(json);
            if (!parsed.is_array()) {
                throw std::invalid_argument("a fault plan is an array of rules");
            }
            for (const nlohmann::json& rule : parsed) {
                rules.push_back(read_rule(rule));
            }
        }
        const Exclusive hold(plan_lock);
        plan = std::move(rules);
        planned = !plan.empty();
    });
}
