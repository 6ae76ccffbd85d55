// Arbitration for disk groups, and the end and state of reservations.
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
                    {{"Dgguid", lab::string_value(guid)}});
    }
    opal_status stop(const std::string& guid) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_OFFLINEDG,
                    {{"Dgguid", lab::string_value(guid)}, {"Opflag", lab::uint32_value(1)}});
    }
    // Returns the results of GETDGSTATUS.
    std::string state(const std::string& guid) {
        EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGSTATUS,
                       {{"Dgguid", lab::string_value(guid)},
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
    const lab::Property guid{"Dgguid", lab::string_value("id-4")};
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

}  // namespace
