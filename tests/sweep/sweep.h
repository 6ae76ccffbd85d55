// The engine: runs a situation again and again, each time with another thing going
// wrong, and judges each run.
#pragma once

#include "farlo_test.h"
#include "imported_calls.h"
#include "machine.h"
#include "situations.h"
#include "steps.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sweep {

// Numbers of a row of the table that is printed at the end.
struct Row {
    unsigned points = 0;
    unsigned runs = 0;
    unsigned failures = 0;
};
Row& row_of(const std::string& export_name);
void print_table();

// What a call left behind.
struct Result {
    std::uint32_t status = 0;
    std::vector<std::vector<std::uint8_t>> outputs;  // one for each argument
    std::vector<bool> written;                       // one for each argument
    std::vector<std::string> log;
};

class SweepTest : public support::FarloTest {
  protected:
    // Prepares the situation, makes sure that a clean call answers as it should, and runs
    // the body, at that threshold.
    void in_situation(const Situation& situation, DWORD threshold,
                      const std::function<void()>& body);

    // In a body:
    // The call, from a fresh scenario on.
    Result perform(const std::vector<Argument>& arguments);
    Result perform() { return perform(m_situation->arguments); }
    // Calls of each function in a clean run.
    const std::vector<unsigned>& counts() const { return m_counts; }
    // What comes of a call's failure in this way; NULL, and a fault, where no step tells.
    const Outcome* outcome(const Call& call, const Way& way);
    // The type of the property that a call reads; "" where there is none.
    const std::string& type_read(const Call& call) const { return m_texts->type_read(call); }
    // Calls `point` with every call of every function that can fail, or in the quick sweep
    // with the first ones of each.
    void at_every_call(const std::function<void(const Import&, const Call&)>& point);
    Machine& machine() { return *m_machine; }
    ImportedCalls& imported() { return *m_imported; }
    const Situation& situation() const { return *m_situation; }

    struct Judgement {
        std::optional<std::uint32_t> injected;  // a status that may be passed on
        bool as_clean = false;                  // nothing but the log may differ
        bool informational = false;             // the clean status or the injected one
        bool other_outputs = false;             // the outputs may be others
        bool dropped = false;                   // the connection was lost on the way
        bool lied_to = false;                   // what was read is no use
        bool may_be_silent = false;             // a failure needs no line
        bool other_call = false;                // the arguments are others
        bool null_handle = false;               // the handle is NULL, and nothing else
        bool too_long = false;                  // a text does not fit
        bool refused = false;                   // in one line of its own
        bool too_small = false;                 // the size of an output
        const Outcome* outcome = nullptr;       // what the step comes to
        bool any_step = false;                  // it comes to what some step comes to
    };
    // Judges a run with `what` going wrong; then makes sure that nothing is left over and
    // that a clean call works.
    void judge(const std::string& what, const Result& result, const Judgement& judgement);
    // A fault point that was not met is a failure, too.
    void fault(const std::string& what, const std::string& text);
    void begin_point() { ++row_of(m_situation->export_name).points; }
    // What is going on, told when it crashes.
    void tell(const std::string& what);

  private:
    struct Left {
        lab_live bus;
        std::uint32_t handles;
    };
    Left left() const;
    // Makes a connection that a run lost, or gave back, and tells of those that it left.
    void renew_connection(const std::string& what);
    void expect_nothing_left(const std::string& what, const Judgement& judgement);
    bool is_allowed(std::uint32_t status, const Judgement& judgement) const;
    bool has_failed(std::uint32_t status, const Judgement& judgement) const;
    std::string difference(const Result& result, const Outcome& outcome,
                           std::uint32_t failed) const;
    bool is_of_a_step(const Result& result) const;
    void take_texts();
    void start_node_after(int pauses);

    const Situation* m_situation = nullptr;
    std::unique_ptr<Machine> m_machine;
    std::unique_ptr<ImportedCalls> m_imported;
    Result m_clean;
    std::vector<unsigned> m_counts;
    std::optional<CallTexts> m_texts;
    Steps m_steps;
    std::set<std::string> m_unknown;
    Left m_before{};
    unsigned m_told = 0;
};

// A suite that is run in every situation.
class Sweep : public SweepTest, public testing::WithParamInterface<Situation> {};

std::string test_name(const testing::TestParamInfo<Situation>& info);

}  // namespace sweep

// Runs the suite in all situations.
#define SWEEP_ALL(suite)                                                                           \
    INSTANTIATE_TEST_SUITE_P(All, suite, testing::ValuesIn(sweep::situations()), sweep::test_name)
