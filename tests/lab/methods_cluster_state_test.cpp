// Settings of the cluster, stored as properties.
#include "lab/store_fixture.h"
#include "store/methods.h"

namespace {

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

}  // namespace
