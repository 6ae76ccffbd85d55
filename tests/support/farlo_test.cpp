#include "support/farlo_test.h"

#include "support/line_difference.h"
#include "support/recorded_calls.h"

#include <algorithm>

namespace support {
namespace {

// Loads a scenario. Returns the error, or "" on success.
std::string load(const std::string& json) {
    char error[512];
    LabLoadScenarioText(json.c_str(), error, sizeof error);
    return error;
}

// Loads and connects once before the first test: the system and the lab allocate some memory and
// handles at their first use and keep them, which must not look like a leak.
void warm_up() {
    load("{}");
    const FarloDll dll;
    opal_handle handle = nullptr;
    if (CALL(dll, InitializeClusterW)(&handle) == FARLO_SUCCESS) {
        CALL(dll, UnInitializeClusterW)(handle);
    }
}

void reset_lab() {
    LabSetFaultPlan(nullptr, nullptr, 0);
    LabRecorderStop();
    LabRefuseConnections(ZTSTATUS_OK);
    LabCmdFailInitialize(0, 0);
    LabCmdFailUnInitialize(0);
    LabCmdFailRegister(0);
}

}  // namespace

void FarloTest::SetUp() {
    environment().set_trace_level(6);
    [[maybe_unused]] static const bool warm = [] {
        warm_up();
        return true;
    }();
}

void FarloTest::TearDown() {
    // There is something to do only after an exception has ended a run.
    m_interposed.clear();
    m_clock.reset();
    m_dll.reset();
    m_heap.reset();
    m_locks.reset();
    reset_lab();
}

void FarloTest::at_every_threshold(const std::function<void()>& body) {
    // First the threshold with the whole log: its failures are the most useful ones.
    for (const DWORD threshold : {6u, 0u, 1u, 2u, 3u, 4u, 5u}) {
        SCOPED_TRACE("at threshold " + std::to_string(threshold));
        m_threshold = threshold;
        run(body);
        if (HasFailure()) {
            return;
        }
    }
}

void FarloTest::once(const std::function<void()>& body) {
    at_threshold(6, body);
}

void FarloTest::at_threshold(DWORD threshold, const std::function<void()>& body) {
    m_threshold = threshold;
    run(body);
}

void FarloTest::at_every_allocation(const std::function<void()>& body) {
    constexpr long limit = 10'000;
    once([&] {
        body();
        bool failed = true;
        for (long n = 1; failed && !HasFailure(); ++n) {
            SCOPED_TRACE("allocation " + std::to_string(n) + " fails");
            ASSERT_LT(n, limit) << "too many allocations";
            load_scenario(scenario);
            start_watching();
            heap().fail(n);
            body();
            failed = heap().has_failed();
            heap().fail_no_more();
            expect_no_leak_of_the_bus();
        }
    });
}

std::vector<std::uint32_t>
FarloTest::statuses_at_every_allocation(const std::function<std::uint32_t()>& call) {
    std::vector<std::uint32_t> statuses;
    at_every_allocation([&] { statuses.push_back(call()); });
    if (statuses.size() < 2) {
        ADD_FAILURE() << "no run with a failing allocation";
        return {};
    }
    EXPECT_EQ(statuses.front(), 0u);
    EXPECT_EQ(statuses.back(), 0u);
    return {statuses.begin() + 1, statuses.end() - 1};
}

void FarloTest::run(const std::function<void()>& body) {
    if (const std::string error = load(scenario); !error.empty()) {
        ADD_FAILURE() << "the scenario: " << error;
        return;
    }
    if (begin_run()) {
        body();
    }
    end_run();
}

bool FarloTest::begin_run() {
    environment().set_trace_level(m_threshold);
    environment().clear_registry(volume_manager_key);
    if (support_scsi3) {
        environment().set_registry(volume_manager_key, L"SupportSCSI3", *support_scsi3);
    }

    LabGetLive(&m_live_before);
    LabCmdGetCalls(&m_commands_before);
    m_handles_before = kernel_handles();

    m_locks = std::make_unique<RuntimeLocks>();
    m_dll = std::make_unique<FarloDll>([this](HMODULE module) {
        m_locks->watch(module);
        if (before_attach) {
            before_attach(module);
        }
    });
    m_heap = std::make_unique<HeapWatch>(m_dll->module());
    if (virtual_time) {
        m_clock = std::make_unique<VirtualClock>(m_dll->module());
    }
    handle = nullptr;
    const std::uint32_t status = connects ? FARLO(InitializeClusterW)(&handle) : FARLO_SUCCESS;
    EXPECT_EQ(status, FARLO_SUCCESS) << "no connection";
    LabGetLive(&m_live_connected);
    start_watching();
    return status == FARLO_SUCCESS;
}

void FarloTest::end_run() {
    // Replacements and callbacks may refer to variables of the body.
    while (!m_interposed.empty()) {
        m_interposed.pop_back();
    }
    heap().fail_no_more();
    if (m_clock != nullptr) {
        clock().on_pause = nullptr;
    }
    reset_lab();
    LabCmdFlushAlerts();

    expect_no_leak_of_the_bus();
    if (handle != nullptr) {
        FARLO(UnInitializeClusterW)(handle);
        handle = nullptr;
    }
    m_clock.reset();
    m_dll.reset();

    EXPECT_EQ(heap().live_blocks(), 0)
        << "heap blocks were left over: " << heap().describe_live_blocks();
    EXPECT_EQ(heap().double_frees(), 0) << "blocks were freed twice";
    m_heap.reset();
    m_locks.reset();

    lab_live live;
    LabGetLive(&live);
    EXPECT_EQ(live.connections, m_live_before.connections) << "connections were left over";
    lab_cmd_calls commands;
    LabCmdGetCalls(&commands);
    EXPECT_EQ(commands.live_handles, m_commands_before.live_handles)
        << "connection handles were left over";

    const auto handles = new_kernel_handles(m_handles_before);
    if (handles.size() != kept_handles) {
        for (const unsigned long long added : handles) {
            ADD_FAILURE() << "a kernel handle was left over: " << describe_handle(added);
        }
        EXPECT_EQ(handles.size(), kept_handles) << "kernel handles left over";
    }
}

void FarloTest::expect_no_leak_of_the_bus() const {
    lab_live live;
    LabGetLive(&live);
    EXPECT_EQ(live.property_sets, m_live_connected.property_sets) << "property sets were left over";
    EXPECT_EQ(live.properties, m_live_connected.properties) << "properties were left over";
    EXPECT_EQ(live.blocks, m_live_connected.blocks) << "blocks of the bus were left over";
}

void FarloTest::load_scenario(const std::string& json) {
    ASSERT_EQ(load(json), "") << "the scenario";
}

void FarloTest::load_scenario_file(const std::filesystem::path& path) {
    char error[512];
    ASSERT_EQ(LabLoadScenarioFile(path.c_str(), error, sizeof error), 0) << error;
}

void FarloTest::set_faults(const std::string& json) {
    char error[512];
    ASSERT_EQ(LabSetFaultPlan(json.c_str(), error, sizeof error), 0) << error;
}

void FarloTest::start_watching() {
    environment().remove_logs();
    LabRecorderStart(recorded);
    if (m_clock != nullptr) {
        m_clock->forget();
    }
}

void FarloTest::expect_log(const std::vector<Expected>& lines) {
    std::string error;
    std::vector<std::string> found;
    for (const LogLine& line : read_log(environment().log_file(), error)) {
        EXPECT_EQ(line.process, GetCurrentProcessId()) << line.text;
        found.push_back(line.text);
    }
    EXPECT_EQ(error, "") << "in the log";
    std::vector<std::string> wanted;
    for (const Expected& line : lines) {
        if (line.level <= m_threshold) {
            wanted.push_back(line.text);
        }
    }
    EXPECT_TRUE(same_lines("log lines", found, wanted));
}

std::vector<std::string> FarloTest::calls() const {
    return recorded_calls();
}

void FarloTest::expect_calls(const std::vector<std::string>& wanted) {
    EXPECT_TRUE(same_lines("bus calls", calls(), wanted));
}

std::vector<std::string> FarloTest::calls_of(const std::string& function) const {
    return calls_of(std::vector{function});
}

std::vector<std::string> FarloTest::calls_of(const std::vector<std::string>& functions) const {
    std::vector<std::string> lines = calls();
    std::erase_if(lines, [&functions](const std::string& line) {
        const std::string function = line.substr(0, line.find(' '));
        return std::find(functions.begin(), functions.end(), function) == functions.end();
    });
    return lines;
}

void FarloTest::expect_calls_of(const std::vector<std::string>& functions,
                                const std::vector<std::string>& wanted) {
    EXPECT_TRUE(same_lines("bus calls", calls_of(functions), wanted));
}

void FarloTest::expect_pauses(const std::vector<Pause>& wanted) {
    const auto as_lines = [](const std::vector<Pause>& pauses) {
        std::vector<std::string> lines;
        for (const Pause& pause : pauses) {
            lines.push_back(pause.function + " " + std::to_string(pause.milliseconds) + " ms");
        }
        return lines;
    };
    EXPECT_TRUE(same_lines("pauses", as_lines(m_clock->pauses()), as_lines(wanted)));
}

}  // namespace support
