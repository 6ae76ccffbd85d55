// Reservations, disk availability, cluster settings, and errors in scenarios.
#include "lab/store_fixture.h"
#include "store/methods.h"

namespace {

class Reservations : public lab_tests::StoreTest {
  protected:
    void SetUp() override {
        load(R"({"node": {"name": "here", "reservation_key": 77}, "disk_groups": [
            {"name": "free", "dgid": "id-1"},
            {"name": "defended", "dgid": "id-2", "reservation": {"owner": "there", "key": 5}},
            {"name": "given up", "dgid": "id-3",
             "reservation": {"owner": "there", "key": 6, "defended": false}},
            {"name": "ours", "dgid": "id-4", "reservation": {"owner": "here", "key": 77}},
            {"name": "late", "dgid": "id-5", "hidden": true}]})");
    }
    opal_status arbitrate(const std::string& guid) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_ARBITRATEDG,
                    {{"Dgguid", lab::text_value(guid)}});
    }
    opal_status stop(const std::string& guid) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_OFFLINEDG,
                    {{"Dgguid", lab::text_value(guid)}, {"Opflag", lab::uint32_value(1)}});
    }
    // Returns the results of GETDGSTATUS.
    std::string state(const std::string& guid) {
        EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGSTATUS,
                       {{"Dgguid", lab::text_value(guid)},
                        {"Opflag", lab::uint32_value(0)},
                        {"otl trace", lab::boolean_value(false)}}),
                  ZTSTATUS_OK);
        return results();
    }
    void expect_owner(const std::string& group, const std::string& owner, const std::string& key) {
        EXPECT_EQ(property(group, "reservation owner"), owner);
        EXPECT_EQ(property(group, "reservation key"), key);
    }
};

TEST_F(Reservations, ArbitrationReservesFreeGroup) {
    EXPECT_EQ(state("id-1"), R"({"Dgstate": UINT32 33})");
    EXPECT_EQ(arbitrate("ID-1"), ZTSTATUS_OK);
    expect_owner("free", "WSTR \"here\"", "UINT64 77");
    EXPECT_EQ(state("id-1"), R"({"Dgstate": UINT32 34})");
    EXPECT_EQ(arbitrate("id-1"), ZTSTATUS_OK);  // again
    expect_owner("free", "WSTR \"here\"", "UINT64 77");
}

TEST_F(Reservations, ArbitrationFailsAgainstDefendedReservation) {
    EXPECT_EQ(arbitrate("id-2"), lab::status_reservation_conflict);
    expect_owner("defended", "WSTR \"there\"", "UINT64 5");
    EXPECT_EQ(state("id-2"), R"({"Dgstate": UINT32 33})");
    EXPECT_EQ(stop("id-2"), lab::status_not_reserved);
    expect_owner("defended", "WSTR \"there\"", "UINT64 5");
}

TEST_F(Reservations, ArbitrationTakesUndefendedReservation) {
    EXPECT_EQ(arbitrate("id-3"), ZTSTATUS_OK);
    expect_owner("given up", "WSTR \"here\"", "UINT64 77");
    EXPECT_EQ(state("id-3"), R"({"Dgstate": UINT32 34})");
}

TEST_F(Reservations, StopReleasesOwnReservationOnly) {
    EXPECT_EQ(state("id-4"), R"({"Dgstate": UINT32 34})");
    EXPECT_EQ(stop("id-4"), ZTSTATUS_OK);
    expect_owner("ours", "", "");
    EXPECT_EQ(state("id-4"), R"({"Dgstate": UINT32 33})");
    EXPECT_EQ(stop("id-4"), lab::status_not_reserved);
}

TEST_F(Reservations, FailForUnknownGroupsAndMissingParameters) {
    for (const char* guid : {"id-5", "id-9", ""}) {
        EXPECT_EQ(arbitrate(guid), lab::status_no_such_group);
        EXPECT_EQ(stop(guid), lab::status_no_such_group);
    }
    const lab::Property guid{"Dgguid", lab::text_value("id-4")};
    const lab::Property wide_guid{"Dgguid", lab::wide_value(L"id-4")};
    for (const std::uint32_t minor :
         {ZTMETHOD_CLUSSVCOP_ARBITRATEDG, ZTMETHOD_CLUSSVCOP_OFFLINEDG,
          ZTMETHOD_CLUSSVCOP_GETDGSTATUS, ZTMETHOD_CLUSSVCOP_DISKAVAIB}) {
        EXPECT_EQ(call("service", zt_cluster_service_interface, minor, {}),
                  lab::status_missing_parameter);
        EXPECT_EQ(call("service", zt_cluster_service_interface, minor, {wide_guid}),
                  lab::status_missing_parameter);
        EXPECT_EQ(call("ours", zt_cluster_service_interface, minor, {guid}),
                  ZTERROR_UNKNOWN_METHOD);
    }
    EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_OFFLINEDG, {guid}),
              lab::status_missing_parameter);
    EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGSTATUS, {guid}),
              lab::status_missing_parameter);
    expect_owner("ours", "WSTR \"here\"", "UINT64 77");
}

TEST_F(Reservations, ReportChanges) {
    std::vector<std::vector<std::string>> reported;
    store->set_change_sink([&](lab::Model& model, const std::vector<opal_objid>& changed) {
        std::vector<std::string> names;
        for (const opal_objid& id : changed) {
            const lab::Object* object = model.find(id);
            const std::string name = object != nullptr ? object->name : "gone";
            if (names.empty() || names.back() != name) {
                names.push_back(name);
            }
        }
        reported.push_back(names);
    });
    EXPECT_EQ(arbitrate("id-1"), ZTSTATUS_OK);
    EXPECT_EQ(store->delete_object(id("ours")), ZTSTATUS_OK);
    store->change([](lab::Model& model) { model.reveal(); });
    using Reported = std::vector<std::vector<std::string>>;
    EXPECT_EQ(
        reported,
        (Reported{{"free", "defended", "given up", "ours", "late"}, {"free"}, {"gone"}, {"late"}}));
}

class DiskHealth : public lab_tests::StoreTest {
  protected:
    opal_status count(const std::string& guid) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_DISKAVAIB,
                    {{"Dgname", lab::wide_value(L"ignored")}, {"Dgguid", lab::text_value(guid)}});
    }
};

TEST_F(DiskHealth, CountsLiveDisks) {
    load(R"({"disk_groups": [
        {"name": "dg1", "dgid": "id-1", "disks": [
            {"name": "good"}, {"name": "missing", "state": 1}, {"name": "failed", "state": 2},
            {"name": "both", "state": 3}, {"name": "odd", "state": 4}]},
        {"name": "dg2", "dgid": "id-2"},
        {"name": "dg3", "dgid": "id-3", "disks": [{"name": "other"}]}]})");
    EXPECT_EQ(count("ID-1"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"total_disks": UINT32 5, "live_disks": UINT32 2})");
    EXPECT_EQ(count("id-2"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"total_disks": UINT32 0, "live_disks": UINT32 0})");
    EXPECT_EQ(count("id-9"), lab::status_no_such_group);
    EXPECT_EQ(store->set_property(id("good"), {"ztvmstate", lab::uint32_value(2)}), ZTSTATUS_OK);
    EXPECT_EQ(count("id-1"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"total_disks": UINT32 5, "live_disks": UINT32 1})");
}

using ClusterState = lab_tests::StoreTest;

TEST_F(ClusterState, IsStoredAsProperties) {
    load(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1"}]})");
    EXPECT_EQ(property("dg1", "FastFailoverFlag"), "");
    EXPECT_EQ(call("dg1", zt_volume_manager_interface, ZTMETHOD_DGOP_SETFASTFAILOVERFLAG,
                   {{"FastFailoverFlag", lab::uint32_value(9)}}),
              ZTSTATUS_OK);
    EXPECT_EQ(property("dg1", "FastFailoverFlag"), "UINT32 9");
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_DGOP_CLUSTERSERVICESTATE,
                   {{"ServiceState", lab::uint32_value(4)}}),
              ZTSTATUS_OK);
    EXPECT_EQ(property("service", "ServiceState"), "UINT32 4");
    EXPECT_EQ(call("dg1", zt_volume_manager_interface, ZTMETHOD_DGOP_SETFASTFAILOVERFLAG,
                   {{"FastFailoverFlag", lab::boolean_value(true)}}),
              lab::status_missing_parameter);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_DGOP_CLUSTERSERVICESTATE, {}),
              lab::status_missing_parameter);
    EXPECT_EQ(property("dg1", "FastFailoverFlag"), "UINT32 9");
}

using ScenarioFaults = lab_tests::StoreTest;

TEST_F(ScenarioFaults, ReportsErrorsInNodesAndReservationsWithLine) {
    const struct {
        const char* json;
        const char* reason;
    } rows[] = {
        {"{\"node\": {\n\"start_role\": 0}}", "2: the role of a node that runs cannot be 0"},
        {"{\"node\": {\n\"stop_seconds\": -1}}", nullptr},
        {"{\"node\": {\n\"reservation_key\": \"x\"}}", nullptr},
        {"{\"disk_groups\": [{\"name\": \"d\", \"dgid\": \"g\",\n\"reservation\": {}}]}",
         "2: \"owner\" is missing"},
        {"{\"disk_groups\": [{\"name\": \"d\", \"dgid\": \"g\",\n\"reservation\": {\"owner\": "
         "\"\"}}]}",
         "2: the owner of a reservation must be a node's name"},
        {"{\"disk_groups\": [{\"name\": \"d\", \"dgid\": \"g\",\n\"reservation\": {\"owner\": "
         "\"n\", \"lost\": true}}]}",
         "2: unknown key \"lost\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        try {
            load(row.json);
            ADD_FAILURE() << "it was taken";
        } catch (const lab::ScenarioError& error) {
            EXPECT_EQ(std::string(error.what()).substr(0, 3), "2: ");
            if (row.reason != nullptr) {
                EXPECT_STREQ(error.what(), row.reason);
            }
        }
    }
}

}  // namespace
