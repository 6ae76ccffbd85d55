// Several agents work while their service is killed and restarted.
#include "end_to_end/service_objects.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"
#include "support/trace_lines.h"

#include <cstdio>

namespace {

using namespace support;

constexpr int agents = 6;
constexpr int kills = 3;

std::string guid(int number) {
    return "a0000000-0000-0000-0000-00000000000" + std::to_string(number);
}

std::string scenario() {
    std::string groups;
    for (int number = 1; number <= agents; ++number) {
        groups += (number > 1 ? "," : "") + std::string(R"({"name": "dg)") +
                  std::to_string(number) + R"(", "type": 2, "dgid": ")" + guid(number) + R"("})";
    }
    return R"({"disk_groups": [)" + groups + "]}";
}

class Agents : public ServiceTest {
  protected:
    void SetUp() override {
        environment().remove_logs();
        m_moved = CreateSemaphoreW(nullptr, 0, agents, (m_name + L".moved").c_str());
        m_stop = CreateEventW(nullptr, TRUE, FALSE, (m_name + L".stop").c_str());
    }
    void TearDown() override {
        CloseHandle(m_moved);
        CloseHandle(m_stop);
        ServiceTest::TearDown();
    }

    void start_agents() {
        for (int number = 1; number <= agents; ++number) {
            const std::string group_guid = guid(number);
            m_processes.push_back(
                std::make_unique<Process>(beside_this_program(L"group_agent.exe") + L" " + m_name +
                                          L" dg" + std::to_wstring(number) + L" " +
                                          std::wstring(group_guid.begin(), group_guid.end())));
        }
    }
    // Waits until each agent has moved its group over its current connection.
    void await_moves() {
        for (int number = 1; number <= agents; ++number) {
            ASSERT_EQ(WaitForSingleObject(m_moved, hang_ms), WAIT_OBJECT_0);
        }
    }
    // Stops the agents and returns their outputs.
    std::vector<std::string> stop_agents() {
        SetEvent(m_stop);
        std::vector<std::string> outputs;
        for (const auto& process : m_processes) {
            EXPECT_EQ(process->wait(hang_ms), std::optional<DWORD>(0));
            EXPECT_EQ(process->errors(), "");
            outputs.push_back(process->output());
        }
        return outputs;
    }
    // Returns "imported" of each group.
    std::vector<std::uint8_t> imported() {
        const opal_handle handle = connect();
        const std::vector<std::uint8_t> values =
            read_all<std::uint8_t>(handle, ZTTYPE_DISK_GROUP, "imported");
        release(handle);
        return values;
    }

  private:
    const std::wstring m_name = L"group-agent-" + std::to_wstring(GetCurrentProcessId());
    HANDLE m_moved = nullptr;
    HANDLE m_stop = nullptr;
    std::vector<std::unique_ptr<Process>> m_processes;
};

TEST_F(Agents, ReconnectWhenServiceIsKilled) {
    start(scenario());
    start_agents();
    await_moves();
    for (int kill = 0; kill < kills; ++kill) {
        const std::uint16_t port = service->port();
        service->kill();
        start(scenario(), "[]", port);
        await_moves();
    }
    for (const std::string& output : stop_agents()) {
        unsigned rounds = 0;
        unsigned reconnections = 0;
        unsigned alerts = 0;
        ASSERT_EQ(std::sscanf(output.c_str(), "rounds %u, reconnections %u, alerts %u", &rounds,
                              &reconnections, &alerts),
                  3)
            << output;
        EXPECT_GE(rounds, unsigned{kills + 1});
        EXPECT_EQ(reconnections, unsigned{kills});
        EXPECT_GE(alerts, unsigned{kills + 1});
    }
    EXPECT_EQ(imported(), std::vector<std::uint8_t>(agents, 0));

    std::string error;
    EXPECT_FALSE(read_log(environment().log_file(), error).empty());
    EXPECT_EQ(error, "");
}

}  // namespace
