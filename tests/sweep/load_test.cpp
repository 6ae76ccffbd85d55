// Processes of agents call every export while the service is killed and restarted, the driver is
// stopped and started, and the log rolls over.
#include "dmcontrol/lab_dmcontrol.h"
#include "drivers/driver_service.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"
#include "support/trace_lines.h"
#include "sweep/situations.h"

#include <cstdio>
#include <fstream>

namespace {

using namespace support;

constexpr int processes = 4;
constexpr int threads = 16;
constexpr DWORD whole_run_ms = 1'200'000;
// The log's size at the start: it rolls over early in the run.
constexpr std::uintmax_t log_size_before = 10'000'000;
const std::string old_line = "01/02/26 03:04:05 [PID:42,TID:43] Entering OnlineDgW\r\n";

// With this number the threads of one process together make every call.
unsigned calls_of_a_thread() {
    const auto all = static_cast<unsigned>(sweep::situations().size());
    return sweep::full_sweep() ? 10 * all : all / 4;
}

class Load : public ServiceTest {
  protected:
    void SetUp() override {
        environment().remove_logs();
        const auto name = [this](const char* which) { return m_name + which; };
        m_ready = CreateSemaphoreA(nullptr, 0, processes, name(".ready").c_str());
        m_go = CreateEventA(nullptr, TRUE, FALSE, name(".go").c_str());
        m_done = CreateSemaphoreA(nullptr, 0, processes, name(".done").c_str());
        m_calm = CreateEventA(nullptr, TRUE, FALSE, name(".calm").c_str());
        lab::stop_driver(LAB_DM_DRIVER);
        start(m_scenario, "[]", 0, L" --driver");
    }
    void TearDown() override {
        m_processes.clear();
        ServiceTest::TearDown();
        service.reset();
        lab::stop_driver(LAB_DM_DRIVER);
        for (const HANDLE object : {m_ready, m_go, m_done, m_calm}) {
            CloseHandle(object);
        }
    }

    void start_processes(unsigned seed) {
        for (int number = 0; number < processes; ++number) {
            std::wstring command = beside_this_program(L"load_client.exe") + L" ";
            command += std::wstring(m_name.begin(), m_name.end());
            for (const unsigned word : {unsigned(number), unsigned{threads}, calls_of_a_thread(),
                                        seed + 1000 * unsigned(number)}) {
                command += L" " + std::to_wstring(word);
            }
            m_processes.push_back(std::make_unique<Process>(command));
        }
        for (int number = 0; number < processes; ++number) {
            ASSERT_EQ(WaitForSingleObject(m_ready, whole_run_ms), WAIT_OBJECT_0) << errors();
        }
        SetEvent(m_go);
    }

    // Fills the log with whole lines up to that size.
    static void fill_log() {
        std::ofstream out(environment().log_file(), std::ios::binary);
        for (std::uintmax_t size = 0; size < log_size_before; size += old_line.size()) {
            out << old_line;
        }
    }

    // Whether all processes have made their calls; waits up to time_ms for one more.
    bool all_done(DWORD time_ms) {
        if (WaitForSingleObject(m_done, time_ms) == WAIT_OBJECT_0) {
            ++m_done_count;
        }
        return m_done_count == processes;
    }

    // Until all processes have made their calls. An agent that waits for a node that another one
    // stopped goes on when the service is lost, at the latest.
    void interrupt_until_done() {
        const ULONGLONG begin = GetTickCount64();
        while (!all_done(500)) {
            const std::uint16_t port = service->port();
            lab::stop_driver(LAB_DM_DRIVER);
            Sleep(50);
            service->kill();
            Sleep(50);
            // It starts the driver, too.
            start(m_scenario, "[]", port, L" --driver");
            ++kills;
            ASSERT_TRUE(service->runs());
            ASSERT_LT(GetTickCount64() - begin, whole_run_ms) << errors();
        }
        SetEvent(m_calm);
    }

    struct Sums {
        unsigned calls = 0;
        unsigned failed = 0;
        unsigned reconnections = 0;
    };
    Sums await_ends() {
        Sums sums;
        for (const auto& process : m_processes) {
            EXPECT_EQ(process->wait(whole_run_ms), std::optional<DWORD>(0));
            EXPECT_EQ(process->errors(), "");
            unsigned calls = 0;
            unsigned failed = 0;
            unsigned reconnections = 0;
            unsigned handles = 1;
            long blocks = 1;
            long of_bus = 1;
            EXPECT_EQ(std::sscanf(process->output().c_str(),
                                  "calls %u, failed %u, reconnections %u, left handles %u, "
                                  "blocks %ld, of the bus %ld",
                                  &calls, &failed, &reconnections, &handles, &blocks, &of_bus),
                      6)
                << process->output();
            EXPECT_EQ(handles, 0u);
            EXPECT_EQ(blocks, 0);
            EXPECT_EQ(of_bus, 0);
            EXPECT_GE(reconnections, unsigned{threads});
            sums.calls += calls;
            sums.failed += failed;
            sums.reconnections += reconnections;
        }
        return sums;
    }

    std::string errors() const {
        std::string text;
        for (const auto& process : m_processes) {
            text += process->errors();
        }
        return text;
    }

    unsigned kills = 0;

  private:
    const std::string m_name = "load-" + std::to_string(GetCurrentProcessId());
    const std::string m_scenario = sweep::scenario_json(R"("role": 2)");
    HANDLE m_ready = nullptr;
    HANDLE m_go = nullptr;
    HANDLE m_done = nullptr;
    HANDLE m_calm = nullptr;
    int m_done_count = 0;
    std::vector<std::unique_ptr<Process>> m_processes;
};

TEST_F(Load, LosesNothingWhileServiceAndDriverRestart) {
    fill_log();
    start_processes(1);
    interrupt_until_done();
    if (HasFatalFailure()) {
        return;
    }
    const Sums sums = await_ends();
    std::printf("load: %u calls by %d processes of %d threads, %u of them failed; service "
                "killed and driver stopped %u times, %u reconnections\n",
                sums.calls, processes, threads, sums.failed, kills, sums.reconnections);
    EXPECT_GE(sums.calls, processes * threads * calls_of_a_thread());
    EXPECT_GE(kills, 3u);

    const std::filesystem::path older = environment().log_file().wstring() + L".0";
    ASSERT_TRUE(std::filesystem::exists(older)) << "it was to roll over";
    for (const std::filesystem::path& log : {older, environment().log_file()}) {
        std::string error;
        EXPECT_FALSE(read_log(log, error).empty());
        EXPECT_EQ(error, "");
    }
}

}  // namespace
