// Methods that bring volumes online and offline.
#include "lab/store_fixture.h"
#include "store/methods.h"

using testing::IsEmpty;

namespace {

class VolumeMethods : public lab_tests::StoreTest {
  protected:
    void SetUp() override { load_on_node("\"role\": 1"); }

    void load_on_node(const std::string& node) {
        load(R"({"node": {)" + node + R"(}, "disk_groups": [
            {"name": "up", "dgid": "id-1", "type": 8, "imported": true, "volumes": [
                {"name": "v", "device": "\\Device\\V"},
                {"name": "down", "device": "\\Device\\Down", "state": 4128},
                {"name": "lost", "device": "\\Device\\Lost", "state": 36},
                {"name": "failed", "device": "\\Device\\Failed", "state": 16},
                {"name": "detached", "device": "\\Device\\Detached", "state": 256}]},
            {"name": "away", "dgid": "id-2", "type": 8, "volumes": [
                {"name": "far", "device": "\\Device\\Far", "state": 32}]},
            {"name": "late", "dgid": "id-3", "imported": true, "hidden": true, "volumes": [
                {"name": "unseen", "device": "\\Device\\Unseen"}]}]})");
    }

    static lab::Value object(const opal_objid& id) { return {TYPE_ZTOBJID, {id}}; }
    opal_status online(const std::string& volume, std::uint32_t flags = 1) {
        return call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEONLINE,
                    {{"volume", object(id(volume))}, {"OnlineFlag", lab::uint32_value(flags)}});
    }
    opal_status offline(const std::string& volume, std::uint32_t flags = 1) {
        return call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEOFFLINE,
                    {{"volume", object(id(volume))}, {"OfflineFlag", lab::uint32_value(flags)}});
    }
};

TEST_F(VolumeMethods, OfflineSetsAndOnlineClearsOneBitOfTheState) {
    EXPECT_EQ(offline("v"), ZTSTATUS_OK);
    EXPECT_EQ(property("v", "ztvmstate"), "UINT32 32");
    EXPECT_THAT(output, IsEmpty());
    EXPECT_EQ(online("v"), ZTSTATUS_OK);
    EXPECT_EQ(property("v", "ztvmstate"), "UINT32 0");
    EXPECT_THAT(output, IsEmpty());

    EXPECT_EQ(online("down"), ZTSTATUS_OK);
    EXPECT_EQ(property("down", "ztvmstate"), "UINT32 4096");
    EXPECT_EQ(offline("down"), ZTSTATUS_OK);
    EXPECT_EQ(property("down", "ztvmstate"), "UINT32 4128");
    EXPECT_THAT(alerts, IsEmpty());
}

TEST_F(VolumeMethods, SucceedWhenNothingIsToBeDone) {
    EXPECT_EQ(online("v"), ZTSTATUS_OK);
    EXPECT_EQ(property("v", "ztvmstate"), "UINT32 0");
    EXPECT_EQ(offline("down", 0xFFFFFFFF), ZTSTATUS_OK);
    EXPECT_EQ(property("down", "ztvmstate"), "UINT32 4128");
}

TEST_F(VolumeMethods, OnlineFailsForBrokenVolume) {
    EXPECT_EQ(online("lost"), lab::status_volume_broken);
    EXPECT_EQ(property("lost", "ztvmstate"), "UINT32 36");
    EXPECT_EQ(online("failed"), lab::status_volume_broken);
    EXPECT_EQ(online("detached"), lab::status_volume_broken);
    EXPECT_EQ(offline("failed"), ZTSTATUS_OK);
    EXPECT_EQ(property("failed", "ztvmstate"), "UINT32 48");
}

TEST_F(VolumeMethods, FailWhileGroupIsNotImported) {
    EXPECT_EQ(online("far"), lab::status_not_imported);
    EXPECT_EQ(offline("far"), lab::status_not_imported);
    EXPECT_EQ(property("far", "ztvmstate"), "UINT32 32");
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_DGOP_IMPORT,
                   {{"dgid", lab::string_value("id-2")}, {"Opflag", lab::uint32_value(1)}}),
              ZTSTATUS_OK);
    EXPECT_EQ(online("far"), ZTSTATUS_OK);
    EXPECT_EQ(property("far", "ztvmstate"), "UINT32 0");
}

TEST_F(VolumeMethods, FailWhileNodeDoesNotRun) {
    for (const char* node : {"\"role\": 0", "\"misc\": false"}) {
        load_on_node(node);
        EXPECT_EQ(online("down"), lab::status_node_not_running);
        EXPECT_EQ(offline("v"), lab::status_node_not_running);
        EXPECT_EQ(property("down", "ztvmstate"), "UINT32 4128");
        EXPECT_EQ(property("v", "ztvmstate"), "UINT32 0");
    }
}

TEST_F(VolumeMethods, FailForOtherObjectsAndHiddenVolumes) {
    EXPECT_EQ(online("up"), lab::status_no_such_volume);
    EXPECT_EQ(offline("service"), lab::status_no_such_volume);
    EXPECT_EQ(offline("unseen"), lab::status_no_such_volume);
    EXPECT_EQ(call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEONLINE,
                   {{"volume", object({})}, {"OnlineFlag", lab::uint32_value(1)}}),
              lab::status_no_such_volume);
}

TEST_F(VolumeMethods, FailWithoutParameters) {
    const lab::Property volume{"volume", object(id("v"))};
    const lab::Property text{"volume", lab::string_value("v")};
    const lab::Property online_flag{"OnlineFlag", lab::uint32_value(1)};
    const lab::Property offline_flag{"OfflineFlag", lab::uint32_value(1)};
    const lab::Property wide_flag{"OfflineFlag", lab::uint64_value(1)};
    const auto online_with = [&](const lab::PropertySet& input) {
        return call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEONLINE, input);
    };
    const auto offline_with = [&](const lab::PropertySet& input) {
        return call("service", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEOFFLINE, input);
    };
    EXPECT_EQ(online_with({}), lab::status_missing_parameter);
    EXPECT_EQ(online_with({volume}), lab::status_missing_parameter);
    EXPECT_EQ(online_with({online_flag}), lab::status_missing_parameter);
    EXPECT_EQ(online_with({text, online_flag}), lab::status_missing_parameter);
    EXPECT_EQ(online_with({volume, offline_flag}), lab::status_missing_parameter);
    EXPECT_EQ(offline_with({volume, online_flag}), lab::status_missing_parameter);
    EXPECT_EQ(offline_with({volume, wide_flag}), lab::status_missing_parameter);
    EXPECT_EQ(property("v", "ztvmstate"), "UINT32 0");
    EXPECT_EQ(offline_with({volume, offline_flag}), ZTSTATUS_OK);
}

TEST_F(VolumeMethods, FailOnTargetsOtherThanTheClusterService) {
    const lab::PropertySet input{{"volume", object(id("v"))},
                                 {"OfflineFlag", lab::uint32_value(1)}};
    EXPECT_EQ(call("v", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEOFFLINE, input),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("up", zt_volume_manager_interface, ZTMETHOD_MISCOP_VOLUMEOFFLINE, input),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(call("service", zt_cluster_service_interface, ZTMETHOD_MISCOP_VOLUMEOFFLINE, input),
              ZTERROR_UNKNOWN_METHOD);
}

}  // namespace
