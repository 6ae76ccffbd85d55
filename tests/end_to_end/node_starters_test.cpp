// Agents in separate processes start the node: all at once, and after one of them was
// killed during the start.
#include "service/service_fixture.h"
#include "support/farlo_dll.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace support;

// A starter that is not done after this time counts as waiting. Longer than one interval at which
// it polls the node.
constexpr DWORD patience_ms = 1500;

class NodeStarters : public ServiceTest {
  protected:
    void SetUp() override {
        environment().remove_logs();
        m_done = CreateSemaphoreW(nullptr, 0, 1000, (m_name + L".done").c_str());
        m_reached = CreateSemaphoreW(nullptr, 0, 1000, (m_name + L".reached").c_str());
    }
    void TearDown() override {
        m_starters.clear();
        for (const HANDLE go : m_go) {
            CloseHandle(go);
        }
        CloseHandle(m_done);
        CloseHandle(m_reached);
        if (m_handle != nullptr) {
            release(m_handle);
        }
        ServiceTest::TearDown();
    }

    void start_service(int start_seconds) {
        start(R"({"node": {"start_seconds": )" + std::to_string(start_seconds) + R"(},
            "disk_groups": [{"name": "dg", "type": 8, "imported": true, "dgid": "dg-guid",
                             "volumes": [{"name": "v", "device": "\\Device\\V"}]}]})");
        m_handle = connect();
        ASSERT_NE(m_handle, nullptr);
    }

    // Starts a starter, waits until it is connected and returns its number.
    std::size_t add_starter(const std::wstring& step = L"-") {
        const std::size_t number = m_starters.size();
        m_go.push_back(CreateEventW(nullptr, FALSE, FALSE,
                                    (m_name + L".go." + std::to_wstring(number)).c_str()));
        m_starters.push_back(std::make_unique<Process>(
            beside_this_program(L"node_starter.exe") + L" " + m_name + L" " +
            std::to_wstring(number) + L" dg-guid \\Device\\V " + step));
        await_done(1);
        return number;
    }
    Process& starter(std::size_t number) { return *m_starters[number]; }
    void signal_go(std::size_t number) { SetEvent(m_go[number]); }
    void await_done(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            ASSERT_EQ(WaitForSingleObject(m_done, hang_ms), WAIT_OBJECT_0);
        }
    }
    bool is_done_within(DWORD limit_ms) {
        return WaitForSingleObject(m_done, limit_ms) == WAIT_OBJECT_0;
    }
    void await_reached() { ASSERT_EQ(WaitForSingleObject(m_reached, hang_ms), WAIT_OBJECT_0); }
    // Checks that the starter has not failed and waits for another round.
    void expect_running(std::size_t number) {
        EXPECT_TRUE(starter(number).runs()) << starter(number).wait(0).value_or(0);
        EXPECT_EQ(starter(number).errors(), "");
    }

    opal_status call_node(uint32_t method) { return call_service_method(m_handle, method); }
    // Returns the number of start requests, including the test's own.
    std::size_t starts() const {
        std::size_t count = 0;
        const std::string logged = ": MISCOP_STARTNODE -> ";
        std::istringstream log(service->log());
        for (std::string line; std::getline(log, line);) {
            count += line.find(logged) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    // Kills the first starter at a step. The second one begins after that, or already waits for
    // the mutex.
    enum SecondStarter { begins_after_kill, waits_for_mutex };
    void kill_first_at(const std::wstring& step, SecondStarter second) {
        start_service(1);
        const std::size_t first = add_starter(step);
        m_second = add_starter(second == waits_for_mutex ? L"at-mutex" : L"-");
        signal_go(first);
        await_reached();
        if (second == waits_for_mutex) {
            signal_go(m_second);
            await_reached();
            Sleep(100);  // it signals before it waits
        }
        starter(first).kill();
        if (second == begins_after_kill) {
            signal_go(m_second);
        }
    }
    // The second starter brings its volume online after one start.
    void expect_second_succeeds_after_one_start() {
        EXPECT_TRUE(is_done_within(hang_ms));
        expect_running(m_second);
        EXPECT_EQ(starts(), 1u);
    }
    // The second starter waits until the test starts the node. A third one then starts it again.
    void expect_second_only_waits() {
        EXPECT_FALSE(is_done_within(patience_ms));
        EXPECT_EQ(starts(), 0u);
        EXPECT_EQ(call_node(ZTMETHOD_MISCOP_STARTNODE), bus_success);
        EXPECT_TRUE(is_done_within(hang_ms));
        expect_running(m_second);
        EXPECT_EQ(starts(), 1u);

        EXPECT_EQ(call_node(ZTMETHOD_MISCOP_STOPNODE), bus_success);
        const std::size_t third = add_starter();
        signal_go(third);
        EXPECT_TRUE(is_done_within(hang_ms));
        expect_running(third);
        EXPECT_EQ(starts(), 2u);
    }

  private:
    const std::wstring m_name = L"node-starter-" + std::to_wstring(GetCurrentProcessId());
    HANDLE m_done = nullptr;
    HANDLE m_reached = nullptr;
    std::vector<HANDLE> m_go;
    std::vector<std::unique_ptr<Process>> m_starters;
    std::size_t m_second = 0;
    opal_handle m_handle = nullptr;
};

TEST_F(NodeStarters, SendOneStartWhenTwelveBeginAtOnce) {
    constexpr std::size_t starters = 12;
    constexpr std::size_t rounds = 50;
    start_service(0);
    for (std::size_t number = 0; number < starters; ++number) {
        add_starter();
    }
    for (std::size_t round = 1; round <= rounds; ++round) {
        SCOPED_TRACE(round);
        for (std::size_t number = 0; number < starters; ++number) {
            signal_go(number);
        }
        await_done(starters);
        ASSERT_EQ(starts(), round);
        ASSERT_EQ(call_node(ZTMETHOD_MISCOP_STOPNODE), bus_success);
    }
    for (std::size_t number = 0; number < starters; ++number) {
        expect_running(number);
    }
}

TEST_F(NodeStarters, StartNodeAfterOneIsKilledBeforeMutex) {
    kill_first_at(L"before", begins_after_kill);
    expect_second_succeeds_after_one_start();
}

TEST_F(NodeStarters, StartNodeAfterOneIsKilledWithMutex) {
    kill_first_at(L"holding", begins_after_kill);
    expect_second_succeeds_after_one_start();
}

// KEPT: a mutex whose owner died does not count as obtained.
TEST_F(NodeStarters, WaitWithoutStartAfterInheritingMutex) {
    kill_first_at(L"holding", waits_for_mutex);
    expect_second_only_waits();
}

// Of two that wait for the mutex, the one that does not inherit it starts the node.
TEST_F(NodeStarters, StartNodeOnceWhenTwoWaitForAbandonedMutex) {
    start_service(1);
    const std::size_t first = add_starter(L"holding");
    const std::size_t waiting[] = {add_starter(L"at-mutex"), add_starter(L"at-mutex")};
    signal_go(first);
    await_reached();
    for (const std::size_t number : waiting) {
        signal_go(number);
        await_reached();
    }
    Sleep(100);  // they signal before they wait
    starter(first).kill();
    await_done(2);
    for (const std::size_t number : waiting) {
        expect_running(number);
    }
    EXPECT_EQ(starts(), 1u);
}

TEST_F(NodeStarters, WaitWithoutStartAfterOneIsKilledWithToken) {
    kill_first_at(L"token", begins_after_kill);
    expect_second_only_waits();
}

TEST_F(NodeStarters, WaitWithoutStartAfterInheritingMutexWithoutToken) {
    kill_first_at(L"token", waits_for_mutex);
    expect_second_only_waits();
}

TEST_F(NodeStarters, SucceedWithoutStartAfterOneIsKilledAfterStart) {
    kill_first_at(L"started", begins_after_kill);
    expect_second_succeeds_after_one_start();
}

TEST_F(NodeStarters, SucceedWithoutStartAfterOneIsKilledWhileItWaits) {
    kill_first_at(L"waiting", begins_after_kill);
    expect_second_succeeds_after_one_start();
}

}  // namespace
