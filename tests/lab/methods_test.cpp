// What the service's methods do to the lab's storage.
#include "methods.h"
#include "service_status.h"
#include "store_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Methods : public lab_tests::StoreTest {
  protected:
    void SetUp() override {
        load(R"({"disk_groups": [
            {"name": "dg1", "dgid": "id-1", "type": 2,
             "volumes": [{"name": "v1", "device": "\\Device\\V1", "guid": "vol-1"},
                         {"name": "v2", "device": "\\Device\\v2"}]},
            {"name": "up", "dgid": "id-2", "type": 2, "imported": true},
            {"name": "local", "dgid": "id-3", "type": 1},
            {"name": "late", "dgid": "id-4", "hidden": true},
            {"name": "nameless", "dgid": "", "without": ["dgid"]}]})");
    }

    opal_status import(const std::string& target, const std::string& guid,
                       const std::wstring& new_name = L"") {
        return call(target, lab::volume_manager_operations, 2003,
                    {{"Dgguid", lab::text_value(guid)},
                     {"dgid", lab::text_value(guid)},
                     {"Newdgname", lab::wide_value(new_name)},
                     {"Opflag", lab::uint32_value(0x4046)}});
    }
    opal_status deport(const std::string& target) {
        return call(
            target, lab::volume_manager_operations, 2001,
            {{"dgid", lab::text_value("not looked at")}, {"Opflag", lab::uint32_value(0x4042)}});
    }
    opal_status group_guid(const std::wstring& name) {
        return call("service", lab::cluster_service_interface, 1,
                    {{"Dgname", lab::wide_value(name)}});
    }
    opal_status volume_guid(const std::string& guid, const std::wstring& device) {
        return call("service", lab::cluster_service_interface, 11,
                    {{"Dgguid", lab::text_value(guid)}, {"Voldevname", lab::wide_value(device)}});
    }
    // The one result of the last call.
    std::string result(const std::string& name) {
        EXPECT_EQ(output.size(), 1u);
        const lab::Property* found = lab::find(output, name);
        return found != nullptr && found->value.type == TYPE_STR
                   ? std::get<std::string>(found->value.elements.at(0))
                   : "?";
    }
};

TEST_F(Methods, ImportByIdentifierOnTheClusterService) {
    EXPECT_EQ(import("service", "ID-1"), ZTSTATUS_OK);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN true");
    EXPECT_EQ(property("dg1", "Name"), "WSTR \"dg1\"");
    EXPECT_THAT(output, IsEmpty());
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.cluster.dg.import.success"));
}

TEST_F(Methods, ImportOnTheGroup) {
    EXPECT_EQ(import("local", "id-3"), ZTSTATUS_OK);
    EXPECT_EQ(property("local", "imported"), "BOOLEAN true");
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.ztvm.dg.import.success"));
}

TEST_F(Methods, ImportGivesANewName) {
    EXPECT_EQ(import("service", "id-1", L"renamed"), ZTSTATUS_OK);
    EXPECT_EQ(property("dg1", "Name"), "WSTR \"renamed\"");
    EXPECT_EQ(group_guid(L"RENAMED"), ZTSTATUS_OK);
    EXPECT_EQ(group_guid(L"dg1"), 0xe5150101u);
}

TEST_F(Methods, ImportRefusesWhatCannotBeImported) {
    EXPECT_EQ(import("service", "id-99"), 0xe5150101u);
    EXPECT_EQ(import("service", "id-2"), 0xe515007au);
    EXPECT_EQ(import("up", "id-2"), 0xe515007au);
    EXPECT_EQ(import("service", "id-4"), 0xe5150101u);  // hidden
    EXPECT_EQ(import("service", "id-1", L"UP"), 0xe5150105u);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN false");
    EXPECT_EQ(property("dg1", "Name"), "WSTR \"dg1\"");
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.ztvm.dg.import.failed",
                                    "event.alert.ztvm.cluster.dg.import.failed",
                                    "event.alert.ztvm.cluster.dg.import.failed",
                                    "event.alert.ztvm.ztvm.dg.import.failed",
                                    "event.alert.ztvm.cluster.dg.import.failed"));
}

TEST_F(Methods, ImportWantsItsParameters) {
    const lab::Property guid{"dgid", lab::text_value("id-1")};
    const lab::Property options{"Opflag", lab::uint32_value(1)};
    const auto import_with = [&](const lab::PropertySet& input) {
        return call("service", lab::volume_manager_operations, 2003, input);
    };
    EXPECT_EQ(import_with({}), 0xe5150104u);
    EXPECT_EQ(import_with({guid}), 0xe5150104u);
    EXPECT_EQ(import_with({options}), 0xe5150104u);
    EXPECT_EQ(import_with({{"dgid", lab::wide_value(L"id-1")}, options}), 0xe5150104u);
    EXPECT_EQ(import_with({guid, {"Opflag", lab::uint64_value(1)}}), 0xe5150104u);
    EXPECT_EQ(import_with({guid, options, {"Newdgname", lab::text_value("n")}}), 0xe5150104u);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN false");
    EXPECT_EQ(import_with({guid, options}), ZTSTATUS_OK);
}

TEST_F(Methods, Deport) {
    EXPECT_EQ(deport("up"), ZTSTATUS_OK);
    EXPECT_EQ(property("up", "imported"), "BOOLEAN false");
    EXPECT_EQ(deport("up"), 0xe5150102u);
    EXPECT_EQ(deport("local"), 0xe5150102u);
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.cluster.dg.deport.success",
                                    "event.alert.ztvm.cluster.dg.deport.failed",
                                    "event.alert.ztvm.ztvm.dg.deport.failed"));
    EXPECT_EQ(call("up", lab::volume_manager_operations, 2001, {}), 0xe5150104u);
}

TEST_F(Methods, GiveTheIdentifierOfAGroup) {
    EXPECT_EQ(group_guid(L"DG1"), ZTSTATUS_OK);
    EXPECT_EQ(result("Dgguid"), "id-1");
    EXPECT_EQ(group_guid(L"nowhere"), 0xe5150101u);
    EXPECT_THAT(output, IsEmpty());
    EXPECT_EQ(group_guid(L"late"), 0xe5150101u);
    EXPECT_EQ(group_guid(L"nameless"), 0xe5150106u);
    EXPECT_EQ(
        call("service", lab::cluster_service_interface, 1, {{"Dgname", lab::text_value("dg1")}}),
        0xe5150104u);
}

TEST_F(Methods, GiveTheIdentifierOfAVolume) {
    EXPECT_EQ(volume_guid("id-1", L"\\device\\v1"), ZTSTATUS_OK);
    EXPECT_EQ(result("Volguid"), "vol-1");
    EXPECT_EQ(volume_guid("id-1", L"\\Device\\v2"), 0xe5150106u);
    EXPECT_EQ(volume_guid("id-1", L"\\Device\\v3"), 0xe5150103u);
    EXPECT_EQ(volume_guid("id-2", L"\\Device\\v1"), 0xe5150103u);  // of another group
    EXPECT_EQ(volume_guid("id-9", L"\\Device\\v1"), 0xe5150101u);
    EXPECT_EQ(
        call("service", lab::cluster_service_interface, 11, {{"Dgguid", lab::text_value("id-1")}}),
        0xe5150104u);
}

TEST_F(Methods, RescanOfDisksShowsWhatWasHidden) {
    EXPECT_EQ(group_guid(L"late"), 0xe5150101u);
    EXPECT_EQ(call("service", lab::volume_manager_operations, 6054,
                   {{"pnp rescan only", lab::uint32_value(0)}}),
              0xe5150104u);
    EXPECT_EQ(group_guid(L"late"), 0xe5150101u);
    EXPECT_EQ(call("service", lab::volume_manager_operations, 6054,
                   {{"pnp rescan only", lab::boolean_value(false)}}),
              ZTSTATUS_OK);
    EXPECT_EQ(group_guid(L"late"), ZTSTATUS_OK);
    EXPECT_EQ(result("Dgguid"), "id-4");
    EXPECT_EQ(of_type("tamo_ztvm_diskgroup").size(), 5u);
    EXPECT_EQ(call("service", lab::volume_manager_operations, 6054, {}), ZTSTATUS_OK);
}

TEST_F(Methods, ThatATargetDoesNotOfferAreRefused) {
    const lab::PropertySet input{{"dgid", lab::text_value("id-1")},
                                 {"Opflag", lab::uint32_value(1)}};
    const auto minor = [&](const GUID& interface_id, std::uint32_t number) {
        return call("service", interface_id, number, input);
    };
    EXPECT_EQ(minor(lab::volume_manager_operations, 9999), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(minor(lab::cluster_service_interface, 2003), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(minor(lab::mount_manager_interface, 1), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(minor(GUID{}, 2003), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(store->invoke(id("service"), lab::volume_manager_operations, 1, 2003, input, output),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("service", lab::volume_manager_operations, 2001, input), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("v1", lab::volume_manager_operations, 2003, input), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("dg1", lab::cluster_service_interface, 1, input), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN false");
    EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(Methods, RaiseNoAlertWithoutASink) {
    store->set_alert_sink({});
    EXPECT_EQ(import("service", "id-1"), ZTSTATUS_OK);
    EXPECT_THAT(alerts, IsEmpty());
}

}  // namespace
