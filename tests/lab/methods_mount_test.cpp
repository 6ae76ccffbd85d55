// Methods on drive letters and mount points.
#include "lab/store_fixture.h"
#include "store/methods.h"

using testing::IsEmpty;

namespace {

class MountMethods : public lab_tests::StoreTest {
  protected:
    void SetUp() override {
        load(R"({"disk_groups": [{"name": "dg", "dgid": "id-1", "volumes": [
            {"name": "data", "device": "\\Device\\Data", "drive_letter": "E"},
            {"name": "logs", "device": "\\Device\\Logs", "drive_letter": "0", "mount_points": [
                {"path": "logs\\new", "volume": "data"},
                {"path": "soon", "volume": "data", "hidden": true},
                {"path": "deep", "volume": "nested"}]},
            {"name": "nested", "device": "\\Device\\Nested", "without": ["DRIVE LETTER"],
             "mount_points": [{"path": "later", "volume": "logs", "hidden": true}]},
            {"name": "odd", "device": "\\Device\\Odd",
             "properties": {"DRIVE LETTER": {"type": "UINT32", "value": 7}}}]}]})");
    }

    opal_status mounts(const std::string& volume) {
        return call(volume, zt_mount_manager_interface, ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS, {});
    }
    opal_status letter(const std::string& volume) {
        return call(volume, zt_mount_manager_interface, ZTMETHOD_MNTOP_GET_DRIVE_LETTER,
                    {{"FromMM", lab::uint32_value(1)}});
    }
    opal_status refresh(const std::string& volume) {
        return call(volume, zt_volume_manager_interface, ZTMETHOD_MISCOP_UPDATE_MOUNTPATH,
                    {{"UpdateMountPath", lab::uint32_value(1)}});
    }
};

constexpr char nothing[] = R"({"ALL MOUNT POINTS ARRAY": WSTRZ [], )"
                           R"("NUMBER OF MOUNT POINTS": UINT32 0, "MEMBERIDZ": ZTOBJIDZ []})";

TEST_F(MountMethods, ReturnsPathsAndHolders) {
    EXPECT_EQ(mounts("logs"), ZTSTATUS_OK);
    EXPECT_EQ(results(),
              R"({"ALL MOUNT POINTS ARRAY": WSTRZ ["logs\\new" "deep"], )"
              R"("NUMBER OF MOUNT POINTS": UINT32 2, "MEMBERIDZ": ZTOBJIDZ [@data @nested]})");
    EXPECT_EQ(mounts("data"), ZTSTATUS_OK);
    EXPECT_EQ(results(), nothing);
}

TEST_F(MountMethods, RefreshRevealsHiddenPathsOfTheVolume) {
    EXPECT_EQ(mounts("nested"), ZTSTATUS_OK);
    EXPECT_EQ(results(), nothing);
    EXPECT_EQ(refresh("nested"), ZTSTATUS_OK);
    EXPECT_THAT(output, IsEmpty());
    EXPECT_EQ(mounts("nested"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"ALL MOUNT POINTS ARRAY": WSTRZ ["later"], )"
                         R"("NUMBER OF MOUNT POINTS": UINT32 1, "MEMBERIDZ": ZTOBJIDZ [@logs]})");

    EXPECT_EQ(mounts("logs"), ZTSTATUS_OK);
    EXPECT_EQ(
        std::get<std::uint32_t>(lab::find(output, "NUMBER OF MOUNT POINTS")->value.elements.at(0)),
        2u);
    EXPECT_EQ(refresh("logs"), ZTSTATUS_OK);
    EXPECT_EQ(mounts("logs"), ZTSTATUS_OK);
    EXPECT_EQ(
        results(),
        R"({"ALL MOUNT POINTS ARRAY": WSTRZ ["logs\\new" "soon" "deep"], )"
        R"("NUMBER OF MOUNT POINTS": UINT32 3, "MEMBERIDZ": ZTOBJIDZ [@data @data @nested]})");
    EXPECT_EQ(refresh("data"), ZTSTATUS_OK);
    EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(MountMethods, ReturnsDriveLetter) {
    EXPECT_EQ(letter("data"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"DRIVE LETTER": WSTR "E"})");
    EXPECT_EQ(letter("logs"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"DRIVE LETTER": WSTR "0"})");
    EXPECT_EQ(letter("nested"), lab::status_no_drive_letter);
    EXPECT_THAT(output, IsEmpty());
    // Returned as it is stored, even with another type.
    EXPECT_EQ(letter("odd"), ZTSTATUS_OK);
    EXPECT_EQ(results(), R"({"DRIVE LETTER": UINT32 7})");
}

TEST_F(MountMethods, FailsForVolumeWithoutDriveLetter) {
    load(R"({"disk_groups": [{"name": "dg", "dgid": "g", "volumes": [
        {"name": "v", "device": "\\V"}]}]})");
    EXPECT_EQ(letter("v"), lab::status_no_drive_letter);
    EXPECT_THAT(output, IsEmpty());
}

TEST_F(MountMethods, FailsWithoutParameters) {
    EXPECT_EQ(call("data", zt_mount_manager_interface, ZTMETHOD_MNTOP_GET_DRIVE_LETTER, {}),
              lab::status_missing_parameter);
    EXPECT_EQ(call("data", zt_mount_manager_interface, ZTMETHOD_MNTOP_GET_DRIVE_LETTER,
                   {{"FromMM", lab::boolean_value(true)}}),
              lab::status_missing_parameter);
    EXPECT_EQ(call("logs", zt_volume_manager_interface, ZTMETHOD_MISCOP_UPDATE_MOUNTPATH, {}),
              lab::status_missing_parameter);
    EXPECT_EQ(call("logs", zt_volume_manager_interface, ZTMETHOD_MISCOP_UPDATE_MOUNTPATH,
                   {{"UpdateMountPath", lab::string_value("1")}}),
              lab::status_missing_parameter);
    EXPECT_EQ(mounts("logs"), ZTSTATUS_OK);
    EXPECT_EQ(lab::find(output, "MEMBERIDZ")->value.elements.size(), 2u);
}

TEST_F(MountMethods, FailsOnTargetsOtherThanVolumes) {
    EXPECT_EQ(mounts("dg"), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(letter("service"), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(refresh("service"), ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("data", zt_volume_manager_interface, ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS, {}),
              ZTERROR_UNKNOWN_METHOD);
}

}  // namespace
