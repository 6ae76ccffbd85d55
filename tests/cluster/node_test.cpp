// StartCVMClusterW, StopCVMClusterW, GetCVMClusterNodeStateW.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class Node : public FarloTest {
  protected:
    // An operation on the node, and its lines.
    struct Operation {
        std::function<std::uint32_t(opal_handle)> call;
        unsigned minor;
        std::string entering;
        std::string null_handle;
        std::string not_connected;
        std::string no_service;
        std::string invoke_failed;  // up to the status
        std::string failed;         // up to the status
        std::string exiting;
    };

    std::vector<Operation> operations() {
        return {{[this](opal_handle on) { return FARLO(StartCVMClusterW)(on); }, 6058,
                 "Entering StartCVMClusterW",
                 "StartCVMClusterW() failed , opal_handle==NULL, error=(0x64)",
                 "StartCVMClusterW() failed , opal_handle not connected, error=(0x14)",
                 "StartCVMClusterW: GetClusSvcId failed with error = 0x29",
                 "StartCVMClusterW: MISCOP_STARTNODE, CsfInvoke failed with error = ",
                 "StartCVMClusterW() failed, error=(", "Exiting StartCVMClusterW"},
                {[this](opal_handle on) { return FARLO(StopCVMClusterW)(on); }, 6059,
                 "Entering StopCVMClusterW",
                 "StopCVMClusterW() failed , opal_handle==NULL, error=(0x64)",
                 "StopCVMClusterW() failed , opal_handle not connected, error=(0x14)",
                 "StopCVMClusterW: GetClusSvcId failed with error = 0x29",
                 "StopCVMClusterW: MISCOP_STOPNODE, CsfInvoke failed with error = ",
                 "StopCVMClusterW() failed, error=(", "Exiting StopCVMClusterW"},
                {[this](opal_handle on) {
                     return FARLO(GetCVMClusterNodeStateW)(on, state.as<std::uint32_t>());
                 },
                 6060, "Entering GetCVMClusterNodeStateW",
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

    static std::string invoke(const Operation& operation, const std::string& status) {
        return support::invoke("service", volume_manager_methods, operation.minor, "", status);
    }

    GuardedBuffer state{4};
};

const char service_answers[] = R"([{"function": "PrCallDispatch", "nothing": true}])";

TEST_F(Node, AsksTheClusterServiceWithoutParameters) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(service_answers);
        EXPECT_EQ(operation.call(handle), 0u);
        expect_calls({cluster_service(), invoke(operation, "0x0")});
        expect_log({{2, operation.entering}, {2, operation.exiting}});
    });
}

TEST_F(Node, WantsAHandle) {
    each_at_every_threshold([&](const Operation& operation) {
        EXPECT_EQ(operation.call(nullptr), 100u);
        expect_calls({});
        expect_log({{2, operation.entering}, {0, operation.null_handle}});
    });
}

TEST_F(Node, WantsAConnection) {
    each_at_every_threshold([&](const Operation& operation) {
        disconnect();
        EXPECT_EQ(operation.call(handle), 20u);
        expect_calls({});
        expect_log({{2, operation.entering},
                    {0, operation.not_connected},
                    {0, operation.failed + "0x14) "},
                    {2, operation.exiting}});
    });
}

TEST_F(Node, FailsWithoutAClusterService) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
        EXPECT_EQ(operation.call(handle), 41u);
        expect_log({{2, operation.entering},
                    {0, operation.no_service},
                    {0, operation.failed + "0x29) "},
                    {2, operation.exiting}});
    });
}

// The "already started" of the service is passed on like any other status.
TEST_F(Node, PassesTheServicesStatusOn) {
    for (const std::string status : {"0x2a", "0xe5150047", "0x41000012"}) {
        each_at_every_threshold([&](const Operation& operation) {
            set_faults(R"([{"function": "PrCallDispatch", "status": ")" + status + R"("}])");
            EXPECT_EQ(operation.call(handle), std::stoul(status, nullptr, 0));
            expect_calls({cluster_service(), invoke(operation, status)});
            expect_log({{2, operation.entering},
                        {4, operation.invoke_failed + status + "."},
                        {0, operation.failed + status + ") "},
                        {2, operation.exiting}});
        });
    }
}

TEST_F(Node, GoesOnWithoutAnOutputSet) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "status": "0x2a"}])");
        EXPECT_EQ(operation.call(handle), 0x2au);
        EXPECT_TRUE(state.untouched());
        expect_log(
            {{2, operation.entering}, {0, operation.failed + "0x2a) "}, {2, operation.exiting}});
    });
}

TEST_F(Node, FailsWithoutAnInputSet) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"}])");
        EXPECT_EQ(operation.call(handle), 18u);
        expect_calls({cluster_service()});
        expect_log({{2, operation.entering},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, operation.failed + "0x12) "},
                    {2, operation.exiting}});
    });
}

TEST_F(Node, IsNotConnectedWhenTheConnectionDrops) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        EXPECT_EQ(operation.call(handle), 20u);
        expect_log(
            {{2, operation.entering}, {0, operation.failed + "0x14) "}, {2, operation.exiting}});
    });
}

TEST_F(Node, HandsOutItsState) {
    at_every_threshold([&] {
        set_faults(service_answers);
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "nodeState", 0x1234); });
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0x1234u);
    });
}

TEST_F(Node, LeavesTheStateAloneWhenItCannotBeRead) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true},
                       {"function": "PsFindProperty", "property": "nodeState", "as": "INT32"}])");
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), 0u);
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "nodeState", 1); });
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), 0u);
        EXPECT_TRUE(state.untouched());
        expect_log({{2, "Entering GetCVMClusterNodeStateW"},
                    {2, "Exit GetCVMClusterNodeStateW"},
                    {2, "Entering GetCVMClusterNodeStateW"},
                    {2, "Exit GetCVMClusterNodeStateW"}});
    });
}

TEST_F(Node, HandsOutAStateThatCameWithAFailure) {
    for (const std::string status : {"0xc1000001", "0x41000012"}) {
        at_every_threshold([&] {
            set_faults(R"([{"function": "PrCallDispatch", "status": ")" + status + R"("}])");
            const MethodResults results(dll().module(),
                                        [](opal_propset set) { add_number(set, "nodeState", 6); });
            GuardedBuffer one{4};
            EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, one.as<std::uint32_t>()),
                      std::stoul(status, nullptr, 0));
            EXPECT_EQ(*one.as<std::uint32_t>(), 6u);
        });
    }
}

TEST_F(Node, HandsOutItsStateWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "nodeState", 2); });
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, state.as<std::uint32_t>()), 20u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 2u);
    });
}

TEST_F(Node, IsNotConnectedWhateverFailedMeanwhile) {
    each_at_every_threshold([&](const Operation& operation) {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        {
            const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
            EXPECT_EQ(operation.call(handle), 20u);
        }
        expect_log({{2, operation.entering},
                    {4, operation.invoke_failed + "0xc1000001."},
                    {0, operation.failed + "0x14) "},
                    {2, operation.exiting}});
    });
}

TEST_F(Node, EndsWellWhicheverAllocationFails) {
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.entering);
        const auto answers = answers_at_every_allocation([&] {
            set_faults(service_answers);
            return operation.call(handle);
        });
        EXPECT_THAT(answers, testing::Contains(testing::Ne(0u)));
    }
}

TEST_F(Node, WantsRoomForItsState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, nullptr), 19u);
        expect_calls({});
        expect_log({{2, "Entering GetCVMClusterNodeStateW"},
                    {0, "GetCVMClusterNodeStateW() failed, error=(0x13) "},
                    {2, "Exit GetCVMClusterNodeStateW"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetCVMClusterNodeStateW)(handle, nullptr), 20u);
        expect_log({{2, "Entering GetCVMClusterNodeStateW"},
                    {0, "GetCVMClusterNodeStateW() failed , opal_handle not connected, "
                        "error=(0x14)"},
                    {0, "GetCVMClusterNodeStateW() failed, error=(0x14) "},
                    {2, "Exit GetCVMClusterNodeStateW"}});
    });
}

}  // namespace
