// Methods by interface, number and target: calls of any other fail.
#include "lab/store_fixture.h"
#include "store/methods.h"

using testing::IsEmpty;

namespace {

class Methods : public lab_tests::StoreTest {
  protected:
    void SetUp() override {
        load(R"({"disk_groups": [
            {"name": "dg1", "dgid": "id-1", "type": 2,
             "volumes": [{"name": "v1", "device": "\\Device\\V1"}]}]})");
    }
};

TEST_F(Methods, FailsForMethodsTheTargetDoesNotHave) {
    const lab::PropertySet input{{"dgid", lab::string_value("id-1")},
                                 {"Opflag", lab::uint32_value(1)}};
    const auto call_service = [&](const GUID& interface_id, std::uint32_t minor) {
        return call("service", interface_id, minor, input);
    };
    EXPECT_EQ(call_service(zt_volume_manager_interface, 9999), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call_service(zt_cluster_service_interface, ZTMETHOD_DGOP_IMPORT),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call_service(zt_mount_manager_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call_service(GUID{}, ZTMETHOD_DGOP_IMPORT), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(store->invoke(id("service"), zt_volume_manager_interface, ZTMETHOD_MAJOR + 1,
                            ZTMETHOD_DGOP_IMPORT, input, output),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_DGOP_DEPORT, input),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("v1", zt_volume_manager_interface, ZTMETHOD_DGOP_IMPORT, input),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("dg1", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID, input),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(property("dg1", "imported"), "BOOLEAN false");
    EXPECT_THAT(alerts, IsEmpty());
}

TEST(MethodNames, AreThoseOfTheHeader) {
    const struct {
        const GUID& interface_id;
        std::uint32_t minor;
        const char* name;
    } rows[] = {
        {zt_volume_manager_interface, 2001, "DGOP_DEPORT"},
        {zt_volume_manager_interface, 2003, "DGOP_IMPORT"},
        {zt_volume_manager_interface, 2027, "DGOP_SETFASTFAILOVERFLAG"},
        {zt_volume_manager_interface, 2028, "DGOP_CLUSTERSERVICESTATE"},
        {zt_volume_manager_interface, 3041, "MISCOP_UPDATE_MOUNTPATH"},
        {zt_volume_manager_interface, 6054, "MISCOP_PNP_RESCAN"},
        {zt_volume_manager_interface, 6058, "MISCOP_STARTNODE"},
        {zt_volume_manager_interface, 6059, "MISCOP_STOPNODE"},
        {zt_volume_manager_interface, 6060, "MISCOP_GETNODESTATE"},
        {zt_volume_manager_interface, 6063, "MISCOP_VOLUMEONLINE"},
        {zt_volume_manager_interface, 6064, "MISCOP_VOLUMEOFFLINE"},
        {zt_cluster_service_interface, 1, "CLUSSVCOP_GETDGGUID"},
        {zt_cluster_service_interface, 2, "CLUSSVCOP_ARBITRATEDG"},
        {zt_cluster_service_interface, 4, "CLUSSVCOP_OFFLINEDG"},
        {zt_cluster_service_interface, 5, "CLUSSVCOP_GETDGSTATUS"},
        {zt_cluster_service_interface, 11, "CLUSSVCOP_GETVOLUMEGUID"},
        {zt_cluster_service_interface, 13, "CLUSSVCOP_DISKAVAIB"},
        {zt_mount_manager_interface, 8006, "MNTOP_GET_ALL_MOUNTPOINTS"},
        {zt_mount_manager_interface, 8007, "MNTOP_GET_DRIVE_LETTER"},
    };
    for (const auto& row : rows) {
        EXPECT_STREQ(lab::method_name(row.interface_id, ZTMETHOD_MAJOR, row.minor), row.name);
        EXPECT_EQ(lab::method_name(row.interface_id, ZTMETHOD_MAJOR + 1, row.minor), nullptr);
        EXPECT_EQ(lab::method_name(GUID{}, ZTMETHOD_MAJOR, row.minor), nullptr);
    }
    EXPECT_EQ(lab::method_name(zt_mount_manager_interface, ZTMETHOD_MAJOR, 1), nullptr);
}

}  // namespace
