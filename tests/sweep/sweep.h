// The engine: runs a situation again and again, each time with another fault, and checks each run.
#pragma once

#include "support/farlo_test.h"
#include "sweep/imported_calls.h"
#include "sweep/machine.h"
#include "sweep/situations.h"
#include "sweep/steps.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sweep {

// An export's row in the table that is printed at the end.
struct Row {
    unsigned points = 0;  // fault points
    unsigned runs = 0;
    unsigned failures = 0;
};
Row& row_of(const std::string& export_name);
void print_table();

// What a run did.
struct Result {
    std::uint32_t status = 0;
    std::vector<std::vector<std::uint8_t>> outputs;  // by argument
    std::vector<bool> written;                       // by argument
    Lines log;
};

class SweepTest : public support::FarloTest {
  protected:
    // Prepares the situation at this trace threshold, checks that a clean call returns the
    // expected status, and runs the body.
    void in_situation(const Situation& situation, DWORD threshold,
                      const std::function<void()>& body);

    // The functions below are for the body.

    // Makes the call on a freshly loaded scenario.
    Result perform(const std::vector<Argument>& arguments);
    Result perform() { return perform(m_situation->arguments); }
    // The number of calls of each function in a clean run.
    const std::vector<unsigned>& counts() const { return m_counts; }
    // The outcome of the call's failure. NULL when no step covers it, which is reported.
    const Outcome* outcome(const Call& call, const Fault& fault);
    // Checks that the situation's steps are listed in the order of the calls.
    void expect_steps_in_call_order();
    // The type of the property that a call reads; "" when it reads none.
    const std::string& property_type(const Call& call) const {
        return m_clean_calls->property_type(call);
    }
    // Runs `point` for every call of every function that can fail; in the sample for the first
    // calls of each function.
    void at_every_call(const std::function<void(const Import&, const Call&)>& point);
    Machine& machine() { return *m_machine; }
    ImportedCalls& imported() { return *m_imported; }
    const Situation& situation() const { return *m_situation; }

    // Which statuses a run may return.
    enum class Allowed {
        described,          // what farlo.h documents for the export, and the injected status
        clean,              // a clean call's
        clean_or_injected,  // a clean call's or the injected one
        null_handle,        // the one for a NULL handle
        refusal,            // the documented failures
        buffer_too_small,   // FARLO_BUFFER_TOO_SMALL
        disconnected,       // those for a connection that is lost during the call
    };
    struct Expectation {
        Allowed status = Allowed::described;
        // The status or the system's error that was injected.
        std::optional<std::uint32_t> injected{};
        // Status and log of the step that covers the failing call; NULL: they are not compared.
        const Outcome* outcome = nullptr;
        // Status and log must be those of one of the situation's steps.
        bool any_step = false;
        bool changed_arguments = false;       // not the situation's own arguments
        bool outputs_may_differ = false;      // on success, from a clean call's
        bool outputs_may_be_written = false;  // on failure, every one of them
        bool string_refused = false;          // one line must name a string that is too long
        bool line_is_optional = false;        // a failure need not log a line
    };
    // Checks a run in which `what` went wrong, then that nothing was leaked and that a clean
    // call works.
    void check(const std::string& what, const Result& result, const Expectation& expectation);
    // Reports a failure: what went wrong in the run, and what the export did wrong.
    void report(const std::string& what, const std::string& problem);
    void count_fault_point() { ++row_of(m_situation->export_name).points; }
    // Says what the run that follows is about; printed when it crashes.
    void announce(const std::string& what);

  private:
    struct LiveObjects {
        lab_live bus;
        std::uint32_t handles;
    };
    LiveObjects live_objects() const;
    // Replaces a connection that the run lost or released, and reports those that it leaked.
    void renew_connection(const std::string& what);
    void expect_nothing_left(const std::string& what, const Expectation& expectation);
    void check_outputs(const std::string& what, const Result& result,
                       const Expectation& expectation);
    void check_line(const std::string& what, const Result& result, const Expectation& expectation);
    void check_refusal(const std::string& what, const Result& result);
    bool is_allowed(std::uint32_t status, const Expectation& expectation) const;
    bool has_failed(std::uint32_t status, const Expectation& expectation) const;
    std::string difference(const Result& result, const Outcome& outcome,
                           std::uint32_t failed) const;
    bool matches_a_step(const Result& result) const;
    void record_clean_calls();
    void start_node_after(int pauses);

    const Situation* m_situation = nullptr;
    std::unique_ptr<Machine> m_machine;
    std::unique_ptr<ImportedCalls> m_imported;
    Result m_clean;
    std::vector<unsigned> m_counts;
    std::vector<Call> m_sequence;  // the calls of a clean run
    std::optional<CleanCalls> m_clean_calls;
    Steps m_steps;
    std::set<std::string> m_uncovered;  // calls that no step covers
    LiveObjects m_before{};             // before the runs
    unsigned m_reported = 0;
};

// Base of a suite that runs in every situation.
class Sweep : public SweepTest, public testing::WithParamInterface<Situation> {};

std::string test_name(const testing::TestParamInfo<Situation>& info);

}  // namespace sweep

// Runs the suite in all situations.
#define SWEEP_ALL(suite)                                                                           \
    INSTANTIATE_TEST_SUITE_P(All, suite, testing::ValuesIn(sweep::situations()), sweep::test_name)
