// StartCVMClusterW, StopCVMClusterW, GetCVMClusterNodeStateW.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class CVMClusterNode : public FarloTest {
  protected:
    // An operation on the node, its method, and what it logs.
    struct Operation {
        std::function<std::uint32_t(opal_handle)> call;
        Method method;
        std::string entering;
        std::string null_handle;
        std::string not_connected;
        std::string no_service;
        std::string invoke_failed;  // the part before the status
        std::string failed;         // the part before the status
        std::string exiting;
    };

    std::vector<Operation> operations() {
        return {{[this](opal_handle used) { return FARLO(StartCVMClusterW)(used); },
                 method::start_node, "Entering StartCVMClusterW",
                 "StartCVMClusterW() failed , opal_handle==NULL, error=(0x64)",
                 "StartCVMClusterW() failed , opal_handle not connected, error=(0x14)",
                 "StartCVMClusterW: GetClusSvcId failed with error = 0x29",
                 "StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = ",
                 "StartCVMClusterW() failed, error=(", "Exiting StartCVMClusterW"},
                {[this](opal_handle used) { return FARLO(StopCVMClusterW)(used); },
                 method::stop_node, "Entering StopCVMClusterW",
                 "StopCVMClusterW() failed , opal_handle==NULL, error=(0x64)",
                 "StopCVMClusterW() failed , opal_handle not connected, error=(0x14)",
                 "StopCVMClusterW: GetClusSvcId failed with error = 0x29",
                 "StopCVMClusterW: MISCOP_STOPNODE, CsfInvoke failed with error = ",
                 "StopCVMClusterW() failed, error=(", "Exiting StopCVMClusterW"},
                {[this](opal_handle used) {
                     return FARLO(GetCVMClusterNodeStateW)(used, state.as<std::uint32_t>());
                 },
                 method::get_node_state, "Entering GetCVMClusterNodeStateW",
                 "GetCVMClusterNodeStateW() failed , opal_handle==NULL, error=(0x64)",
                 "GetCVMClusterNodeStateW() failed , opal_handle not connected, error=(0x14)",
                 "GetCVMClusterNodeStateW: GetClusSvcId failed with error = 0x29",
                 "GetCVMClusterNodeState: MISCOP_GETNODESTATE, CsfInvoke failed with error = ",
                 "GetCVMClusterNodeStateW() failed, error=(", "Exit GetCVMClusterNodeStateW"}};
    }

    void each_at_every_threshold(const std::function<void(const Operation&)>& body) {
        for (const Operation& operation : operations()) {
            SCOPED_TRACE(operation.entering);
            at_every_threshold([&] { body(operation); });
        }
    }

    // The method call, which has no parameters.
    static std::string invoke(const Operation& operation, std::uint32_t status) {
        return support::invoke("service", operation.method, "", status);
    }

    // What the service reports as the node's state, as any number.
    static std::function<void(opal_propset)> reports_state(std::uint32_t value) {
        return [value](opal_propset set) { add_number(set, "nodeState", value); };
    }

    GuardedBuffer state{4};
};

TEST_F(CVMClusterNode, CallsMethodWithoutParameters) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(operation.call(handle), FARLO_SUCCESS);
        expect_calls({cluster_service(), invoke(operation, bus_success)});
        expect_log({{2, operation.entering}, {2, operation.exiting}});
    });
}

TEST_F(CVMClusterNode, RejectsNullHandle) {
    each_at_every_threshold([&](const Operation& operation) {
        EXPECT_EQ(operation.call(nullptr), FARLO_NULL_HANDLE);
        expect_calls({});
        expect_log({{2, operation.entering}, {0, operation.null_handle}});
    });
}

TEST_F(CVMClusterNode, ReturnsNotConnectedWithoutConnection) {
    each_at_every_threshold([&](const Operation& operation) {
        disconnect();
        EXPECT_EQ(operation.call(handle), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{2, operation.entering},
                    {0, operation.not_connected},
                    {0, operation.failed + "0x14) "},
                    {2, operation.exiting}});
    });
}

TEST_F(CVMClusterNode, FailsWhenClusterServiceCannotBeQueried) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(operation.call(handle), FARLO_NO_CLUSTER_SERVICE);
        expect_log({{2, operation.entering},
                    {0, operation.no_service},
                    {0, operation.failed + "0x29) "},
                    {2, operation.exiting}});
    });
}

// service_already_started is returned like any other status.
TEST_F(CVMClusterNode, ReturnsStatusOfService) {
    for (const std::uint32_t status : {unknown_failure, service_already_started, bus_same_value}) {
        each_at_every_threshold([&](const Operation& operation) {
            set_faults(fault_plan({methods_return(status)}));
            EXPECT_EQ(operation.call(handle), status);
            expect_calls({cluster_service(), invoke(operation, status)});
            expect_log({{2, operation.entering},
                        {4, operation.invoke_failed + hex(status) + "."},
                        {0, operation.failed + hex(status) + ") "},
                        {2, operation.exiting}});
        });
    }
}

TEST_F(CVMClusterNode, CallsMethodWithoutOutputSet) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(fault_plan({no_output_set, methods_return(unknown_failure)}));
        EXPECT_EQ(operation.call(handle), unknown_failure);
        EXPECT_TRUE(state.untouched());
        expect_log(
            {{2, operation.entering}, {0, operation.failed + "0x2a) "}, {2, operation.exiting}});
    });
}

TEST_F(CVMClusterNode, FailsWithoutInputSet) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(fault_plan({no_input_set}));
        EXPECT_EQ(operation.call(handle), FARLO_EXCEPTION);
        expect_calls({cluster_service()});
        expect_log({{2, operation.entering},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, operation.failed + "0x12) "},
                    {2, operation.exiting}});
    });
}

TEST_F(CVMClusterNode, ReturnsNotConnectedWhenConnectionDrops) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(fault_plan({methods_succeed_and_drop}));
        EXPECT_EQ(operation.call(handle), FARLO_NOT_CONNECTED);
        expect_log(
            {{2, operation.entering}, {0, operation.failed + "0x14) "}, {2, operation.exiting}});
    });
}

TEST_F(CVMClusterNode, ProvidesState) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(), reports_state(0x1234));
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0x1234u);
    });
}

TEST_F(CVMClusterNode, LeavesStateUnchangedWhenItCannotBeRead) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {methods_succeed,
             {.function = "PsFindProperty", .property = "nodeState", .with_type = "INT32"}}));
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), FARLO_SUCCESS);
        const MethodResults results(dll().module(), reports_state(1));
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), FARLO_SUCCESS);
        EXPECT_TRUE(state.untouched());
        expect_log({{2, "Entering GetCVMClusterNodeStateW"},
                    {2, "Exit GetCVMClusterNodeStateW"},
                    {2, "Entering GetCVMClusterNodeStateW"},
                    {2, "Exit GetCVMClusterNodeStateW"}});
    });
}

TEST_F(CVMClusterNode, ProvidesStateWhenServiceFails) {
    for (const std::uint32_t status : {bus_provider_failed, bus_same_value}) {
        at_every_threshold([&] {
            set_faults(fault_plan({methods_return(status)}));
            const MethodResults results(dll().module(), reports_state(6));
            GuardedBuffer received{4};
            EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, received.as<std::uint32_t>()), status);
            EXPECT_EQ(*received.as<std::uint32_t>(), 6u);
        });
    }
}

TEST_F(CVMClusterNode, ProvidesStateWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        const MethodResults results(dll().module(), reports_state(2));
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()),
                  FARLO_NOT_CONNECTED);
        EXPECT_EQ(*state.as<std::uint32_t>(), 2u);
    });
}

TEST_F(CVMClusterNode, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        {
            const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
            EXPECT_EQ(operation.call(handle), FARLO_NOT_CONNECTED);
        }
        expect_log({{2, operation.entering},
                    {4, operation.invoke_failed + "0xc1000001."},
                    {0, operation.failed + "0x14) "},
                    {2, operation.exiting}});
    });
}

TEST_F(CVMClusterNode, SurvivesEveryAllocationFailure) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.entering);
        const auto results = statuses_at_every_allocation([&] {
            set_faults(fault_plan({methods_succeed}));
            return operation.call(handle);
        });
        EXPECT_THAT(results, testing::Contains(testing::Ne(FARLO_SUCCESS)));
    }
}

TEST_F(CVMClusterNode, RejectsNullState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, nullptr), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{2, "Entering GetCVMClusterNodeStateW"},
                    {0, "GetCVMClusterNodeStateW() failed, error=(0x13) "},
                    {2, "Exit GetCVMClusterNodeStateW"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, nullptr), FARLO_NOT_CONNECTED);
        expect_log({{2, "Entering GetCVMClusterNodeStateW"},
                    {0, "GetCVMClusterNodeStateW() failed , opal_handle not connected, "
                        "error=(0x14)"},
                    {0, "GetCVMClusterNodeStateW() failed, error=(0x14) "},
                    {2, "Exit GetCVMClusterNodeStateW"}});
    });
}

}  // namespace
