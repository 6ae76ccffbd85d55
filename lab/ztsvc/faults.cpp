#include "ztsvc/faults.h"

#include "store/json_file.h"

#include <algorithm>
#include <iterator>

namespace lab {
namespace {

struct FunctionName {
    const char* function;
    Operation operation;
};

constexpr FunctionName functions[] = {
    {"ObGetProperty", Operation::get_property},     {"ObSetProperty", Operation::set_property},
    {"ObGetProperties", Operation::get_properties}, {"ObGetObjectType", Operation::get_type},
    {"ObGetChildObjects", Operation::get_children}, {"ObGetParentObjects", Operation::get_parents},
    {"ObDeleteObject", Operation::delete_object},   {"DbGetObjects", Operation::get_objects},
    {"DbGetObjectsByQuery", Operation::query},      {"PrCallDispatch", Operation::invoke},
};

Operation read_operation(const JsonNode& node) {
    const auto* found =
        std::find_if(std::begin(functions), std::end(functions),
                     [&node](const FunctionName& row) { return node.text() == row.function; });
    if (found == std::end(functions)) {
        throw ScenarioError(node.line,
                            "\"" + node.text() + "\" is not a function that reaches the service");
    }
    return found->operation;
}

}  // namespace

FaultPlan::Rule FaultPlan::read_rule(const JsonNode& node) {
    Members members(node);
    Rule rule;
    if (const JsonNode* function = members.find("function")) {
        rule.operation = read_operation(*function);
    }
    if (const JsonNode* minor = members.find("minor")) {
        rule.minor = static_cast<std::uint32_t>(minor->unsigned_integer(UINT32_MAX));
        if (rule.operation.value_or(Operation::invoke) != Operation::invoke) {
            throw ScenarioError(minor->line, "only PrCallDispatch has a \"minor\"");
        }
        rule.operation = Operation::invoke;
    }
    rule.turn = FaultTurn(members);
    rule.fault.delay_ms = members.uint32("delay", 0);
    if (const JsonNode* status = members.find("status")) {
        rule.fault.status = read_status(*status);
    }
    rule.fault.drop = members.boolean("drop", false);
    members.finish();
    if (rule.fault.status && rule.fault.drop) {
        throw ScenarioError(node.line, "\"status\" and \"drop\" exclude each other");
    }
    if (!rule.fault.status && !rule.fault.drop && rule.fault.delay_ms == 0) {
        throw ScenarioError(node.line, "the rule does nothing");
    }
    if (rule.fault.status == ZTSTATUS_OK &&
        rule.operation.value_or(Operation::get_property) == Operation::get_property) {
        throw ScenarioError(node.line, "reading a property cannot succeed without a value");
    }
    return rule;
}

FaultPlan::FaultPlan(const wchar_t* path) {
    use_json_file(path, [this](const std::string& text) {
        const JsonNode root = parse_json(text);
        for (const JsonNode& node : root.array()) {
            m_rules.push_back(read_rule(node));
        }
    });
}

ServiceFault FaultPlan::next(Operation operation, std::uint32_t minor) {
    const Exclusive hold(m_lock);
    ServiceFault fault;
    bool is_due = false;
    for (Rule& rule : m_rules) {
        const bool selected =
            rule.operation.value_or(operation) == operation && rule.minor.value_or(minor) == minor;
        if (selected && rule.turn.is_due() && !is_due) {
            fault = rule.fault;
            is_due = true;
        }
    }
    return fault;
}

}  // namespace lab
