// Methods on disk groups: import, deport, GUIDs and the disk rescan.
#include "lab/store_fixture.h"
#include "store/methods.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DiskGroupMethods : public lab_tests::StoreTest {
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
        return call(target, zt_volume_manager_interface, ZTMETHOD_DGOP_IMPORT,
                    {{"Dgguid", lab::string_value(guid)},
                     {"dgid", lab::string_value(guid)},
                     {"Newdgname", lab::wide_value(new_name)},
                     {"Opflag", lab::uint32_value(0x4046)}});
    }
    opal_status deport(const std::string& target) {
        return call(
            target, zt_volume_manager_interface, ZTMETHOD_DGOP_DEPORT,
            {{"dgid", lab::string_value("not looked at")}, {"Opflag", lab::uint32_value(0x4042)}});
    }
    opal_status group_guid(const std::wstring& name) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID,
                    {{"Dgname", lab::wide_value(name)}});
    }
    opal_status volume_guid(const std::string& guid, const std::wstring& device) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID,
                    {{"Dgguid", lab::string_value(guid)}, {"Voldevname", lab::wide_value(device)}});
    }
    // Returns the only result of the last call.
    std::string result(const std::string& name) {
        EXPECT_EQ(output.size(), 1u);
        const lab::Property* found = lab::find(output, name);
        return found != nullptr && found->value.type == TYPE_STR
                   ? std::get<std::string>(found->value.elements.at(0))
                   : "?";
    }
};

TEST_F(DiskGroupMethods, ImportsByGuidOnClusterService) {
    EXPECT_EQ(import("service", "ID-1"), ZTSTATUS_OK);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN true");
    EXPECT_EQ(property("dg1", "Name"), "WSTR \"dg1\"");
    EXPECT_THAT(output, IsEmpty());
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.cluster.dg.import.success"));
}

TEST_F(DiskGroupMethods, ImportsOnGroup) {
    EXPECT_EQ(import("local", "id-3"), ZTSTATUS_OK);
    EXPECT_EQ(property("local", "imported"), "BOOLEAN true");
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.ztvm.dg.import.success"));
}

TEST_F(DiskGroupMethods, ImportsWithNewName) {
    EXPECT_EQ(import("service", "id-1", L"renamed"), ZTSTATUS_OK);
    EXPECT_EQ(property("dg1", "Name"), "WSTR \"renamed\"");
    EXPECT_EQ(group_guid(L"RENAMED"), ZTSTATUS_OK);
    EXPECT_EQ(group_guid(L"dg1"), lab::status_no_such_group);
}

TEST_F(DiskGroupMethods, ImportFailsForMissingImportedAndClashingGroups) {
    EXPECT_EQ(import("service", "id-99"), lab::status_no_such_group);
    EXPECT_EQ(import("service", "id-2"), ZTERROR_GROUP_ALREADY_ONLINE);
    EXPECT_EQ(import("up", "id-2"), ZTERROR_GROUP_ALREADY_ONLINE);
    EXPECT_EQ(import("service", "id-4"), lab::status_no_such_group);  // hidden
    EXPECT_EQ(import("service", "id-1", L"UP"), lab::status_name_taken);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN false");
    EXPECT_EQ(property("dg1", "Name"), "WSTR \"dg1\"");
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.ztvm.dg.import.failed",
                                    "event.alert.ztvm.cluster.dg.import.failed",
                                    "event.alert.ztvm.cluster.dg.import.failed",
                                    "event.alert.ztvm.ztvm.dg.import.failed",
                                    "event.alert.ztvm.cluster.dg.import.failed"));
}

TEST_F(DiskGroupMethods, ImportFailsWithoutItsParameters) {
    const lab::Property guid{"dgid", lab::string_value("id-1")};
    const lab::Property options{"Opflag", lab::uint32_value(1)};
    const auto import_with = [&](const lab::PropertySet& input) {
        return call("service", zt_volume_manager_interface, ZTMETHOD_DGOP_IMPORT, input);
    };
    EXPECT_EQ(import_with({}), lab::status_missing_parameter);
    EXPECT_EQ(import_with({guid}), lab::status_missing_parameter);
    EXPECT_EQ(import_with({options}), lab::status_missing_parameter);
    EXPECT_EQ(import_with({{"dgid", lab::wide_value(L"id-1")}, options}),
              lab::status_missing_parameter);
    EXPECT_EQ(import_with({guid, {"Opflag", lab::uint64_value(1)}}), lab::status_missing_parameter);
    EXPECT_EQ(import_with({guid, options, {"Newdgname", lab::string_value("n")}}),
              lab::status_missing_parameter);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN false");
    EXPECT_EQ(import_with({guid, options}), ZTSTATUS_OK);
}

TEST_F(DiskGroupMethods, DeportsImportedGroupOnly) {
    EXPECT_EQ(deport("up"), ZTSTATUS_OK);
    EXPECT_EQ(property("up", "imported"), "BOOLEAN false");
    EXPECT_EQ(deport("up"), lab::status_not_imported);
    EXPECT_EQ(deport("local"), lab::status_not_imported);
    EXPECT_THAT(alerts, ElementsAre("event.alert.ztvm.cluster.dg.deport.success",
                                    "event.alert.ztvm.cluster.dg.deport.failed",
                                    "event.alert.ztvm.ztvm.dg.deport.failed"));
    EXPECT_EQ(call("up", zt_volume_manager_interface, ZTMETHOD_DGOP_DEPORT, {}),
              lab::status_missing_parameter);
}

TEST_F(DiskGroupMethods, ReturnsGroupGuid) {
    EXPECT_EQ(group_guid(L"DG1"), ZTSTATUS_OK);
    EXPECT_EQ(result("Dgguid"), "id-1");
    EXPECT_EQ(group_guid(L"nowhere"), lab::status_no_such_group);
    EXPECT_THAT(output, IsEmpty());
    EXPECT_EQ(group_guid(L"late"), lab::status_no_such_group);
    EXPECT_EQ(group_guid(L"nameless"), lab::status_no_identifier);
    EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID,
                   {{"Dgname", lab::string_value("dg1")}}),
              lab::status_missing_parameter);
}

TEST_F(DiskGroupMethods, ReturnsVolumeGuid) {
    EXPECT_EQ(volume_guid("id-1", L"\\device\\v1"), ZTSTATUS_OK);
    EXPECT_EQ(result("Volguid"), "vol-1");
    EXPECT_EQ(volume_guid("id-1", L"\\Device\\v2"), lab::status_no_identifier);
    EXPECT_EQ(volume_guid("id-1", L"\\Device\\v3"), lab::status_no_such_volume);
    EXPECT_EQ(volume_guid("id-2", L"\\Device\\v1"),
              lab::status_no_such_volume);  // in another group
    EXPECT_EQ(volume_guid("id-9", L"\\Device\\v1"), lab::status_no_such_group);
    EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID,
                   {{"Dgguid", lab::string_value("id-1")}}),
              lab::status_missing_parameter);
}

TEST_F(DiskGroupMethods, RescanRevealsHiddenObjects) {
    EXPECT_EQ(group_guid(L"late"), lab::status_no_such_group);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_PNP_RESCAN,
                   {{"pnp rescan only", lab::uint32_value(0)}}),
              lab::status_missing_parameter);
    EXPECT_EQ(group_guid(L"late"), lab::status_no_such_group);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_PNP_RESCAN,
                   {{"pnp rescan only", lab::boolean_value(false)}}),
              ZTSTATUS_OK);
    EXPECT_EQ(group_guid(L"late"), ZTSTATUS_OK);
    EXPECT_EQ(result("Dgguid"), "id-4");
    EXPECT_EQ(of_type(ZTTYPE_DISK_GROUP).size(), 5u);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_PNP_RESCAN, {}),
              ZTSTATUS_OK);
}

TEST_F(DiskGroupMethods, RaisesNoAlertWithoutSink) {
    store->set_alert_sink({});
    EXPECT_EQ(import("service", "id-1"), ZTSTATUS_OK);
    EXPECT_THAT(alerts, IsEmpty());
}

}  // namespace
