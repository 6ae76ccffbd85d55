// What becomes of each call that an export makes when it fails: the status that the export
// answers and the errors that it logs.
#pragma once

#include "call_pattern.h"
#include "imported_calls.h"
#include "situations.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sweep {

// Of the log.
using Lines = std::vector<std::string>;

struct Outcome {
    enum class Kind {
        continues,         // the status is a clean call's
        no_effect,         // nothing but a clean call, its errors included
        status,            // `status`
        passes_status_on,  // the status, or the system's error, that the call answered
    };
    Kind kind = Kind::continues;
    std::uint32_t status = 0;
    // Lines of level 0, whole and in order; "{}" stands for the status that is answered,
    // "{call}" for the one that the call answered, in hexadecimal.
    Lines errors{};
};

inline Outcome continues(Lines errors = {}) {
    return {Outcome::Kind::continues, 0, std::move(errors)};
}
inline Outcome returns(std::uint32_t status, Lines errors = {}) {
    return {Outcome::Kind::status, status, std::move(errors)};
}
inline Outcome passes_status_on(Lines errors = {}) {
    return {Outcome::Kind::passes_status_on, 0, std::move(errors)};
}

struct Step {
    CallPattern call;
    Outcome outcome{};
    // The n-th call of the text in a clean run; 0: every one.
    unsigned number = 0;
};

inline const Outcome no_effect{Outcome::Kind::no_effect};

using Steps = std::vector<Step>;

// Steps in front of others: the first one that fits counts.
inline Steps operator+(Steps first, const Steps& others) {
    first.insert(first.end(), others.begin(), others.end());
    return first;
}

// The steps with these lines behind those of every failure that ends the call.
Steps each_failure_logs(const Lines& errors, Steps steps);

// The steps with the lines `before` in front of their own, and behind them those of what the
// call comes to: `success` where the steps go on, else `failure`.
Steps framed(const Lines& before, const Lines& success, const Lines& failure, Steps steps);

// Every call of a clean run, by function and number.
class CleanCalls {
  public:
    // `recorded`: lines of the recorder, all kinds of calls; `counts` as ImportedCalls tells.
    CleanCalls(const std::vector<std::string>& recorded, const std::vector<unsigned>& counts);

    const std::string& call_text(const Call& call) const;
    // The type of the property that the call reads, without TYPE_; "" where there is none.
    const std::string& property_type(const Call& call) const;
    // What comes of that call's failure in this way; NULL where no step tells.
    const Outcome* outcome(const Steps& steps, const Call& call, const Fault& fault) const;

  private:
    struct Text {
        std::string call;
        std::string type;
    };
    static std::vector<Text> calls_of(const std::vector<std::string>& recorded,
                                      const std::string& function);

    std::vector<std::vector<Text>> m_texts;  // by import, by number - 1
};

// The steps of some exports, in one situation ("by GUID"), or "" for all of them.
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

// Of that situation: first what was written for its name, then for all of the export's.
Steps steps_of(const Situation& situation);

}  // namespace sweep
