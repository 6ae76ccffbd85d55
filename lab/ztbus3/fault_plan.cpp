#include "ztbus3/fault_plan.h"

#include "store/fault_turn.h"
#include "store/locks.h"
#include "ztbus3/lab_bus.h"
#include "ztbus3/marshal.h"
#include "ztbus3/report_error.h"

#include <atomic>
#include <vector>

namespace lab {
namespace {

struct Rule {
    std::optional<Function> function;
    std::optional<std::string> object;
    std::optional<std::string> property;
    std::optional<std::string> type;
    std::optional<std::uint32_t> minor;
    FaultTurn turn;
    Fault fault;

    bool reads() const { return fault.as_type != 0 || fault.lie != Lie::none; }

    bool concerns(Function called) const {
        if (function) {
            return *function == called;
        }
        // A property is read from an object or from a set.
        return reads() ? called == Function::ObGetProperty || called == Function::PsFindProperty
                       : reaches_service(called);
    }
    bool selects(Function called, const Subject& subject) const {
        return concerns(called) && (!object || *object == subject.object) &&
               (!property || *property == subject.property) && (!type || *type == subject.type) &&
               (!minor || *minor == subject.minor);
    }
};

SRWLOCK plan_lock = SRWLOCK_INIT;
std::vector<Rule> plan;
std::atomic<bool> planned{false};

std::uint32_t read_type(const JsonNode& node) {
    const std::uint32_t type = type_tag(node.text());
    if (type == 0) {
        throw ScenarioError(node.line, "\"" + node.text() + "\" is not a type");
    }
    return type;
}

Lie read_lie(const JsonNode& node) {
    constexpr std::pair<const char*, Lie> lies[] = {{"empty", Lie::empty},
                                                    {"long", Lie::longer},
                                                    {"unterminated", Lie::unterminated},
                                                    {"short", Lie::shorter},
                                                    {"null", Lie::null}};
    for (const auto& [name, lie] : lies) {
        if (node.text() == name) {
            return lie;
        }
    }
    throw ScenarioError(node.line, "\"" + node.text() + "\" is not a lie");
}

Function read_function(const JsonNode& node) {
    const std::optional<Function> function = function_named(node.text());
    if (!function) {
        throw ScenarioError(node.line, "\"" + node.text() + "\" is not a function of the bus");
    }
    return *function;
}

void read_selection(Members& members, Rule& rule) {
    if (const JsonNode* node = members.find("function")) {
        rule.function = read_function(*node);
    }
    if (const JsonNode* node = members.find("object")) {
        rule.object = node->text();
    }
    if (const JsonNode* node = members.find("property")) {
        rule.property = node->text();
    }
    if (const JsonNode* node = members.find("type")) {
        rule.type = node->text();
    }
    if (const JsonNode* node = members.find("minor")) {
        rule.minor = static_cast<std::uint32_t>(node->unsigned_integer(UINT32_MAX));
    }
    rule.turn = FaultTurn(members);
}

void read_fault(Members& members, Fault& fault) {
    if (const JsonNode* node = members.find("status")) {
        fault.answers = true;
        fault.status = read_status(*node);
    }
    if (const JsonNode* node = members.find("after")) {
        fault.after = true;
        fault.status = read_status(*node);
    }
    fault.nothing = members.boolean("nothing", false);
    fault.drop = members.boolean("drop", false);
    fault.delay_ms = members.uint32("delay", 0);
    if (const JsonNode* node = members.find("as")) {
        fault.as_type = read_type(*node);
    }
    if (const JsonNode* node = members.find("lie")) {
        fault.lie = read_lie(*node);
    }
}

// Returns why the function cannot do what the rule says; nullptr if it can.
const char* contradiction(const Rule& rule) {
    const Fault& fault = rule.fault;
    const bool works = fault.after || fault.nothing || fault.drop || rule.reads();
    if (fault.answers && works) {
        return "\"status\" excludes effects that do the work";
    }
    if (!fault.answers && !works && fault.delay_ms == 0) {
        return "the rule does nothing";
    }
    if (!rule.function) {
        return nullptr;
    }
    const Function function = *rule.function;
    if (rule.reads() && function != Function::ObGetProperty &&
        function != Function::PsFindProperty && function != Function::PsFindNextProperty) {
        return "the function returns no property";
    }
    const bool has_status = reaches_service(function) || works_on_sets(function) ||
                            function == Function::I18nAddInsertionString ||
                            function == Function::I18nAddInsertionWideString;
    const bool hands_out = function == Function::ZtAlloc || function == Function::ZtGUIDToString;
    if (!has_status && (!hands_out || fault.answers || fault.after || fault.drop)) {
        return "the function cannot do that";
    }
    return nullptr;
}

Rule read_rule(const JsonNode& node) {
    Members members(node);
    Rule rule;
    read_selection(members, rule);
    read_fault(members, rule.fault);
    members.finish();
    if (const char* reason = contradiction(rule)) {
        throw ScenarioError(node.line, reason);
    }
    return rule;
}

// Changes the number of characters or elements of a value. Returns false if it
// has neither, like a number.
bool resize(Value& value, Lie lie) {
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
        return true;
    };
    if (value.is_array()) {
        return change(value.elements);
    }
    Scalar& element = value.elements.front();
    if (auto* text = std::get_if<std::string>(&element)) {
        return change(*text);
    }
    if (auto* wide = std::get_if<std::wstring>(&element)) {
        return change(*wide);
    }
    auto* bytes = std::get_if<Bytes>(&element);
    return bytes != nullptr && change(*bytes);
}

}  // namespace

bool has_fault_plan() {
    return planned.load(std::memory_order_relaxed);
}

Fault next_fault(Function function, const Subject& subject) {
    Fault fault;
    {
        const Exclusive hold(plan_lock);
        bool is_due = false;
        for (Rule& rule : plan) {
            if (!rule.selects(function, subject)) {
                continue;
            }
            if (rule.turn.is_due() && !is_due) {
                fault = rule.fault;
                is_due = true;
            }
        }
    }
    if (fault.delay_ms != 0) {
        Sleep(fault.delay_ms);
    }
    return fault;
}

void hand_out_with(const Fault& fault, const std::string& name, Value value,
                   opal_property& property) {
    const bool resizes =
        fault.lie == Lie::empty || fault.lie == Lie::longer || fault.lie == Lie::shorter;
    const bool resized = resizes && resize(value, fault.lie);
    if (fault.lie == Lie::unterminated) {
        hand_out_unterminated(name, value, property);
    } else {
        hand_out(name, value, property);
    }
    if (resizes && !resized && fault.lie != Lie::longer) {
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
        std::vector<Rule> rules;
        if (json != nullptr) {
            const JsonNode root = parse_json(json);
            for (const JsonNode& node : root.array()) {
                rules.push_back(read_rule(node));
            }
        }
        const Exclusive hold(plan_lock);
        plan = std::move(rules);
        planned = !plan.empty();
    });
}
