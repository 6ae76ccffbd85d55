// Agents in separate processes start the node: all at once, and after one of them was
// killed during the start.
#include "service/service_fixture.h"
#include "support/farlo_dll.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace support;

// A starter that has not finished after this time counts as waiting. Longer than one of
// its poll intervals.
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
    void let_go(std::size_t number) { SetEvent(m_go[number]); }
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

    opal_status node(uint32_t method) { return call_service_method(m_handle, method); }
    // Returns the number of start requests, including the test's own.
    std::size_t starts() const {
        std::size_t count = 0;
        const std::string logged = "method " + std::to_string(ZTMETHOD_MISCOP_STARTNODE) + " ";
        std::istringstream log(service->log());
        for (std::string line; std::getline(log, line);) {
            count += line.find(logged) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    // Kills the first starter at a step. The second starts afterwards or, if
    // `waits_for_mutex`, already waits for the mutex.
    void kill_at(const std::wstring& step, bool waits_for_mutex) {
        start_service(1);
        const std::size_t first = add_starter(step);
        m_second = add_starter(waits_for_mutex ? L"at-mutex" : L"-");
        let_go(first);
        await_reached();
        if (waits_for_mutex) {
            let_go(m_second);
            await_reached();
            Sleep(100);  // until it really waits
        }
        starter(first).kill();
        if (!waits_for_mutex) {
            let_go(m_second);
        }
    }
    // The second starter brings its volume online after one start.
    void expect_success() {
        EXPECT_TRUE(is_done_within(hang_ms));
        expect_running(m_second);
        EXPECT_EQ(starts(), 1u);
    }
    // The second starter waits until the node is started by someone else. A third
    // starter then succeeds.
    void expect_waits() {
        EXPECT_FALSE(is_done_within(patience_ms));
        EXPECT_EQ(starts(), 0u);
        EXPECT_EQ(node(ZTMETHOD_MISCOP_STARTNODE), 0u);
        EXPECT_TRUE(is_done_within(hang_ms));
        expect_running(m_second);
        EXPECT_EQ(starts(), 1u);

        EXPECT_EQ(node(ZTMETHOD_MISCOP_STOPNODE), 0u);
        const std::size_t third = add_starter();
        let_go(third);
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

TEST_F(NodeStarters, SendOneStartOfTwelve) {
    constexpr std::size_t starters = 12;
    constexpr std::size_t rounds = 50;
    start_service(0);
    for (std::size_t number = 0; number < starters; ++number) {
        add_starter();
    }
    for (std::size_t round = 1; round <= rounds; ++round) {
        SCOPED_TRACE(round);
        for (std::size_t number = 0; number < starters; ++number) {
            let_go(number);
        }
        await_done(starters);
        ASSERT_EQ(starts(), round);
        ASSERT_EQ(node(ZTMETHOD_MISCOP_STOPNODE), 0u);
    }
    for (std::size_t number = 0; number < starters; ++number) {
        expect_running(number);
    }
}

TEST_F(NodeStarters, SucceedAfterOneIsKilledBeforeTheMutex) {
    kill_at(L"before", false);
    expect_success();
}

TEST_F(NodeStarters, SucceedAfterOneIsKilledHoldingTheMutex) {
    kill_at(L"holding", false);
    expect_success();
}

// KEPT: a mutex whose owner died does not count as obtained.
TEST_F(NodeStarters, OnlyWaitAfterInheritingTheMutex) {
    kill_at(L"holding", true);
    expect_waits();
}

// Of two that wait for the mutex, the one that does not inherit it starts the node.
TEST_F(NodeStarters, StartTheNodeAfterTheMutexIsAbandoned) {
    start_service(1);
    const std::size_t first = add_starter(L"holding");
    const std::size_t waiting[] = {add_starter(L"at-mutex"), add_starter(L"at-mutex")};
    let_go(first);
    await_reached();
    for (const std::size_t number : waiting) {
        let_go(number);
        await_reached();
    }
    Sleep(100);  // from there to the wait itself
    starter(first).kill();
    await_done(2);
    for (const std::size_t number : waiting) {
        expect_running(number);
    }
    EXPECT_EQ(starts(), 1u);
}

TEST_F(NodeStarters, OnlyWaitAfterOneIsKilledWithTheToken) {
    kill_at(L"token", false);
    expect_waits();
}

TEST_F(NodeStarters, OnlyWaitAfterInheritingTheMutexWithoutToken) {
    kill_at(L"token", true);
    expect_waits();
}

TEST_F(NodeStarters, SucceedAfterOneIsKilledAfterTheStart) {
    kill_at(L"answered", false);
    expect_success();
}

TEST_F(NodeStarters, SucceedAfterOneIsKilledWhileItWaits) {
    kill_at(L"waiting", false);
    expect_success();
}

}  // namespace
