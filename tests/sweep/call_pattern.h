// Patterns of the calls that an export makes: which calls of a clean run a step covers, and
// which of their failures.
#pragma once

#include "service_names.h"

#include <cstdint>
#include <string>
#include <utility>

namespace sweep {

// Words that a call and its failure contain in this order, the function's name first. A call is
// written as the recorder writes it (lab_bus.h), up to " -> "; a function of the system by its
// name alone. The failure follows as Fault::description has it (imported_calls.cpp). An
// informational success is matched only by a pattern that is `succeeding()`.
struct CallPattern {
    CallPattern(const char* call) : words(call) {}
    CallPattern(std::string call) : words(std::move(call)) {}

    // Only where it returns that status; where it fails with that error of the system.
    CallPattern returning(std::uint32_t status) const;
    CallPattern failing_with(std::uint32_t error) const;
    // Only where it succeeds without setting its outputs; with an informational status.
    CallPattern without_output() const;
    CallPattern succeeding() const;

    std::string words;
};

// An allocation. Allocations are not told apart: one that fails must have the outcome of some
// step, so there is such a step only for an outcome that no failing call has.
inline const CallPattern allocation{"memory"};

// Calls of a function of the system or of the command library.
CallPattern call_of(const std::string& function);

// Calls of the bus, by the function's name. Some take any type, object or property.
CallPattern get_objects(const std::string& type);
CallPattern query_objects(const std::string& type, const std::string& property);
CallPattern query_any_objects();
CallPattern get_children(const std::string& object, const std::string& type);
CallPattern get_any_children();
CallPattern get_parents(const std::string& object, const std::string& type);
CallPattern get_any_parents();
CallPattern get_property(const std::string& object, const std::string& property);
CallPattern get_any_property(const std::string& object);
CallPattern get_property_of_any(const std::string& property);
CallPattern create_set();  // sets are numbered from 1
CallPattern add_property(const std::string& property);
CallPattern add_any_property();
CallPattern add_property_to(unsigned set, const std::string& property);
CallPattern add_any_property_to(unsigned set);
CallPattern find_property(const std::string& property);
CallPattern call_method(const support::Method& method);

}  // namespace sweep
