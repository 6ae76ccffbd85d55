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
    const lab::PropertySet input{{"dgid", lab::text_value("id-1")},
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

}  // namespace
