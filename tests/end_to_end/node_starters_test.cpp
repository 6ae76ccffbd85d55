// Agents in processes of their own start the node: all at once, and one after
// another was killed on the road.
#include "../service/service_fixture.h"
#include "farlo_dll.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace support;

// What a starter that does not get through is given before it counts as waiting:
// more than one of its rounds.
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

    // A starter that is connected; its number.
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
    // Every starter that was not killed is there for another round: none failed.
    void expect_running(std::size_t number) {
        EXPECT_TRUE(starter(number).runs()) << starter(number).wait(0).value_or(0);
        EXPECT_EQ(starter(number).errors(), "");
    }

    opal_status node(uint32_t method) { return call_service_method(m_handle, method); }
    // How many starts the service was asked for, the test's own among them.
    std::size_t starts() const {
        std::size_t count = 0;
        const std::string logged = "method " + std::to_string(ZTMETHOD_MISCOP_STARTNODE) + " ";
        std::istringstream log(service->log());
        for (std::string line; std::getline(log, line);) {
            count += line.find(logged) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    // The first starter is killed at that step. The second goes its road behind
    // it or, when it `waits_for_mutex`, is on it already.
    void kill_at(const std::wstring& step, bool waits_for_mutex) {
        start_service(1);
        const std::size_t first = add_starter(step);
        m_second = add_starter(waits_for_mutex ? L"at-mutex" : L"-");
        let_go(first);
        await_reached();
        if (waits_for_mutex) {
            let_go(m_second);
            await_reached();
            Sleep(100);  // from there to the wait itself
        }
        starter(first).kill();
        if (!waits_for_mutex) {
            let_go(m_second);
        }
    }
    // The second starter brings its volume online, and there was one start.
    void expect_through() {
        EXPECT_TRUE(is_done_within(hang_ms));
        expect_running(m_second);
        EXPECT_EQ(starts(), 1u);
    }
    // It starts nothing and waits until somebody else starts the node; the one
    // that comes behind it gets through.
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

TEST_F(NodeStarters, TheServiceSeesOneStartOfTwelve) {
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

TEST_F(NodeStarters, OneKilledBeforeTheMutexLeavesTheRoadFree) {
    kill_at(L"before", false);
    expect_through();
}

TEST_F(NodeStarters, TheMutexOfOneKilledIsGoneWithIt) {
    kill_at(L"holding", false);
    expect_through();
}

// A mutex whose owner died does not count as obtained.
TEST_F(NodeStarters, OneThatInheritsTheMutexOnlyWaits) {
    kill_at(L"holding", true);
    expect_waits();
}

// Of two that wait for the mutex, the one that does not inherit it starts the node.
TEST_F(NodeStarters, TheNextStartsTheNodeWhenTheMutexIsAbandoned) {
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

TEST_F(NodeStarters, OneKilledWithTheTokenLeavesTheNextWaiting) {
    kill_at(L"token", false);
    expect_waits();
}

TEST_F(NodeStarters, OneThatInheritsTheMutexWithoutATokenOnlyWaits) {
    kill_at(L"token", true);
    expect_waits();
}

TEST_F(NodeStarters, OneKilledBehindTheStartHasStartedTheNode) {
    kill_at(L"answered", false);
    expect_through();
}

TEST_F(NodeStarters, OneKilledWhileItWaitsHasStartedTheNode) {
    kill_at(L"waiting", false);
    expect_through();
}

}  // namespace
