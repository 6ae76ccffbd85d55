// The driver fed by its service process, queried through the library.
#include "dmcontrol/control_device.h"
#include "drivers/driver_service.h"
#include "service/service_fixture.h"
#include "support/farlo_dll.h"
#include "support/service_names.h"

namespace {

using namespace support;

constexpr char group_guid[] = "d0000000-0000-0000-0000-00000000000a";
constexpr std::uint8_t volume_guid[16] = {0x01, 0x00, 0x00, 0xd1, 0x00, 0x00, 0x00, 0x00,
                                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0b};
constexpr std::uint8_t binary_group_guid[16] = {0x00, 0x00, 0x00, 0xd0, 0x00, 0x00, 0x00, 0x00,
                                                0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0a};
constexpr char scenario[] = R"({"node": {"name": "here"}, "disk_groups": [
    {"name": "dg", "dgid": "d0000000-0000-0000-0000-00000000000a", "volumes": [
        {"name": "vol", "device": "\\Device\\V", "guid": "d1000001-0000-0000-0000-00000000000b"}]},
    {"name": "other", "dgid": "other", "imported": true,
     "reservation": {"owner": "here", "key": 1}},
    {"name": "late", "dgid": "late", "hidden": true}]})";

class FedDriver : public ServiceTest {
  protected:
    void SetUp() override {
        lab::stop_driver(LAB_DM_DRIVER);
        start(scenario, "[]", 0, L" --driver");
        farlo = std::make_unique<FarloDll>();
        ASSERT_EQ(CALL(*farlo, InitializeClusterW)(&handle), FARLO_SUCCESS);
    }
    void TearDown() override {
        EXPECT_EQ(CALL(*farlo, UnInitializeClusterW)(handle), FARLO_SUCCESS);
        farlo.reset();
        ServiceTest::TearDown();
        service.reset();
        lab::stop_driver(LAB_DM_DRIVER);
    }

    // Values that the library provides. The calls of the first two must succeed.
    int state(const char* guid) {
        std::uint8_t imported = 0xC5;
        EXPECT_EQ(CALL(*farlo, GetDgStateW)(handle, L"", guid, &imported), FARLO_SUCCESS);
        return imported;
    }
    std::uint32_t reservation(const char* guid) {
        std::uint32_t status = 0xC5C5C5C5;
        EXPECT_EQ(CALL(*farlo, GetDgReservationStatusW)(handle, L"", guid, &status), FARLO_SUCCESS);
        return status;
    }
    std::uint32_t volume_status() {
        std::uint32_t status = 0;
        CALL(*farlo, GetDgVolumeStatusW)(handle, group_guid, volume_guid, &status);
        return status;
    }

    std::unique_ptr<FarloDll> farlo;
    opal_handle handle = nullptr;
};

TEST_F(FedDriver, ReportsImports) {
    EXPECT_EQ(state(group_guid), 0);
    EXPECT_EQ(state("other"), 1);
    ASSERT_EQ(CALL(*farlo, ImportDgW)(handle, L"dg", group_guid, nullptr, 0), FARLO_SUCCESS);
    EXPECT_EQ(state(group_guid), 1);
    ASSERT_EQ(CALL(*farlo, DeportDgW)(handle, L"dg", group_guid), FARLO_SUCCESS);
    EXPECT_EQ(state(group_guid), 0);
}

TEST_F(FedDriver, ReportsAndReleasesReservations) {
    EXPECT_EQ(reservation(group_guid), FARLO_RESERVATION_NOT_HELD);
    EXPECT_EQ(reservation("other"), FARLO_RESERVATION_HELD);
    ASSERT_EQ(CALL(*farlo, ArbitrateDgW)(handle, L"dg", group_guid), FARLO_SUCCESS);
    EXPECT_EQ(reservation(group_guid), FARLO_RESERVATION_HELD);
    ASSERT_EQ(CALL(*farlo, StopDgReservationW)(handle, L"dg", group_guid), FARLO_SUCCESS);
    EXPECT_EQ(reservation(group_guid), FARLO_RESERVATION_NOT_HELD);
    // The driver reports a release to the service.
    ASSERT_EQ(CALL(*farlo, ArbitrateDgW)(handle, L"dg", group_guid), FARLO_SUCCESS);
    ASSERT_EQ(CALL(*farlo, ReleaseDgW)(group_guid), FARLO_SUCCESS);
    EXPECT_EQ(reservation(group_guid), FARLO_RESERVATION_NOT_HELD);
    EXPECT_EQ(CALL(*farlo, StopDgReservationW)(handle, L"dg", group_guid), service_not_reserved);
    EXPECT_EQ(reservation("other"), FARLO_RESERVATION_HELD);
}

TEST_F(FedDriver, ReportsVolumes) {
    EXPECT_EQ(volume_status(), FARLO_VOLUME_STATUS_OTHER);
    ASSERT_EQ(CALL(*farlo, ImportDgW)(handle, L"dg", group_guid, nullptr, 0), FARLO_SUCCESS);
    EXPECT_EQ(volume_status(), FARLO_VOLUME_STATUS_HEALTHY);
    // The request that the library sends after dismounting a volume.
    dm_volume_request record{};
    std::strcpy(record.name, "vol");
    std::memcpy(record.guid, binary_group_guid, sizeof record.guid);
    dm_control_block block{reinterpret_cast<std::uintptr_t>(&record), 0};
    const lab::WindowsHandle config = lab::open_device(DM_CONFIG_DEVICE);
    ASSERT_EQ(lab::send_request(config.get(), DM_CONFIG_VOLUME_OFFLINE, &block, sizeof block,
                                &block, sizeof block),
              native_bits(native::success));
    EXPECT_EQ(volume_status(), FARLO_VOLUME_STATUS_OTHER);
    std::uint32_t state = 0;
    ASSERT_EQ(CALL(*farlo, GetDgVolumeStateW)(handle, L"dg", group_guid, L"\\Device\\V", &state),
              FARLO_SUCCESS);
    EXPECT_EQ(state, volume_state::offline);
}

TEST_F(FedDriver, LearnsOfHiddenGroupsAtRescan) {
    lab::ControlDevice control;
    dm_reservation_request record{};
    std::strcpy(record.group_guid, "late");
    dm_control_block block{reinterpret_cast<std::uintptr_t>(&record), 0};
    const lab::WindowsHandle info = lab::open_device(DM_INFO_DEVICE);
    const auto request_imported = [&] {
        return lab::send_request(info.get(), DM_INFO_GET_IMPORTED, &block, sizeof block, &block,
                                 sizeof block);
    };
    EXPECT_EQ(request_imported(), native_bits(native::object_name_not_found));
    ASSERT_EQ(call_service_method(handle, ZTMETHOD_MISCOP_PNP_RESCAN), bus_success);
    EXPECT_EQ(request_imported(), native_bits(native::success));
    EXPECT_EQ(record.reply, 1);
}

TEST_F(FedDriver, ReturnsPlannedStatuses) {
    lab::ControlDevice control;
    ASSERT_EQ(control.set_answer(DM_INFO_GET_IMPORTED, native_bits(native::sharing_violation), 1),
              native_bits(native::success));
    std::uint8_t imported = 0xC5;
    EXPECT_EQ(CALL(*farlo, GetDgStateW)(handle, L"", group_guid, &imported),
              FARLO_DEVICE_SHARING_VIOLATION);
    EXPECT_EQ(imported, 0xC5);
    ASSERT_EQ(control.set_answer(DM_INFO_GET_IMPORTED, native_bits(native::unsuccessful), 1),
              native_bits(native::success));
    EXPECT_EQ(CALL(*farlo, GetDgStateW)(handle, L"", group_guid, &imported), FARLO_DEVICE_FAILED);
    // If the driver does not know a group, the library queries the service.
    ASSERT_EQ(
        control.set_answer(DM_INFO_GET_IMPORTED, native_bits(native::object_name_not_found), 1),
        native_bits(native::success));
    EXPECT_EQ(CALL(*farlo, GetDgStateW)(handle, L"", "other", &imported), FARLO_SUCCESS);
    EXPECT_EQ(imported, 1);
}

}  // namespace
