// labctl.exe and the volume manager's driver.
#include "dmcontrol/driver_fixture.h"
#include "drivers/driver_service.h"
#include "labctl/labctl_fixture.h"

namespace {

using namespace support;

class LabctlDriver : public LabctlTest {
  protected:
    static void SetUpTestSuite() { lab::stop_driver(LAB_DM_DRIVER); }
    void TearDown() override {
        LabctlTest::TearDown();
        service.reset();
        lab::stop_driver(LAB_DM_DRIVER);
    }
    // The status of asking the driver for the import of the group "g1", and its reply.
    static std::uint32_t ask(std::uint8_t& reply) {
        const lab::WindowsHandle info = lab::open_device(DM_INFO_DEVICE);
        dm_reservation_request record{};
        std::strcpy(record.group_guid, "g1");
        dm_control_block block{reinterpret_cast<std::uintptr_t>(&record), 0};
        const std::uint32_t status = lab::send_request(info.get(), DM_INFO_GET_IMPORTED, &block,
                                                       sizeof block, &block, sizeof block);
        reply = record.reply;
        return status;
    }
};

TEST_F(LabctlDriver, ReturnsStatusesAsTold) {
    start(one_group, "[]", 0, L" --driver");
    std::uint8_t reply = 9;
    EXPECT_EQ(ask(reply), dm_tests::success);
    EXPECT_EQ(reply, 1);  // not imported
    expect_done(L"driver reply get-imported 0xC0000043 --times 2");
    EXPECT_EQ(ask(reply), dm_tests::sharing_violation);
    EXPECT_EQ(ask(reply), dm_tests::sharing_violation);
    EXPECT_EQ(ask(reply), dm_tests::success);
    expect_done(L"driver reply get-imported 0xC0000043");
    expect_done(L"driver reply get-imported 0 --times 0");
    EXPECT_EQ(ask(reply), dm_tests::success);
    EXPECT_EQ(reply, 1);
    expect_refused(L"driver reply get-imports 1",
                   "\"get-imports\" is not a request; there are: get-reservation, "
                   "release-reservation, get-imported, volume-status, volume-offline");
    expect_refused(L"driver reply get-imported much", "\"much\" is not a valid status");
}

TEST_F(LabctlDriver, LearnsOfChanges) {
    start(one_group, "[]", 0, L" --driver");
    expect_done(L"group set dg1 imported=true");
    std::uint8_t reply = 9;
    EXPECT_EQ(ask(reply), dm_tests::success);
    EXPECT_EQ(reply, 0);
    expect_done(L"group remove dg1");
    EXPECT_EQ(ask(reply), dm_tests::not_found);
    expect_done(L"group add " + json(LR"({"name": "dg2", "dgid": "g1"})"));
    EXPECT_EQ(ask(reply), dm_tests::success);
    EXPECT_EQ(reply, 1);
}

TEST_F(LabctlDriver, RepliesNothingWithoutDriver) {
    start(one_group);
    expect_refused(L"driver reply get-imported 0xC0000043", "dmcontrol.sys is not loaded");
    EXPECT_EQ(labctl(L"status"), 0u);
    EXPECT_THAT(output, testing::HasSubstr(", no driver\n"));
}

}  // namespace
