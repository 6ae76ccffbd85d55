// ClusterServiceState.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class ClusterServiceState : public FarloTest {
  protected:
    static std::string send(const std::string& state, const std::string& status) {
        return invoke("service", volume_manager_methods, 2028, "\"ServiceState\": UINT32 " + state,
                      status);
    }
};

const Expected entering{4, "Entering ClusterServiceState"};
const Expected exiting{4, "Exiting ClusterServiceState"};

TEST_F(ClusterServiceState, SendsTheStateToTheClusterService) {
    const std::pair<std::uint32_t, std::string> states[] = {{0, "0"}, {0x80000001, "2147483649"}};
    for (const auto& [state, text] : states) {
        at_every_threshold([&, state = state, text = text] {
            set_faults(R"([{"function": "PrCallDispatch", "nothing": true}])");
            EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, state), 0u);
            expect_calls({cluster_service(), send(text, "0x0")});
            expect_log({entering, exiting});
        });
    }
}

TEST_F(ClusterServiceState, IsOneEntryWithTwoNames) {
    once([&] {
        EXPECT_EQ(dll().entry<ClusterServiceStateA_fn>("ClusterServiceStateA"),
                  dll().entry<ClusterServiceStateW_fn>("ClusterServiceStateW"));
    });
}

TEST_F(ClusterServiceState, WantsAConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ClusterServiceStateW)(nullptr, 1), 100u);
        disconnect();
        EXPECT_EQ(FARLO(ClusterServiceStateA)(handle, 1), 20u);
        expect_calls({});
        expect_log({entering,
                    {0, "ClusterServiceState() failed , opal_handle==NULL, error=(0x64)"},
                    entering,
                    {0, "ClusterServiceState() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(ClusterServiceState, FailsWithoutAClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 1), 41u);
        expect_log({entering,
                    {0, "ClusterServiceState: GetClusSvcId failed with error = 0x29"},
                    {0, "ClusterServiceState() failed, error=(0x29) "},
                    exiting});
    });
}

TEST_F(ClusterServiceState, PassesTheServicesStatusOn) {
    for (const std::string status : {"0x2a", "0x41000012"}) {
        at_every_threshold([&] {
            set_faults(R"([{"function": "PrCallDispatch", "status": ")" + status + R"("}])");
            EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), std::stoul(status, nullptr, 0));
            expect_calls({cluster_service(), send("7", status)});
            expect_log({entering,
                        {4, "ClusterServiceState: DGOP_CLUSTERSERVICESTATE, CsfInvoke failed with "
                            "error = " +
                                status + "."},
                        {0, "ClusterServiceState() failed, error=(" + status + ") "},
                        exiting});
        });
    }
}

TEST_F(ClusterServiceState, FailsWhenTheParameterCannotBeAdded) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsAddProperty", "status": "0xc1000102"}])");
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), 18u);
        expect_calls({cluster_service()});
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "ClusterServiceState() failed, error=(0x12) "},
                    exiting});
    });
}

// The connection is not looked at again.
TEST_F(ClusterServiceState, SucceedsWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), 0u);
        expect_log({entering, exiting});
    });
}

TEST_F(ClusterServiceState, LooksFiveTimesForAClusterService) {
    scenario = R"({"node": {"cluster_service": false}})";
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 1), 41u);
        EXPECT_EQ(calls(), Lines(5, "DbGetObjects solvane_cluster_service -> 0x0 []"));
        expect_pauses(std::vector<Pause>(5, {"Sleep", 5000}));
        const Expected sleeping{6, "GetClusSvcId: Sleeping for 5 secs"};
        expect_log({entering,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    {0, "ClusterServiceState: GetClusSvcId failed with error = 0x29"},
                    {0, "ClusterServiceState() failed, error=(0x29) "},
                    exiting});
    });
}

TEST_F(ClusterServiceState, FailsWithoutAnInputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"}])");
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), 18u);
        expect_calls({cluster_service()});
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "ClusterServiceState() failed, error=(0x12) "},
                    exiting});
    });
}

TEST_F(ClusterServiceState, GoesOnWithoutAnOutputSet) {
    at_every_threshold([&] {
        for (const auto& [status, wanted] :
             {std::pair<const char*, std::uint32_t>{"0x0", 0}, {"0x2a", 0x2a}}) {
            set_faults(std::string(R"([{"function": "PsCreatePropset", "call": 2,
                                        "status": "0xc1000102"},
                                       {"function": "PrCallDispatch", "status": ")") +
                       status + "\"}]");
            EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), wanted);
        }
        expect_log({entering,
                    exiting,
                    entering,
                    {0, "ClusterServiceState() failed, error=(0x2a) "},
                    exiting});
    });
}

// The connection is not looked at again: the service's status stays.
TEST_F(ClusterServiceState, KeepsTheServicesStatusWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), 0xc1000001u);
    });
}

TEST_F(ClusterServiceState, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true}])");
        return FARLO(ClusterServiceStateW)(handle, 7);
    });
    EXPECT_THAT(answers, testing::Contains(testing::Ne(0u)));
}

}  // namespace
