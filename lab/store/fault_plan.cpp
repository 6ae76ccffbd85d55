#include "store/fault_plan.h"

#include "store/scenario_members.h"

#include <algorithm>

namespace lab {
namespace {

// ------------------------------------------------- what calls refer to

// The keys of a rule that select calls by what they refer to.
enum Key : unsigned { object_key = 1, property_key = 2, type_key = 4, minor_key = 8 };

constexpr std::pair<Key, const char*> key_names[] = {
    {object_key, "object"}, {property_key, "property"}, {type_key, "type"}, {minor_key, "minor"}};

unsigned keys_of(Function function) {
    switch (function) {
    case Function::ObGetProperty:
    case Function::ObSetProperty:
        return object_key | property_key;
    case Function::ObGetProperties:
    case Function::ObGetObjectType:
    case Function::ObDeleteObject:
        return object_key;
    case Function::ObGetChildObjects:
    case Function::ObGetParentObjects:
        return object_key | type_key;
    case Function::DbGetObjects:
        return type_key;
    case Function::PrCallDispatch:
        return object_key | minor_key;
    case Function::PsAddProperty:
    case Function::PsSetProperty:
    case Function::PsFindProperty:
    case Function::PsFreeProperty:
        return property_key;
    default:
        return 0;
    }
}

unsigned keys_of(const FaultRule& rule) {
    return (rule.object ? object_key : 0u) | (rule.property ? property_key : 0u) |
           (rule.type ? type_key : 0u) | (rule.minor ? minor_key : 0u);
}

// "object" and "type"
std::string names_of(unsigned keys) {
    std::string names;
    for (const auto& [key, name] : key_names) {
        if ((keys & key) != 0) {
            names += std::string(names.empty() ? "" : " and ") + "\"" + name + "\"";
        }
    }
    return names;
}

// ------------------------------------------------------------ reading

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

Function read_function(const JsonNode& node, const FaultScope& scope) {
    const std::optional<Function> function = function_named(node.text());
    if (scope.service_only && (!function || !reaches_service(*function))) {
        throw ScenarioError(node.line,
                            "\"" + node.text() + "\" is not a function that reaches the service");
    }
    if (!function) {
        throw ScenarioError(node.line, "\"" + node.text() + "\" is not a function of the bus");
    }
    return *function;
}

void read_selection(Members& members, const FaultScope& scope, FaultRule& rule) {
    if (const JsonNode* node = members.find("function")) {
        rule.function = read_function(*node, scope);
    }
    if (const JsonNode* node = members.find("object")) {
        rule.object = node->text();
        if (scope.has_object && !scope.has_object(*rule.object)) {
            throw ScenarioError(node->line, "there is no object \"" + *rule.object + "\"");
        }
    }
    if (const JsonNode* node = members.find("property")) {
        rule.property = node->text();
    }
    if (const JsonNode* node = members.find("type")) {
        rule.type = node->text();
    }
    if (const JsonNode* node = members.find("minor")) {
        rule.minor = static_cast<std::uint32_t>(node->unsigned_integer(UINT32_MAX));
        if (rule.function.value_or(Function::PrCallDispatch) != Function::PrCallDispatch) {
            throw ScenarioError(node->line, "only PrCallDispatch has a \"minor\"");
        }
    }
    rule.turn = FaultTurn(members);
}

void read_fault(Members& members, Fault& fault) {
    if (const JsonNode* node = members.find("status")) {
        fault.answers = true;
        fault.status = read_status(*node);
    }
    if (const JsonNode* node = members.find("after")) {
        if (fault.answers) {
            throw ScenarioError(node->line, "\"status\" and \"after\" exclude each other");
        }
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

// ----------------------------------------------------------- checking

// Returns the effect that "status" excludes, because it needs the work; nullptr if there is none.
const char* effect_of_work(const Fault& fault) {
    return fault.drop               ? "drop"
           : fault.nothing          ? "nothing"
           : fault.as_type != 0     ? "as"
           : fault.lie != Lie::none ? "lie"
                                    : nullptr;
}

// Returns why the function cannot do what the rule says; empty if it can.
std::string contradiction(const FaultRule& rule) {
    const Fault& fault = rule.fault;
    const char* const works = effect_of_work(fault);
    if (fault.answers && works != nullptr) {
        return std::string("\"status\" and \"") + works + "\" exclude each other";
    }
    if (!fault.answers && !fault.after && works == nullptr && fault.delay_ms == 0) {
        return "the rule does nothing";
    }
    if (!rule.function) {
        return {};
    }
    const Function function = *rule.function;
    if (fault.changes_property() && function != Function::ObGetProperty &&
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
    return {};
}

// Returns why no call is ever selected; empty if one can be.
std::string selects_nothing(const FaultRule& rule, const FaultScope& scope) {
    const unsigned wanted = keys_of(rule);
    for (int i = 0; i < static_cast<int>(Function::count); ++i) {
        const auto function = static_cast<Function>(i);
        if (rule.concerns(function) && (!scope.service_only || reaches_service(function)) &&
            (wanted & ~keys_of(function)) == 0) {
            return {};
        }
    }
    if (rule.function) {
        return std::string("the rule never applies: calls of ") + function_name(*rule.function) +
               " have no " + names_of(wanted & ~keys_of(*rule.function));
    }
    return "the rule never applies: no call that it could change has " + names_of(wanted);
}

// Whether `earlier` applies to every call that `later` selects.
bool covers(const FaultRule& earlier, const FaultRule& later) {
    if (!earlier.turn.is_always()) {
        return false;
    }
    const auto includes = [](const auto& one, const auto& other) { return !one || one == other; };
    if (!includes(earlier.object, later.object) || !includes(earlier.property, later.property) ||
        !includes(earlier.type, later.type) || !includes(earlier.minor, later.minor)) {
        return false;
    }
    for (int i = 0; i < static_cast<int>(Function::count); ++i) {
        const auto function = static_cast<Function>(i);
        const bool selected =
            later.concerns(function) && (keys_of(later) & ~keys_of(function)) == 0;
        if (selected && !earlier.concerns(function)) {
            return false;
        }
    }
    return true;
}

FaultRule read_rule(const JsonNode& node, const FaultScope& scope,
                    const std::vector<FaultRule>& before) {
    Members members(node);
    FaultRule rule;
    rule.source = json_string(node);
    read_selection(members, scope, rule);
    read_fault(members, rule.fault);
    members.finish();
    for (const std::string& reason : {contradiction(rule), selects_nothing(rule, scope)}) {
        if (!reason.empty()) {
            throw ScenarioError(node.line, reason);
        }
    }
    const auto covering = std::find_if(before.begin(), before.end(), [&rule](const auto& earlier) {
        return covers(earlier, rule);
    });
    if (covering != before.end() && !scope.composed) {
        throw ScenarioError(node.line, "the rule never applies: an earlier one applies to all of "
                                       "its calls: " +
                                           covering->source);
    }
    return rule;
}

void append_rules(const JsonNode& root, const FaultScope& scope, std::vector<FaultRule>& rules) {
    for (const JsonNode& node : root.array()) {
        rules.push_back(read_rule(node, scope, rules));
    }
}

}  // namespace

bool resize(Value& value, Lie lie) {
    if (lie != Lie::empty && lie != Lie::shorter && lie != Lie::longer) {
        return false;
    }
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
    if (auto* string = std::get_if<std::string>(&element)) {
        return change(*string);
    }
    if (auto* wide = std::get_if<std::wstring>(&element)) {
        return change(*wide);
    }
    auto* bytes = std::get_if<Bytes>(&element);
    return bytes != nullptr && change(*bytes);
}

bool FaultRule::concerns(Function called) const {
    if (function) {
        return *function == called;
    }
    // A property is read from an object or from a set.
    return fault.changes_property()
               ? called == Function::ObGetProperty || called == Function::PsFindProperty
               : reaches_service(called);
}

bool FaultRule::selects(Function called, const Subject& subject) const {
    return concerns(called) && (keys_of(*this) & ~keys_of(called)) == 0 &&
           (!object || *object == subject.object) && (!property || *property == subject.property) &&
           (!type || *type == subject.type) && (!minor || *minor == subject.minor);
}

void FaultPlan::set(std::vector<FaultRule> rules) {
    for (FaultRule& rule : rules) {
        if (rule.number == 0) {
            rule.number = ++m_last_number;
        }
    }
    m_rules = std::move(rules);
    m_planned = !m_rules.empty();
}

void FaultPlan::replace(const std::string& json, const FaultScope& scope) {
    std::vector<FaultRule> rules;
    append_rules(parse_json(json), scope, rules);
    const Exclusive hold(m_lock);
    set(std::move(rules));
}

std::vector<std::uint32_t> FaultPlan::add(const std::string& json, const FaultScope& scope) {
    const JsonNode root = parse_json(json);
    const Exclusive hold(m_lock);
    std::vector<FaultRule> rules = m_rules;
    const std::size_t before = rules.size();
    if (std::holds_alternative<JsonNode::Array>(root.value)) {
        append_rules(root, scope, rules);
    } else {
        rules.push_back(read_rule(root, scope, rules));
    }
    set(std::move(rules));
    std::vector<std::uint32_t> numbers;
    for (std::size_t i = before; i < m_rules.size(); ++i) {
        numbers.push_back(m_rules[i].number);
    }
    return numbers;
}

bool FaultPlan::remove(std::uint32_t number) {
    const Exclusive hold(m_lock);
    const bool removed =
        std::erase_if(m_rules, [number](const auto& rule) { return rule.number == number; }) != 0;
    m_planned = !m_rules.empty();
    return removed;
}

void FaultPlan::clear() {
    const Exclusive hold(m_lock);
    set({});
}

std::vector<FaultRule> FaultPlan::rules() const {
    const Shared hold(m_lock);
    return m_rules;
}

Fault FaultPlan::next(Function function, const Subject& subject) {
    const Exclusive hold(m_lock);
    Fault fault;
    bool is_due = false;
    for (FaultRule& rule : m_rules) {
        if (rule.selects(function, subject) && rule.turn.is_due() && !is_due) {
            fault = rule.fault;
            is_due = true;
        }
    }
    return fault;
}

}  // namespace lab
