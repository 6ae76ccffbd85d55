// The number of a disk group's disks that work.
#include "lab/store_fixture.h"
#include "store/methods.h"

namespace {

class DiskHealth : public lab_tests::StoreTest {
  protected:
    opal_status count(const std::string& guid) {
        return call("service", zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_DISKAVAIB,
                    {{"Dgname", lab::wide_value(L"ignored")}, {"Dgguid", lab::string_value(guid)}});
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

}  // namespace
