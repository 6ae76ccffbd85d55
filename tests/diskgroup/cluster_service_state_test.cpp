// ClusterServiceState.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class ClusterServiceState : public FarloTest {
  protected:
    // The method call that sends a state.
    static std::string send(std::uint32_t state, std::uint32_t status) {
        return invoke("service", method::set_cluster_service_state,
                      "\"ServiceState\": " + uint32(state), status);
    }
};

const Expected entering{4, "Entering ClusterServiceState"};
const Expected exiting{4, "Exiting ClusterServiceState"};

TEST_F(ClusterServiceState, SendsStateToClusterService) {
    for (const std::uint32_t state : {0u, 0x80000001u}) {
        at_every_threshold([&] {
            set_faults(fault_plan({methods_succeed}));
            EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, state), FARLO_SUCCESS);
            expect_calls({cluster_service(), send(state, bus_success)});
            expect_log({entering, exiting});
        });
    }
}

TEST_F(ClusterServiceState, IsOneFunctionUnderTwoNames) {
    once([&] {
        EXPECT_EQ(dll().entry<ClusterServiceStateA_fn>("ClusterServiceStateA"),
                  dll().entry<ClusterServiceStateW_fn>("ClusterServiceStateW"));
    });
}

TEST_F(ClusterServiceState, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ClusterServiceStateW)(nullptr, 1), FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(FARLO(ClusterServiceStateA)(handle, 1), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({entering,
                    {0, "ClusterServiceState() failed , opal_handle==NULL, error=(0x64)"},
                    entering,
                    {0, "ClusterServiceState() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(ClusterServiceState, FailsWhenClusterServiceCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 1), FARLO_NO_CLUSTER_SERVICE);
        expect_log({entering,
                    {0, "ClusterServiceState: GetClusSvcId failed with error = 0x29"},
                    {0, "ClusterServiceState() failed, error=(0x29) "},
                    exiting});
    });
}

TEST_F(ClusterServiceState, ReturnsStatusOfService) {
    for (const std::uint32_t status : {unknown_failure, bus_same_value}) {
        at_every_threshold([&] {
            set_faults(fault_plan({methods_return(status)}));
            EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), status);
            expect_calls({cluster_service(), send(7, status)});
            expect_log({entering,
                        {4, "ClusterServiceState: DGOP_CLUSTERSERVICESTATE, CsfInvoke failed with "
                            "error = " +
                                hex(status) + "."},
                        {0, "ClusterServiceState() failed, error=(" + hex(status) + ") "},
                        exiting});
        });
    }
}

TEST_F(ClusterServiceState, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "PsAddProperty", .returns = bus_no_memory}}));
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), FARLO_EXCEPTION);
        expect_calls({cluster_service()});
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "ClusterServiceState() failed, error=(0x12) "},
                    exiting});
    });
}

// The connection is not checked again.
TEST_F(ClusterServiceState, SucceedsWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), FARLO_SUCCESS);
        expect_log({entering, exiting});
    });
}

TEST_F(ClusterServiceState, FailsAfterFiveQueriesWithoutClusterService) {
    scenario = R"({"node": {"cluster_service": false}})";
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 1), FARLO_NO_CLUSTER_SERVICE);
        EXPECT_EQ(calls(), Lines(5, objects(object_type::cluster_service, "")));
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

TEST_F(ClusterServiceState, FailsWithoutInputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_input_set}));
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), FARLO_EXCEPTION);
        expect_calls({cluster_service()});
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "ClusterServiceState() failed, error=(0x12) "},
                    exiting});
    });
}

TEST_F(ClusterServiceState, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        for (const std::uint32_t status : {bus_success, unknown_failure}) {
            set_faults(fault_plan({no_output_set, methods_return(status)}));
            EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), status);
        }
        expect_log({entering,
                    exiting,
                    entering,
                    {0, "ClusterServiceState() failed, error=(0x2a) "},
                    exiting});
    });
}

// The connection is not checked again.
TEST_F(ClusterServiceState, ReturnsStatusOfServiceWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(FARLO(ClusterServiceStateW)(handle, 7), bus_provider_failed);
    });
}

TEST_F(ClusterServiceState, SurvivesEveryAllocationFailure) {
    const auto results = statuses_at_every_allocation([&] {
        set_faults(fault_plan({methods_succeed}));
        return FARLO(ClusterServiceStateW)(handle, 7);
    });
    EXPECT_THAT(results, testing::Contains(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
