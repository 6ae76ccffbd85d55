// Start, stop and state of the node, with a clock that the test sets.
#include "lab/store_fixture.h"
#include "store/methods.h"

namespace {

ULONGLONG now_ms;
ULONGLONG WINAPI clock_of_the_test() {
    return now_ms;
}

class NodeMethods : public lab_tests::StoreTest {
  protected:
    void load_node(const std::string& node) {
        store = std::make_unique<lab::Store>(lab::build_scenario(R"({"node": {)" + node + "}}"),
                                             clock_of_the_test);
        now_ms = 5000;
    }
    opal_status start() {
        return call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_STARTNODE, {});
    }
    opal_status stop() {
        return call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_STOPNODE, {});
    }
    // Returns the results of GETNODESTATE, which must succeed.
    std::string state() {
        EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_GETNODESTATE, {}),
                  ZTSTATUS_OK);
        return results();
    }
    std::string role() { return property("misc", "nodeRole"); }
    std::string failure() { return property("misc", "nodeStatus"); }
};

TEST_F(NodeMethods, StartTakesStartSeconds) {
    load_node(R"("start_seconds": 3, "start_role": 7)");
    EXPECT_EQ(state(), R"({"nodeState": UINT32 0})");
    EXPECT_EQ(start(), ZTSTATUS_OK);
    EXPECT_EQ(role(), "UINT32 0");
    EXPECT_EQ(state(), R"({"nodeState": UINT32 1})");
    EXPECT_EQ(start(), ZTERROR_NODE_ALREADY_STARTED);
    EXPECT_EQ(stop(), lab::status_node_busy);
    now_ms += 2999;
    EXPECT_EQ(role(), "UINT32 0");
    now_ms += 1;
    EXPECT_EQ(role(), "UINT32 7");
    EXPECT_EQ(failure(), "UINT32 0");
    EXPECT_EQ(state(), R"({"nodeState": UINT32 2})");
    EXPECT_EQ(start(), ZTERROR_NODE_ALREADY_STARTED);
    EXPECT_EQ(role(), "UINT32 7");
}

TEST_F(NodeMethods, StartWithoutSecondsCompletesAtOnce) {
    load_node("");
    EXPECT_EQ(start(), ZTSTATUS_OK);
    EXPECT_EQ(results(), "{}");
    EXPECT_EQ(role(), "UINT32 1");
    EXPECT_EQ(state(), R"({"nodeState": UINT32 2})");
}

TEST_F(NodeMethods, FailedStartReportsFailureUntilTheNext) {
    load_node(R"("start_seconds": 1, "start_fails": true)");
    EXPECT_EQ(start(), ZTSTATUS_OK);
    EXPECT_EQ(failure(), "UINT32 0");
    now_ms += 1000;
    EXPECT_EQ(failure(), "UINT32 1");
    EXPECT_EQ(role(), "UINT32 0");
    EXPECT_EQ(state(), R"({"nodeState": UINT32 4})");
    // Another start clears the failure until it fails, too.
    EXPECT_EQ(start(), ZTSTATUS_OK);
    EXPECT_EQ(failure(), "UINT32 0");
    now_ms += 1000;
    EXPECT_EQ(failure(), "UINT32 1");
    EXPECT_EQ(stop(), lab::status_node_not_running);
}

TEST_F(NodeMethods, StopTakesStopSeconds) {
    load_node(R"("role": 2, "stop_seconds": 1)");
    EXPECT_EQ(stop(), ZTSTATUS_OK);
    EXPECT_EQ(role(), "UINT32 2");
    EXPECT_EQ(state(), R"({"nodeState": UINT32 3})");
    EXPECT_EQ(start(), lab::status_node_busy);
    EXPECT_EQ(stop(), lab::status_node_busy);
    now_ms += 1000;
    EXPECT_EQ(state(), R"({"nodeState": UINT32 0})");
    EXPECT_EQ(role(), "UINT32 0");
    EXPECT_EQ(stop(), lab::status_node_not_running);
    EXPECT_EQ(start(), ZTSTATUS_OK);
    EXPECT_EQ(role(), "UINT32 1");
}

TEST_F(NodeMethods, FailsWithoutMiscObject) {
    load_node(R"("misc": false)");
    EXPECT_EQ(start(), lab::status_no_node);
    EXPECT_EQ(stop(), lab::status_no_node);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_GETNODESTATE, {}),
              lab::status_no_node);
}

}  // namespace
