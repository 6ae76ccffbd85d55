// Patterns of the calls that an export makes: which calls of a clean run a step covers, and
// which of their failures.
#pragma once

#include "support/service_names.h"

#include <cstdint>
#include <string>
#include <utility>

namespace sweep {

// Words that the description of a call and of its failure contains in this order, the function's
// name first. A call is described as the recorder writes it (lab_bus.h), up to " -> "; one of the
// system by its function's name alone. The failure follows as Fault::description has it
// (imported_calls.cpp). An informational success is matched only by a pattern that is
// `succeeding()`.
struct CallPattern {
    CallPattern(const char* call) : words(call) {}
    CallPattern(std::string call) : words(std::move(call)) {}

    // Only the n-th of the matching calls in a clean run; 0: all of them.
    CallPattern nth(unsigned n) const;

    // Only where the call fails in this way:
    CallPattern returning(std::uint32_t status) const;
    CallPattern returning(std::int32_t native_status) const {
        return returning(static_cast<std::uint32_t>(native_status));
    }
    CallPattern failing_with(std::uint32_t error) const;  // of the system
    CallPattern without_output() const;                   // succeeds, but its outputs are not set
    CallPattern succeeding() const;                       // with an informational status
    // A wait:
    CallPattern failing() const;
    CallPattern abandoned() const;
    CallPattern timing_out() const;

    std::string words;
    unsigned number = 0;
};

// Allocations, which are not distinguished: one that fails must have the outcome of some step.
// A step for allocations is needed only for an outcome that no failing call has.
inline const CallPattern allocation{"memory"};

// Calls of a function of the system or of the command library.
CallPattern call_of(const std::string& function);

// Calls of the bus, by the function's name.
CallPattern get_objects(const std::string& type);
CallPattern query_objects(const std::string& type, const std::string& property);
CallPattern query_objects(const std::string& type);
CallPattern get_children(const std::string& object, const std::string& type);
CallPattern get_parents(const std::string& object, const std::string& type);
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
