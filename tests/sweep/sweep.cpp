#include "sweep.h"

#include "prepared_call.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

namespace sweep {
namespace {

// Failures of one situation that are told; the others are counted.
constexpr unsigned told_at_most = 12;
// In the quick sweep the first calls of a function stand for the others.
constexpr unsigned quick_calls = 12;

std::map<std::string, Row> rows;
char current[512];
LPTOP_LEVEL_EXCEPTION_FILTER next_filter;

LONG CALLBACK tell_crash(EXCEPTION_POINTERS* exception) {
    std::fprintf(stderr, "\nThe crash: %s\n", current);
    return next_filter != nullptr ? next_filter(exception) : EXCEPTION_CONTINUE_SEARCH;
}

void prepare_process() {
    if (next_filter == nullptr) {
        next_filter = SetUnhandledExceptionFilter(&tell_crash);
        // The first text for a debugger makes a mutex that stays.
        OutputDebugStringA("");
    }
}

std::string hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(value));
    return text;
}

void put_in(std::string& text, const std::string& place, const std::string& value) {
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
    m_told = 0;
    scenario = scenario_text(situation.node);
    if (situation.support_scsi3 != 0) {
        support_scsi3 = situation.support_scsi3;
    }
    at_threshold(threshold, [&] {
        support::environment().set_registry(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion",
                                            L"CurrentVersion", L"6.3");
        support::environment().set_registry(support::volume_manager_key, L"VMMSFolderDelete", 1);
        m_machine = std::make_unique<Machine>(dll().module());
        m_machine->set_style(situation.disk_style);
        m_machine->set_volume_links(situation.volume_links);
        m_imported = std::make_unique<ImportedCalls>(dll().module());
        start_node_after(200);
        // The first call in a process does more than the others.
        perform();
        m_before = left();
        m_clean = perform();
        m_counts = m_imported->counts();
        take_texts();
        EXPECT_EQ(m_clean.status, situation.clean) << "a clean call";
        if (!HasFailure()) {
            body();
        }
        m_imported.reset();
        m_machine.reset();
    });
}

// A node that never reports is waited for without an end: who asks so often finds that
// somebody else has started it.
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
    m_machine->take_connections();
    m_machine->watch(handle);
    PreparedCall call(arguments, handle);
    clock().forget();
    m_imported->start_counting();
    Result result;
    result.status = call.run(dll().entry<FARPROC>(m_situation->export_name));
    m_machine->join();
    m_imported->stop_counting();
    ++row_of(m_situation->export_name).runs;
    if (m_situation->answers.flag) {
        result.status &= 0xFF;
    }
    std::string error;
    for (const support::LogLine& line :
         support::read_log(support::environment().log_file(), error)) {
        result.log.push_back(line.text);
    }
    if (!error.empty()) {
        fault("the log", error);
    }
    for (const auto& one : call.arguments()) {
        result.outputs.push_back(one->output());
        result.written.push_back(one->written());
        if (const std::string overrun = one->overrun(); !overrun.empty()) {
            fault("an output", overrun);
        }
        if (one->slot() != nullptr) {
            FARLO(UnInitializeClusterW)(one->slot());
        }
        if (one->own() != nullptr && !m_machine->forget_taken_back(one->own())) {
            UnInitializeZtVmW(one->own());
        }
    }
    return result;
}

SweepTest::Left SweepTest::left() const {
    Left now{};
    LabGetLive(&now.bus);
    lab_cmd_calls calls;
    LabCmdGetCalls(&calls);
    now.handles = calls.live_handles;
    return now;
}

bool SweepTest::is_allowed(std::uint32_t status, const Judgement& judgement) const {
    const Answers& answers = m_situation->answers;
    if (answers.flag) {
        return status <= 1;
    }
    if (judgement.as_clean) {
        return status == m_clean.status;
    }
    if (judgement.null_handle) {
        return status == answers.null_handle;
    }
    if (judgement.too_long) {
        return status != FARLO_SUCCESS && among(answers.statuses, status);
    }
    if (judgement.too_small) {
        return status == FARLO_BUFFER_TOO_SMALL;
    }
    if (judgement.dropped) {
        return among(answers.dropped, status);
    }
    if (judgement.informational) {
        return status == m_clean.status || (answers.service && status == judgement.injected);
    }
    if (status == m_clean.status) {
        return true;
    }
    return (answers.service && status == judgement.injected) || is_described(answers, status);
}

bool SweepTest::has_failed(std::uint32_t status, const Judgement& judgement) const {
    return !m_situation->answers.flag && status != FARLO_SUCCESS && status != m_clean.status &&
           !(judgement.informational && status == judgement.injected);
}

void SweepTest::take_texts() {
    LabRecorderStart(LAB_RECORD_ALL);
    perform();
    m_texts.emplace(calls(), m_imported->counts());
    LabRecorderStart(recorded);
    m_steps = steps_of(*m_situation);
    m_unknown.clear();
}

const Outcome* SweepTest::outcome(const Call& call, const Way& way) {
    const Outcome* found = m_texts->outcome(m_steps, call, way);
    if (found == nullptr && m_unknown.insert(m_texts->of(call)).second) {
        ++row_of(m_situation->export_name).failures;
        ADD_FAILURE() << m_situation->export_name << " (" << m_situation->name
                      << "): no step tells what comes of " << m_texts->of(call) << ", which "
                      << way.text;
    }
    return found;
}

// What differs from the outcome, "" for nothing. At the threshold of errors the log holds
// nothing else.
std::string SweepTest::difference(const Result& result, const Outcome& outcome,
                                  std::uint32_t failed) const {
    const std::uint32_t status = outcome.kind == Outcome::Kind::passed   ? failed
                                 : outcome.kind == Outcome::Kind::status ? outcome.status
                                                                         : m_clean.status;
    if (result.status != status) {
        return "the status is " + hex(result.status) + ", not " + hex(status);
    }
    if (threshold() != 0) {
        return "";
    }
    Lines errors = outcome.kind == Outcome::Kind::unnoticed ? m_clean.log : outcome.errors;
    for (std::string& error : errors) {
        put_in(error, "{}", hex(status));
        put_in(error, "{call}", hex(failed));
    }
    return result.log == errors ? ""
                                : "the log is " + testing::PrintToString(result.log) + ", not " +
                                      testing::PrintToString(errors);
}

// Whether it is what some step comes to, or an exception that nobody but the export's
// boundary was there for: the call ends at once.
bool SweepTest::is_of_a_step(const Result& result) const {
    const auto fits = [&](const Step& step) {
        return difference(result, step.outcome, result.status).empty();
    };
    const auto begins_with_its_log = [&](const Step& step) {
        const Lines& errors = step.outcome.errors;
        return result.log.size() <= errors.size() &&
               std::equal(result.log.begin(), result.log.end(), errors.begin());
    };
    return difference(result, unnoticed, 0).empty() ||
           std::any_of(m_steps.begin(), m_steps.end(), fits) ||
           (result.status == FARLO_EXCEPTION &&
            std::any_of(m_steps.begin(), m_steps.end(), begins_with_its_log));
}

void SweepTest::judge(const std::string& what, const Result& result, const Judgement& judgement) {
    const Answers& answers = m_situation->answers;
    if (judgement.outcome != nullptr) {
        const std::string found =
            difference(result, *judgement.outcome, judgement.injected.value_or(0));
        if (!found.empty()) {
            fault(what, found);
        }
    }
    if (judgement.any_step && !is_of_a_step(result)) {
        fault(what, "no step comes to the status " + hex(result.status) + " and the log " +
                        testing::PrintToString(result.log));
    }
    if (!is_allowed(result.status, judgement)) {
        fault(what, "the status is " + hex(result.status));
    }
    if (judgement.refused) {
        const auto refusals =
            std::count_if(result.log.begin(), result.log.end(), [](const std::string& line) {
                return line.find(" string of more than ") != std::string::npos;
            });
        if (refusals != 1) {
            fault(what, "is refused in " + std::to_string(refusals) + " lines, not one, of " +
                            testing::PrintToString(result.log));
        }
    }
    const bool failed = has_failed(result.status, judgement);
    const bool writes_freely = judgement.dropped || judgement.lied_to;
    for (std::size_t i = 0; i < result.outputs.size(); ++i) {
        const Argument& argument = m_situation->arguments[i];
        if (failed && result.written[i] && !argument.written_on_failure && !writes_freely) {
            fault(what, "answers " + hex(result.status) + " and has written argument " +
                            std::to_string(i + 1));
        }
        if ((judgement.as_clean || judgement.informational) && !judgement.other_outputs &&
            !failed && result.outputs[i] != m_clean.outputs[i]) {
            fault(what, "writes something else to argument " + std::to_string(i + 1));
        }
    }
    const bool may_be_silent =
        judgement.may_be_silent || result.status == FARLO_BUFFER_TOO_SMALL ||
        among(answers.silent, result.status) ||
        (judgement.other_call && among(answers.silent_refusals, result.status));
    if (failed && result.log.empty() && !may_be_silent) {
        fault(what, "answers " + hex(result.status) + " without a line");
    }
    expect_nothing_left(what, judgement);
}

void SweepTest::expect_nothing_left(const std::string& what, const Judgement& judgement) {
    m_imported->start();
    LabSetFaultPlan(nullptr, nullptr, 0);
    heap().fail_no_more();
    renew_connection(what);
    const Left now = left();
    if (now.bus.property_sets != m_before.bus.property_sets ||
        now.bus.properties != m_before.bus.properties || now.bus.blocks != m_before.bus.blocks) {
        fault(what,
              "left over: " + std::to_string(now.bus.property_sets - m_before.bus.property_sets) +
                  " property sets, " +
                  std::to_string(now.bus.properties - m_before.bus.properties) + " properties, " +
                  std::to_string(now.bus.blocks - m_before.bus.blocks) + " blocks");
        m_before = now;
    }
    if (now.handles != m_before.handles) {
        fault(what, "connections left over: " + std::to_string(now.handles - m_before.handles));
        m_before = now;
    }
    for (const std::string& mutex : m_machine->take_owned_mutexes()) {
        fault(what, mutex + " is still owned");
    }
    if (judgement.as_clean && !full_sweep()) {
        return;
    }
    const Result again = perform();
    if (again.status != m_clean.status || again.outputs != m_clean.outputs) {
        fault(what, "a clean call behind it answers " + hex(again.status));
    }
}

void SweepTest::renew_connection(const std::string& what) {
    if (m_machine->took_back(handle)) {
        fault(what, "the handle was released, which only its slot's holder may do");
        handle = nullptr;
    }
    // What was made for a slot was in it.
    for (const opal_handle made : m_machine->take_connections()) {
        if (made != handle) {
            fault(what, "a connection left over that the slot does not hold");
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
        ADD_FAILURE() << "no connection";
    }
    m_machine->take_connections();
}

void SweepTest::at_every_call(const std::function<void(const Import&, const Call&)>& point) {
    const std::vector<unsigned> counted = counts();
    for (std::size_t import = 0; import < counted.size(); ++import) {
        const unsigned last =
            full_sweep() ? counted[import] : std::min(counted[import], quick_calls);
        for (unsigned number = 1; number <= last; ++number) {
            begin_point();
            point(failing_imports()[import], {import, number});
        }
    }
}

void SweepTest::fault(const std::string& what, const std::string& text) {
    ++row_of(m_situation->export_name).failures;
    if (++m_told <= told_at_most) {
        ADD_FAILURE() << m_situation->export_name << " (" << m_situation->name << "), " << what
                      << ": " << text;
    }
}

void SweepTest::tell(const std::string& what) {
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
