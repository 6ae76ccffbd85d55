#include "sweep/sweep.h"

#include "support/service_names.h"
#include "sweep/description.h"
#include "sweep/prepared_call.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

using namespace support;

namespace sweep {
namespace {

// Failures of a situation that are printed; further ones are counted only.
constexpr unsigned max_reported = 12;
// The number of calls of a function in the sample.
constexpr unsigned sampled_calls = 12;

std::map<std::string, Row> rows;
char current[512];
LPTOP_LEVEL_EXCEPTION_FILTER next_filter;

LONG CALLBACK print_crash(EXCEPTION_POINTERS* exception) {
    std::fprintf(stderr, "\nThe run that crashed: %s\n", current);
    return next_filter != nullptr ? next_filter(exception) : EXCEPTION_CONTINUE_SEARCH;
}

void prepare_process() {
    if (next_filter == nullptr) {
        next_filter = SetUnhandledExceptionFilter(&print_crash);
        // The first output for a debugger creates a mutex that stays open.
        OutputDebugStringA("");
    }
}

void replace_placeholder(std::string& text, const std::string& place, const std::string& value) {
    if (const std::size_t at = text.find(place); at != std::string::npos) {
        text.replace(at, place.size(), value);
    }
}

}  // namespace

Row& row_of(const std::string& export_name) {
    return rows[export_name];
}

void print_table() {
    std::printf("%-32s %10s %12s %10s %9s\n", "export", "situations", "fault points", "runs",
                "failures");
    Row total;
    unsigned all_situations = 0;
    for (const auto& [name, row] : rows) {
        const auto count = static_cast<unsigned>(std::count_if(
            situations().begin(), situations().end(),
            [&name = name](const Situation& one) { return name == one.export_name; }));
        std::printf("%-32s %10u %12u %10u %9u\n", name.c_str(), count, row.points, row.runs,
                    row.failures);
        all_situations += count;
        total.points += row.points;
        total.runs += row.runs;
        total.failures += row.failures;
    }
    std::printf("%-32s %10u %12u %10u %9u\n", (std::to_string(rows.size()) + " exports").c_str(),
                all_situations, total.points, total.runs, total.failures);
}

void SweepTest::in_situation(const Situation& situation, DWORD threshold,
                             const std::function<void()>& body) {
    prepare_process();
    m_situation = &situation;
    m_reported = 0;
    scenario = scenario_json(situation.setup.node);
    if (situation.setup.support_scsi3 != 0) {
        support_scsi3 = situation.setup.support_scsi3;
    }
    at_threshold(threshold, [&] {
        support::environment().set_registry(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
                                            L"CurrentVersion", L"6.3");
        support::environment().set_registry(support::volume_manager_key, L"VMMSFolderDelete", 1);
        m_machine = std::make_unique<Machine>(dll().module());
        m_machine->set_partition_style(situation.setup.partition_style);
        m_machine->set_volume_links(situation.setup.volume_links);
        m_imported = std::make_unique<ImportedCalls>(dll().module());
        start_node_after(200);
        // The first call in a process does more than the others.
        perform();
        m_before = live_objects();
        m_clean = perform();
        m_counts = m_imported->counts();
        m_sequence = m_imported->sequence();
        record_clean_calls();
        EXPECT_EQ(m_clean.status, situation.clean_status) << "a clean call";
        if (!HasFailure()) {
            body();
        }
        m_imported.reset();
        m_machine.reset();
    });
}

// The library waits without a limit for a node that never reports. After so many pauses the
// node looks as if another process had started it.
void SweepTest::start_node_after(int pauses) {
    clock().on_pause = [this, pauses](int number) {
        if (number != pauses) {
            return;
        }
        opal_objid misc{};
        const std::uint32_t role = 2;
        const opal_property property{"nodeRole", TYPE_UINT32, 1, sizeof role, &role};
        LabFindObject("misc", &misc);
        ObSetProperty(handle->connection, handle->connection_context, &misc, &property);
    };
}

Result SweepTest::perform(const std::vector<Argument>& arguments) {
    load_scenario(scenario);
    support::environment().remove_logs();
    m_machine->take_new_connections();
    m_machine->watch(handle);
    PreparedCall call(arguments, handle);
    clock().forget();
    m_imported->start_counting();
    Result result;
    result.status = call.run(dll().entry<FARPROC>(m_situation->export_name));
    m_machine->join_threads();
    m_imported->stop_counting();
    ++row_of(m_situation->export_name).runs;
    if (m_situation->contract.returns_flag) {
        result.status &= 0xFF;
    }
    std::string error;
    for (const support::LogLine& line :
         support::read_log(support::environment().log_file(), error)) {
        result.log.push_back(line.text);
    }
    if (!error.empty()) {
        report("the log", error);
    }
    for (const auto& one : call.arguments()) {
        result.outputs.push_back(one->output());
        result.written.push_back(one->written());
        if (const std::string overrun = one->overrun(); !overrun.empty()) {
            report("an output", overrun);
        }
        if (one->slot_handle() != nullptr) {
            FARLO(UnInitializeClusterW)(one->slot_handle());
        }
        if (one->own_handle() != nullptr && !m_machine->forget_released(one->own_handle())) {
            UnInitializeZtVmW(one->own_handle());
        }
    }
    return result;
}

SweepTest::LiveObjects SweepTest::live_objects() const {
    LiveObjects now{};
    LabGetLive(&now.bus);
    lab_cmd_calls calls;
    LabCmdGetCalls(&calls);
    now.handles = calls.live_handles;
    return now;
}

bool SweepTest::is_allowed(std::uint32_t status, const Expectation& expectation) const {
    const Contract& contract = m_situation->contract;
    if (contract.returns_flag) {
        return status <= 1;
    }
    const bool is_clean = status == m_clean.status;
    const bool is_injected = contract.service_statuses && status == expectation.injected;
    switch (expectation.status) {
    case Allowed::described:
        return is_clean || is_injected ||
               (is_described(contract, status) && is_listed(m_situation->export_name, status));
    case Allowed::clean:
        return is_clean;
    case Allowed::clean_or_injected:
        return is_clean || is_injected;
    case Allowed::null_handle:
        return status == contract.null_handle;
    case Allowed::refusal:
        return status != FARLO_SUCCESS && among(contract.statuses, status) &&
               is_listed(m_situation->export_name, status);
    case Allowed::buffer_too_small:
        return status == FARLO_BUFFER_TOO_SMALL;
    case Allowed::disconnected:
        return among(contract.when_disconnected, status);
    }
    return false;
}

bool SweepTest::has_failed(std::uint32_t status, const Expectation& expectation) const {
    return !m_situation->contract.returns_flag && status != FARLO_SUCCESS &&
           status != m_clean.status &&
           !(expectation.status == Allowed::clean_or_injected && status == expectation.injected);
}

void SweepTest::record_clean_calls() {
    LabRecorderStart(LAB_RECORD_ALL);
    perform();
    m_clean_calls.emplace(calls(), m_imported->counts());
    LabRecorderStart(recorded);
    m_steps = steps_of(*m_situation);
    m_uncovered.clear();
}

const Outcome* SweepTest::outcome(const Call& call, const Fault& fault) {
    if (const Step* step = m_clean_calls->find_step(m_steps, call, fault)) {
        return &step->outcome;
    }
    if (fault.meaning == Fault::Meaning::informational) {
        return &no_effect;
    }
    const std::string& description = m_clean_calls->description(call);
    if (m_uncovered.insert(description).second) {
        ++row_of(m_situation->export_name).failures;
        ADD_FAILURE() << m_situation->export_name << " (" << m_situation->name
                      << "): no step covers " << description << ", which " << fault.description;
    }
    return nullptr;
}

void SweepTest::expect_steps_in_call_order() {
    // By step: when the first call that it covers was made; none for a step that covers none.
    std::vector<std::optional<std::size_t>> first_calls(m_steps.size());
    for (std::size_t position = 0; position < m_sequence.size(); ++position) {
        const Call& call = m_sequence[position];
        for (const Fault& fault : failing_imports()[call.import].faults) {
            if (const Step* step = m_clean_calls->find_step(m_steps, call, fault)) {
                auto& first_call = first_calls[static_cast<std::size_t>(step - m_steps.data())];
                first_call = first_call.value_or(position);
            }
        }
    }
    const Step* latest = nullptr;
    std::size_t latest_call = 0;
    for (std::size_t i = 0; i < m_steps.size(); ++i) {
        if (first_calls[i] && *first_calls[i] < latest_call) {
            report("the steps", "\"" + m_steps[i].call.words + "\" is listed after \"" +
                                    latest->call.words + "\", which is called later");
        } else if (first_calls[i]) {
            latest = &m_steps[i];
            latest_call = *first_calls[i];
        }
    }
}

// How the result differs from the outcome; "" for not at all. The log is compared only at the
// threshold of errors, where it has no other lines.
std::string SweepTest::difference(const Result& result, const Outcome& outcome,
                                  std::uint32_t failed) const {
    const std::uint32_t status = outcome.kind == Outcome::Kind::passes_status_on ? failed
                                 : outcome.kind == Outcome::Kind::status         ? outcome.status
                                                                                 : m_clean.status;
    if (result.status != status) {
        return "returned " + hex(result.status) + " instead of " + hex(status);
    }
    if (threshold() != 0) {
        return "";
    }
    Lines lines = outcome.kind == Outcome::Kind::no_effect ? m_clean.log : outcome.lines;
    for (std::string& line : lines) {
        replace_placeholder(line, "{}", hex(status));
        replace_placeholder(line, "{call}", hex(failed));
    }
    return result.log == lines ? ""
                               : "logged " + testing::PrintToString(result.log) + " instead of " +
                                     testing::PrintToString(lines);
}

// Whether it is the outcome of some step, or of an exception that only the export's boundary
// caught, which ends the call before its closing lines.
bool SweepTest::matches_a_step(const Result& result) const {
    const auto has_its_outcome = [&](const Step& step) {
        return difference(result, step.outcome, result.status).empty();
    };
    const auto logs_its_first_lines = [&](const Step& step) {
        const Lines& lines = step.outcome.lines;
        return result.log.size() <= lines.size() &&
               std::equal(result.log.begin(), result.log.end(), lines.begin());
    };
    return difference(result, no_effect, 0).empty() ||
           std::any_of(m_steps.begin(), m_steps.end(), has_its_outcome) ||
           (result.status == FARLO_EXCEPTION &&
            std::any_of(m_steps.begin(), m_steps.end(), logs_its_first_lines));
}

void SweepTest::check(const std::string& what, const Result& result,
                      const Expectation& expectation) {
    if (expectation.outcome != nullptr) {
        const std::string found =
            difference(result, *expectation.outcome, expectation.injected.value_or(0));
        if (!found.empty()) {
            report(what, found);
        }
    }
    if (expectation.any_step && !matches_a_step(result)) {
        report(what, "no step returns " + hex(result.status) + " and logs " +
                         testing::PrintToString(result.log));
    }
    if (!is_allowed(result.status, expectation)) {
        report(what, "returned " + hex(result.status) + ", which is not expected");
    }
    if (expectation.string_refused) {
        check_refusal(what, result);
    }
    check_outputs(what, result, expectation);
    check_line(what, result, expectation);
    expect_nothing_left(what, expectation);
}

void SweepTest::check_outputs(const std::string& what, const Result& result,
                              const Expectation& expectation) {
    const bool failed = has_failed(result.status, expectation);
    const bool is_as_clean = (expectation.status == Allowed::clean ||
                              expectation.status == Allowed::clean_or_injected) &&
                             !failed;
    for (std::size_t i = 0; i < result.outputs.size(); ++i) {
        const bool may_be_written =
            m_situation->arguments[i].written_on_failure || expectation.outputs_may_be_written;
        if (failed && result.written[i] && !may_be_written) {
            report(what, "returned " + hex(result.status) + " but wrote argument " +
                             std::to_string(i + 1));
        }
        if (is_as_clean && !expectation.outputs_may_differ &&
            result.outputs[i] != m_clean.outputs[i]) {
            report(what,
                   "wrote other bytes than a clean call to argument " + std::to_string(i + 1));
        }
    }
}

void SweepTest::check_line(const std::string& what, const Result& result,
                           const Expectation& expectation) {
    const Contract& contract = m_situation->contract;
    const bool may_log_nothing =
        expectation.line_is_optional || result.status == FARLO_BUFFER_TOO_SMALL ||
        among(contract.without_line, result.status) ||
        (expectation.changed_arguments && among(contract.refused_without_line, result.status));
    if (has_failed(result.status, expectation) && result.log.empty() && !may_log_nothing) {
        report(what, "returned " + hex(result.status) + " without logging a line");
    }
}

// A refused string is logged in exactly one line.
void SweepTest::check_refusal(const std::string& what, const Result& result) {
    const auto refusals =
        std::count_if(result.log.begin(), result.log.end(), [](const std::string& line) {
            return line.find(" string of more than ") != std::string::npos;
        });
    if (refusals != 1) {
        report(what, "refused the string in " + std::to_string(refusals) +
                         " lines instead of one: logged " + testing::PrintToString(result.log));
    }
}

void SweepTest::expect_nothing_left(const std::string& what, const Expectation& expectation) {
    m_imported->disarm();
    LabSetFaultPlan(nullptr, nullptr, 0);
    heap().fail_no_more();
    renew_connection(what);
    const LiveObjects now = live_objects();
    if (now.bus.property_sets != m_before.bus.property_sets ||
        now.bus.properties != m_before.bus.properties || now.bus.blocks != m_before.bus.blocks) {
        report(what,
               "leaked " + std::to_string(now.bus.property_sets - m_before.bus.property_sets) +
                   " property sets, " +
                   std::to_string(now.bus.properties - m_before.bus.properties) + " properties, " +
                   std::to_string(now.bus.blocks - m_before.bus.blocks) + " blocks");
        m_before = now;
    }
    if (now.handles != m_before.handles) {
        report(what, "leaked " + std::to_string(now.handles - m_before.handles) + " connections");
        m_before = now;
    }
    for (const std::string& mutex : m_machine->take_owned_mutexes()) {
        report(what, "still owns " + mutex);
    }
    if (expectation.status == Allowed::clean && !full_sweep()) {
        return;
    }
    const Result again = perform();
    if (again.status != m_clean.status || again.outputs != m_clean.outputs) {
        report(what, "a clean call afterwards returned " + hex(again.status) +
                         (again.status == m_clean.status ? " with other outputs" : ""));
    }
}

void SweepTest::renew_connection(const std::string& what) {
    if (m_machine->has_released(handle)) {
        report(what, "released the caller's handle");
        handle = nullptr;
    }
    // Connections that were made for a slot have been released with it.
    for (const opal_handle made : m_machine->take_new_connections()) {
        if (made != handle) {
            report(what, "leaked a connection that is in no slot");
            FARLO(UnInitializeClusterW)(made);
        }
    }
    if (handle != nullptr && handle->connected != 0) {
        return;
    }
    if (handle != nullptr) {
        FARLO(UnInitializeClusterW)(handle);
    }
    handle = nullptr;
    if (FARLO(InitializeClusterW)(&handle) != FARLO_SUCCESS) {
        ADD_FAILURE() << "cannot connect";
    }
    m_machine->take_new_connections();
}

void SweepTest::at_every_call(const std::function<void(const Import&, const Call&)>& point) {
    const std::vector<unsigned> counted = counts();
    for (std::size_t import = 0; import < counted.size(); ++import) {
        const unsigned last =
            full_sweep() ? counted[import] : std::min(counted[import], sampled_calls);
        for (unsigned number = 1; number <= last; ++number) {
            count_fault_point();
            point(failing_imports()[import], {import, number});
        }
    }
}

void SweepTest::report(const std::string& what, const std::string& problem) {
    ++row_of(m_situation->export_name).failures;
    if (++m_reported <= max_reported) {
        ADD_FAILURE() << m_situation->export_name << " (" << m_situation->name << "), " << what
                      << ": " << problem;
    }
}

void SweepTest::announce(const std::string& what) {
    std::snprintf(current, sizeof current, "%s (%s), %s", m_situation->export_name,
                  m_situation->name, what.c_str());
}

std::string test_name(const testing::TestParamInfo<Situation>& info) {
    std::string name = std::string(info.param.export_name) + "_";
    for (const char* at = info.param.name; *at != '\0'; ++at) {
        name += std::isalnum(static_cast<unsigned char>(*at)) ? *at : '_';
    }
    return name;
}

}  // namespace sweep
