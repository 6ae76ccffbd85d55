// Agents in separate processes bring volumes online at the same time. If the node does
// not run, one of them starts it.
#include "end_to_end/service_objects.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"

#include <gmock/gmock.h>

#include <sstream>

namespace {

using namespace support;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;

constexpr int agents = 8;
constexpr char group[] = "d0000000-0000-0000-0000-000000000001";

std::string volume_device(int number) {
    return "\\\\Device\\\\V" + std::to_string(number);
}

// A group that is not imported, with volumes that are offline.
std::string scenario(const std::string& node) {
    std::string volumes;
    for (int number = 1; number <= agents; ++number) {
        volumes += (number > 1 ? "," : "") + std::string(R"({"name": "v)") +
                   std::to_string(number) + R"(", "device": ")" + volume_device(number) +
                   R"(", "state": 32})";
    }
    return R"({"node": {)" + node + R"(}, "disk_groups": [{"name": "dg", "type": 8, "dgid": ")" +
           group + R"(", "volumes": [)" + volumes + "]}]}";
}

class OnlineTogether : public ServiceTest {
  protected:
    void SetUp() override {
        environment().remove_logs();
        m_ready = CreateSemaphoreW(nullptr, 0, agents, (m_name + L".ready").c_str());
        m_go = CreateEventW(nullptr, TRUE, FALSE, (m_name + L".go").c_str());
    }
    void TearDown() override {
        CloseHandle(m_ready);
        CloseHandle(m_go);
        ServiceTest::TearDown();
    }

    // Connects the agents, lets them continue at once and returns their exit codes.
    std::vector<std::optional<DWORD>> online_all() {
        std::vector<std::unique_ptr<Process>> processes;
        for (int number = 1; number <= agents; ++number) {
            processes.push_back(std::make_unique<Process>(
                beside_this_program(L"online_client.exe") + L" " + m_name + L" " +
                std::wstring(group, group + sizeof group - 1) + L" \\Device\\V" +
                std::to_wstring(number)));
        }
        for (int number = 1; number <= agents; ++number) {
            EXPECT_EQ(WaitForSingleObject(m_ready, hang_ms), WAIT_OBJECT_0);
        }
        SetEvent(m_go);
        std::vector<std::optional<DWORD>> codes;
        for (const auto& process : processes) {
            codes.push_back(process->wait(hang_ms));
            EXPECT_EQ(process->errors(), "");
        }
        return codes;
    }
    // The service's results of a method, in order.
    std::vector<std::string> results_of(const std::string& method) const {
        std::vector<std::string> found;
        std::istringstream log(service->log());
        for (std::string line; std::getline(log, line);) {
            const std::string start = ": " + method + " -> ";
            const std::size_t at = line.find(start);
            if (at != std::string::npos) {
                line.erase(line.find_last_not_of('\r') + 1);
                found.push_back(line.substr(at + start.size()));
            }
        }
        return found;
    }
    std::vector<std::uint32_t> volume_states() {
        const opal_handle handle = connect();
        const std::vector<std::uint32_t> states =
            read_all<std::uint32_t>(handle, ZTTYPE_VOLUME, "ztvmstate");
        release(handle);
        return states;
    }

  private:
    const std::wstring m_name = L"online-client-" + std::to_wstring(GetCurrentProcessId());
    HANDLE m_ready = nullptr;
    HANDLE m_go = nullptr;
};

TEST_F(OnlineTogether, StartNodeOnce) {
    start(scenario(R"("start_seconds": 2)"));
    EXPECT_THAT(online_all(), Each(Optional(FARLO_SUCCESS)));
    EXPECT_THAT(results_of("MISCOP_STARTNODE"), ElementsAre("0x0"));
    EXPECT_EQ(results_of("MISCOP_VOLUMEONLINE"), std::vector<std::string>(agents, "0x0"));
    EXPECT_EQ(volume_states(), std::vector<std::uint32_t>(agents, volume_state::online));
}

TEST_F(OnlineTogether, FailWhenNodeDoesNotStart) {
    start(scenario(R"("start_seconds": 1, "start_fails": true)"));
    EXPECT_THAT(online_all(), Each(Optional(FARLO_PROVIDER_FAILED)));
    EXPECT_THAT(results_of("MISCOP_STARTNODE"), Not(IsEmpty()));
    EXPECT_THAT(results_of("DGOP_IMPORT"), IsEmpty());
    EXPECT_THAT(results_of("MISCOP_VOLUMEONLINE"), IsEmpty());
    EXPECT_EQ(volume_states(), std::vector<std::uint32_t>(agents, volume_state::offline));
}

TEST_F(OnlineTogether, DoNotStartRunningNode) {
    start(scenario(R"("role": 1)"));
    EXPECT_THAT(online_all(), Each(Optional(FARLO_SUCCESS)));
    EXPECT_THAT(results_of("MISCOP_STARTNODE"), IsEmpty());
    EXPECT_EQ(results_of("MISCOP_VOLUMEONLINE"), std::vector<std::string>(agents, "0x0"));
    EXPECT_EQ(volume_states(), std::vector<std::uint32_t>(agents, volume_state::online));
    // One agent imports the group; the others accept that it is already online.
    std::vector<std::string> imports = results_of("DGOP_IMPORT");
    EXPECT_EQ(std::erase(imports, "0x0"), 1u);
    EXPECT_THAT(imports, Each(hex(service_already_online)));
}

}  // namespace
