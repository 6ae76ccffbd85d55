// The examples do what they say, with the real service and its driver, also when the service is
// lost.
#include "api/project_file.h"
#include "dmcontrol/control_device.h"
#include "drivers/driver_service.h"
#include "farlo.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"
#include "support/service_names.h"

#include <cstdio>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace support;

constexpr char guid[] = "e0000000-0000-0000-0000-000000000001";

// What the service and the driver know of the examples' group and its volumes.
struct State {
    bool imported;
    std::uint32_t reservation;
    std::uint32_t data_volume;
    std::uint32_t log_volume;
    bool operator==(const State& other) const {
        return imported == other.imported && reservation == other.reservation &&
               data_volume == other.data_volume && log_volume == other.log_volume;
    }
};
void PrintTo(const State& state, std::ostream* stream) {
    *stream << (state.imported ? "imported" : "not imported") << ", reservation "
            << state.reservation << ", volumes " << std::hex << state.data_volume << " and "
            << state.log_volume << std::dec;
}
constexpr State is_online = {true, FARLO_RESERVATION_HELD, 0, 0};
constexpr State is_offline = {false, FARLO_RESERVATION_NOT_HELD, FARLO_VOLUME_STATE_OFFLINE,
                              FARLO_VOLUME_STATE_OFFLINE};

class Examples : public ServiceTest {
  protected:
    void SetUp() override {
        environment().remove_logs();
        lab::stop_driver(LAB_DM_DRIVER);
        start_service(m_scenario);
    }
    void TearDown() override {
        m_agent.reset();
        ServiceTest::TearDown();
        service.reset();
        lab::stop_driver(LAB_DM_DRIVER);
    }

    // Replaces a service that was killed, at the same port.
    void start_service(const std::string& scenario, const std::string& faults = "[]") {
        const std::uint16_t port = service != nullptr ? service->port() : std::uint16_t{0};
        if (service != nullptr) {
            service->kill();
        }
        start(scenario, faults, port, L" --driver");
    }

    void run_minimal(const std::wstring& group) {
        m_agent = std::make_unique<Process>(beside_this_program(L"example_minimal.exe") + group);
    }
    void start_monitor() {
        m_agent =
            std::make_unique<Process>(beside_this_program(L"example_monitor.exe") + L" dg_app");
    }
    std::optional<DWORD> stop_monitor() {
        Process stopper(beside_this_program(L"example_monitor.exe") + L" --stop dg_app");
        EXPECT_EQ(stopper.wait(hang_ms), DWORD{0});
        return m_agent->wait(hang_ms);
    }

    // How often the agent has printed a line.
    std::ptrdiff_t count(const std::string& wanted) {
        std::istringstream output(m_agent->output());
        std::ptrdiff_t found = 0;
        for (std::string line; std::getline(output, line);) {
            found += line == wanted + '\r' ? 1 : 0;
        }
        return found;
    }
    void await(const std::string& line, std::ptrdiff_t times = 1) {
        ASSERT_TRUE(eventually([&] { return count(line) >= times || !m_agent->runs(); }, hang_ms));
        ASSERT_GE(count(line), times) << m_agent->output() << m_agent->errors();
    }

    // The changes that the running service has made, in order. Its log has no line for a call
    // whose connection it dropped.
    std::vector<std::string> changes() {
        std::vector<std::string> found;
        std::istringstream log(service->log());
        for (std::string line; std::getline(log, line);) {
            std::smatch call;
            if (std::regex_search(line, call, std::regex("\\): ([A-Z_]+) ->")) &&
                call.str(1).rfind("MNTOP_", 0) != 0) {
                found.push_back(call.str(1));
            }
        }
        return found;
    }

    // Asks for the group's state over a connection of the test's own.
    State state() {
        const FarloDll farlo;
        opal_handle handle = nullptr;
        EXPECT_EQ(CALL(farlo, InitializeClusterW)(&handle), FARLO_SUCCESS);
        State result{};
        std::uint8_t imported = 0;
        EXPECT_EQ(CALL(farlo, GetDgStateExW)(handle, nullptr, guid, &imported), FARLO_SUCCESS);
        result.imported = imported != 0;
        EXPECT_EQ(CALL(farlo, GetDgReservationStatusW)(handle, nullptr, guid, &result.reservation),
                  FARLO_SUCCESS);
        const std::wstring folder = L"\\Device\\HarddiskDmVolumes\\dg_app\\";
        EXPECT_EQ(CALL(farlo, GetDgVolumeStateW)(
                      handle, nullptr, guid, (folder + L"vol_data").c_str(), &result.data_volume),
                  FARLO_SUCCESS);
        EXPECT_EQ(CALL(farlo, GetDgVolumeStateW)(
                      handle, nullptr, guid, (folder + L"vol_logs").c_str(), &result.log_volume),
                  FARLO_SUCCESS);
        EXPECT_EQ(CALL(farlo, UnInitializeClusterW)(handle), FARLO_SUCCESS);
        return result;
    }
    // Gives the group's reservation up, as another node does that takes it.
    static void take_reservation() {
        const FarloDll farlo;
        EXPECT_EQ(CALL(farlo, ReleaseDgW)(guid), FARLO_SUCCESS);
    }

    const std::string m_scenario = project_file(L"examples/scenario.json");
    std::unique_ptr<Process> m_agent;
};

// -------------------------------------------------------------------------------- minimal

TEST_F(Examples, MinimalPrintsDisksAndVolumes) {
    run_minimal(L" dg_app");
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{0});
    EXPECT_EQ(m_agent->errors(), "");
    EXPECT_EQ(m_agent->output(),
              "disk   Harddisk1, signature e0000001\r\n"
              "disk   Harddisk2, signature e0000002\r\n"
              "volume \\Device\\HarddiskDmVolumes\\dg_app\\vol_data, 10240 MiB, unusable\r\n"
              "volume \\Device\\HarddiskDmVolumes\\dg_app\\vol_logs, 2048 MiB, unusable\r\n");
}

TEST_F(Examples, MinimalReportsUnknownGroup) {
    run_minimal(L" dg_none");
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{1});
    EXPECT_EQ(m_agent->errors(), "dg_none: no such disk group, or no driver (0x1)\r\n");
    EXPECT_EQ(m_agent->output(), "");
}

TEST_F(Examples, MinimalWaitsForTheService) {
    service->kill();
    run_minimal(L" dg_app");
    Sleep(1'000);
    EXPECT_TRUE(m_agent->runs());
    start_service(m_scenario);
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{0});
    EXPECT_EQ(m_agent->errors(), "");
}

TEST_F(Examples, MinimalGivesUpWithoutAService) {
    service->kill();
    run_minimal(L" dg_app");
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{1});
    EXPECT_EQ(m_agent->errors(), "dg_app: not connected to the storage service (0x14)\r\n");
}

// -------------------------------------------------------------------------------- monitor

TEST_F(Examples, MonitorBringsTheGroupOnlineAndOffline) {
    start_monitor();
    await("online");
    EXPECT_EQ(state(), is_online);
    EXPECT_EQ(stop_monitor(), DWORD{0});
    EXPECT_EQ(count("stopped"), 1);
    EXPECT_EQ(m_agent->errors(), "");
    // The disks are this node's from before the import until after the deport.
    EXPECT_EQ(changes(), (std::vector<std::string>{
                             "CLUSSVCOP_ARBITRATEDG", "DGOP_IMPORT", "MISCOP_STARTNODE",
                             "MISCOP_VOLUMEONLINE", "MISCOP_VOLUMEONLINE", "MISCOP_VOLUMEOFFLINE",
                             "MISCOP_VOLUMEOFFLINE", "DGOP_DEPORT", "CLUSSVCOP_OFFLINEDG"}));
    EXPECT_EQ(state(), is_offline);
}

// The fault plan drops the connection during each change, which the service has made then.
TEST_F(Examples, MonitorMakesEachChangeOnceWhenConnectionsDrop) {
    start_service(m_scenario, project_file(L"examples/faults.json"));
    start_monitor();
    await("online");
    EXPECT_EQ(state(), is_online);
    EXPECT_EQ(stop_monitor(), DWORD{0});
    EXPECT_EQ(state(), is_offline);
    // Those whose connection was not dropped: none is made again.
    EXPECT_EQ(changes(), (std::vector<std::string>{"MISCOP_STARTNODE", "MISCOP_VOLUMEONLINE",
                                                   "MISCOP_VOLUMEOFFLINE"}));
    // The first connection, and one after each drop but the last: the agent then asks the
    // driver and is done.
    EXPECT_EQ(count("connecting, attempt 1 of 8"), 6);
    EXPECT_EQ(count("connecting, attempt 2 of 8"), 0);
}

TEST_F(Examples, MonitorSurvivesAKilledService) {
    start_monitor();
    await("online");
    service->kill();
    await("connecting, attempt 2 of 8");
    const std::ptrdiff_t rounds = count("online");
    start_service(m_scenario);
    await("online", rounds + 1);
    EXPECT_EQ(state(), is_online);
    EXPECT_EQ(stop_monitor(), DWORD{0});
    EXPECT_EQ(state(), is_offline);
}

TEST_F(Examples, MonitorBringsTheGroupOnlineAgainAfterADeport) {
    start_monitor();
    await("online");
    {
        const FarloDll farlo;
        opal_handle handle = nullptr;
        EXPECT_EQ(CALL(farlo, InitializeClusterW)(&handle), FARLO_SUCCESS);
        EXPECT_EQ(CALL(farlo, OfflineDgW)(handle, nullptr, guid, 0), FARLO_SUCCESS);
        EXPECT_EQ(CALL(farlo, UnInitializeClusterW)(handle), FARLO_SUCCESS);
    }
    await("offline");
    const std::ptrdiff_t rounds = count("online");
    await("online", rounds + 1);
    EXPECT_EQ(state(), is_online);
    EXPECT_EQ(stop_monitor(), DWORD{0});
}

TEST_F(Examples, MonitorAbandonsAGroupThatAnotherNodeTook) {
    start_monitor();
    await("online");
    take_reservation();
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{3});
    EXPECT_EQ(count("lost"), 1);
    // The volumes were not touched.
    EXPECT_EQ(state(), (State{false, FARLO_RESERVATION_NOT_HELD, 0, 0}));
}

TEST_F(Examples, MonitorLeavesAGroupThatAnotherNodeDefends) {
    std::string scenario = m_scenario;
    const std::string place = "\"name\": \"dg_app\",";
    scenario.insert(scenario.find(place) + place.size(),
                    "\"reservation\": {\"owner\": \"node2\"},");
    start_service(scenario);
    start_monitor();
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{1});
    EXPECT_EQ(m_agent->errors(),
              "monitor: ArbitrateDgW: a status of the storage service (0xe515010a)\r\n");
    EXPECT_EQ(state(), is_offline);
}

TEST_F(Examples, MonitorLeavesNothingBehindWhenTheNodeDoesNotStart) {
    std::string scenario = m_scenario;
    const std::string start_time = "\"start_seconds\": 1";
    scenario.replace(scenario.find(start_time), start_time.size(), "\"start_fails\": true");
    start_service(scenario);
    start_monitor();
    EXPECT_EQ(m_agent->wait(hang_ms), DWORD{1});
    EXPECT_NE(m_agent->errors().find("monitor: OnlineVolW: a provider failed"), std::string::npos)
        << m_agent->errors();
    EXPECT_EQ(state(), is_offline);
}

TEST_F(Examples, MonitorContinuesTheWorkOfAnAgentThatWasKilled) {
    start_monitor();
    await("online");
    m_agent->kill();
    EXPECT_EQ(state(), is_online);
    start_monitor();
    await("online");
    EXPECT_EQ(stop_monitor(), DWORD{0});
    EXPECT_EQ(state(), is_offline);
}

}  // namespace
