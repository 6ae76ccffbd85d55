// Connections, alerts and scenarios of the embedded service.
#include "lab/bus_fixture.h"

#include <filesystem>

using namespace lab_tests;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Event = std::pair<int, std::string>;

class Connections : public BusTest {
  protected:
    opal_status use(opal_connection of, opal_context its_context) {
        opal_objid* ids = nullptr;
        std::uint32_t count = 0;
        const opal_status status =
            DbGetObjects(of, its_context, ZTTYPE_CLUSTER_SERVICE, &ids, &count);
        _ZtFree(ids);
        return status;
    }
    opal_status import(const char* guid) {
        const std::uint32_t one = 1;
        const opal_property dgid = text_property("dgid", guid);
        const opal_property options = number_property("Opflag", one);
        opal_propset input;
        PsCreatePropset(&input);
        PsAddProperty(input, &dgid);
        PsAddProperty(input, &options);
        const opal_objid service = object("service");
        const opal_status status =
            PrCallDispatch(connection, &service, &zt_volume_manager_interface, 0,
                           ZTMETHOD_DGOP_IMPORT, input, nullptr, 0, 0, 0, 0, nullptr, nullptr);
        PsDestroyPropset(input);
        return status;
    }
    static void keep(void* user, int event, const char* name) {
        static_cast<std::vector<Event>*>(user)->emplace_back(event,
                                                             name != nullptr ? name : "NULL");
    }
};

TEST_F(Connections, CountsOpenConnectionsAndEndsClosedOnes) {
    EXPECT_EQ(live().connections, 1u);
    opal_connection other;
    opal_context other_context;
    ASSERT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, &other, &other_context), ZTSTATUS_OK);
    EXPECT_EQ(live().connections, 2u);
    EXPECT_NE(other, connection);
    EXPECT_EQ(use(other, other_context), ZTSTATUS_OK);
    EXPECT_EQ(LabCloseConnection(other), ZTSTATUS_OK);
    EXPECT_EQ(live().connections, 1u);
    EXPECT_EQ(LabCloseConnection(other), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(use(other, other_context), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(use(connection, context), ZTSTATUS_OK);
}

TEST_F(Connections, RejectsNullOutArguments) {
    opal_connection other;
    opal_context other_context;
    EXPECT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, nullptr, &other_context),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, &other, nullptr),
              ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Connections, FailsWithPlannedStatusUntilItIsCleared) {
    LabRefuseConnections(ZTERROR_PROVIDER);
    opal_connection other;
    opal_context other_context;
    EXPECT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, &other, &other_context),
              ZTERROR_PROVIDER);
    EXPECT_EQ(use(connection, context), ZTSTATUS_OK);
    LabRefuseConnections(ZTSTATUS_OK);
    ASSERT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, &other, &other_context), ZTSTATUS_OK);
    EXPECT_EQ(LabCloseConnection(other), ZTSTATUS_OK);
}

TEST_F(Connections, RejectsInvalidAddress) {
    opal_connection other;
    opal_context other_context;
    EXPECT_EQ(LabOpenConnection("no address", nullptr, nullptr, &other, &other_context),
              ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Connections, ReportsLossOnceToEachSink) {
    std::vector<Event> others;
    opal_connection other;
    opal_context other_context;
    ASSERT_EQ(LabOpenConnection(nullptr, keep, &others, &other, &other_context), ZTSTATUS_OK);
    LabDropConnections();
    LabDropConnections();
    EXPECT_THAT(events, ElementsAre(Event(LAB_EVENT_DISCONNECTED, "NULL")));
    EXPECT_THAT(others, ElementsAre(Event(LAB_EVENT_DISCONNECTED, "NULL")));
    EXPECT_EQ(use(connection, context), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(use(other, other_context), ZTERROR_NOT_CONNECTED);
    LabRaiseAlert("late");
    EXPECT_EQ(others.size(), 1u);
    EXPECT_EQ(LabCloseConnection(other), ZTSTATUS_OK);
    ASSERT_EQ(LabOpenConnection(nullptr, keep, &others, &other, &other_context), ZTSTATUS_OK);
    EXPECT_EQ(use(other, other_context), ZTSTATUS_OK);
    EXPECT_EQ(LabCloseConnection(other), ZTSTATUS_OK);
}

TEST_F(Connections, DeliversAlertsToEverySink) {
    std::vector<Event> others;
    opal_connection other;
    opal_context other_context;
    ASSERT_EQ(LabOpenConnection(nullptr, keep, &others, &other, &other_context), ZTSTATUS_OK);
    LabRaiseAlert("one");
    EXPECT_EQ(LabCloseConnection(other), ZTSTATUS_OK);
    LabRaiseAlert("two");
    EXPECT_THAT(others, ElementsAre(Event(LAB_EVENT_ALERT, "one")));
    EXPECT_THAT(events, ElementsAre(Event(LAB_EVENT_ALERT, "one"), Event(LAB_EVENT_ALERT, "two")));
}

TEST_F(Connections, DeliversAlertsOfMethods) {
    load_scenario(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1", "type": 2}]})");
    EXPECT_EQ(import("id-1"), ZTSTATUS_OK);
    EXPECT_EQ(import("id-1"), ZTERROR_GROUP_ALREADY_ONLINE);
    EXPECT_THAT(events,
                ElementsAre(Event(LAB_EVENT_ALERT, "event.alert.ztvm.cluster.dg.import.success"),
                            Event(LAB_EVENT_ALERT, "event.alert.ztvm.cluster.dg.import.failed")));
}

TEST_F(Connections, ForgetsObjectsWhenAnotherScenarioIsLoaded) {
    load_scenario(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1"}]})");
    const opal_objid before = object("dg1");
    load_scenario(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1"}]})");
    char* type;
    EXPECT_EQ(ObGetObjectType(connection, context, &before, &type), ZTERROR_UNKNOWN_OBJECT);
    const opal_objid after = object("dg1");
    ASSERT_EQ(ObGetObjectType(connection, context, &after, &type), ZTSTATUS_OK);
    _ZtFree(type);
}

TEST_F(Connections, KeepsScenarioWhenAnotherFailsToLoad) {
    load_scenario(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1"}]})");
    const opal_objid dg1 = object("dg1");
    char error[100];
    EXPECT_NE(LabLoadScenarioText("{\n\"x\": 1}", error, sizeof error), 0);
    EXPECT_STREQ(error, "2: unknown key \"x\"");
    EXPECT_NE(LabLoadScenarioText(nullptr, error, sizeof error), 0);
    EXPECT_NE(LabLoadScenarioFile(nullptr, error, sizeof error), 0);
    EXPECT_NE(LabLoadScenarioText("{\n\"x\": 1}", nullptr, 0), 0);
    char small[4] = "zzz";
    EXPECT_NE(LabLoadScenarioText("{\n\"x\": 1}", small, 3), 0);
    EXPECT_STREQ(small, "2:");
    char* type;
    ASSERT_EQ(ObGetObjectType(connection, context, &dg1, &type), ZTSTATUS_OK);
    _ZtFree(type);
}

TEST_F(Connections, LoadsScenarioFiles) {
    char error[300] = "x";
    const std::filesystem::path small = LAB_SCENARIOS "small.json";
    EXPECT_EQ(LabLoadScenarioFile(small.c_str(), error, sizeof error), 0);
    EXPECT_STREQ(error, "");
    opal_objid id;
    EXPECT_EQ(LabFindObject("dg_late", &id), 0);  // hidden, but it exists
    EXPECT_NE(LabFindObject("nobody", &id), 0);
    EXPECT_NE(LabFindObject(nullptr, &id), 0);
    EXPECT_NE(LabLoadScenarioFile(L"no such file.json", error, sizeof error), 0);
    EXPECT_STREQ(error, "no such file.json: No such file or directory");
}

}  // namespace
