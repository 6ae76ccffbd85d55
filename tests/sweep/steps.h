// What an export does when a call that it makes fails: the status that it returns and the
// errors that it logs.
#pragma once

#include "sweep/call_pattern.h"
#include "sweep/imported_calls.h"
#include "sweep/situations.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace sweep {

// Lines of the log.
using Lines = std::vector<std::string>;

struct Outcome {
    enum class Kind {
        continues,         // returns the status of a clean call
        no_effect,         // returns and logs what a clean call does
        status,            // returns `status`
        passes_status_on,  // returns the failing call's status, or the system's error
    };
    Kind kind = Kind::continues;
    std::uint32_t status = 0;
    // All lines of level 0, in order. "{}" stands for the status that is returned, "{call}" for
    // the failing call's status or error, in hexadecimal.
    Lines lines{};

    bool operator==(const Outcome&) const = default;
};

inline Outcome continues(Lines lines = {}) {
    return {Outcome::Kind::continues, 0, std::move(lines)};
}
inline Outcome returns(std::uint32_t status, Lines lines = {}) {
    return {Outcome::Kind::status, status, std::move(lines)};
}
inline Outcome passes_status_on(Lines lines = {}) {
    return {Outcome::Kind::passes_status_on, 0, std::move(lines)};
}
inline const Outcome no_effect{Outcome::Kind::no_effect};

// The outcome of some calls' failures.
struct Step {
    CallPattern call;
    Outcome outcome{};
};

// Steps are listed in the order of the calls. The order has no other meaning: of the steps that
// cover a failing call, the one whose pattern says most about it applies (find_step).
using Steps = std::vector<Step>;

inline Steps operator+(Steps first, const Steps& others) {
    first.insert(first.end(), others.begin(), others.end());
    return first;
}

// Lines that are logged around those of a step, by what comes before and after its call.
struct SurroundingLines {
    Lines before{};
    Lines after_success{};  // where the step continues
    Lines after_failure{};  // where it does not
};
Steps with_lines(const SurroundingLines& surrounding, Steps steps);

// The steps with these lines after those of every step that does not continue.
Steps each_failure_logs(const Lines& lines, Steps steps);

// Every call of a clean run, by function and number.
class CleanCalls {
  public:
    // `recorded`: lines of the recorder for all kinds of calls; `counts`: of ImportedCalls.
    CleanCalls(const std::vector<std::string>& recorded, const std::vector<unsigned>& counts);

    // The call as a pattern describes it.
    const std::string& description(const Call& call) const;
    // The type of the property that the call reads, without TYPE_; "" when it reads none.
    const std::string& property_type(const Call& call) const;

    // The step that covers the call's failure in this way; NULL when there is none. The pattern
    // with the most words counts, and among equals one with a number. Throws std::logic_error
    // when two such steps have different outcomes.
    const Step* find_step(const Steps& steps, const Call& call, const Fault& fault) const;

  private:
    struct CleanCall {
        std::string description;
        std::string property_type;
    };
    static std::vector<CleanCall> calls_of(const std::vector<std::string>& recorded,
                                           const std::string& function);
    bool covers(const Step& step, const Call& call, const Fault& fault) const;

    std::vector<std::vector<CleanCall>> m_calls;  // by import, by number - 1
};

// The steps of some exports in the situation of that name, or in all of them when it is "".
struct ExportSteps {
    std::vector<std::string> exports;
    std::string situation;
    Steps steps;
};

// steps_*.cpp
std::vector<ExportSteps> cluster_steps();
std::vector<ExportSteps> diskgroup_steps();
std::vector<ExportSteps> folder_steps();
std::vector<ExportSteps> health_steps();
std::vector<ExportSteps> identity_steps();
std::vector<ExportSteps> records_steps();
std::vector<ExportSteps> reservation_steps();
std::vector<ExportSteps> volume_steps();
std::vector<ExportSteps> volume_identity_steps();

// The situation's steps: those for its name, then those for all of the export's situations.
Steps steps_of(const Situation& situation);

}  // namespace sweep
