// The library on a node without the driver. The opening of the devices is not replaced.
#include "dmcontrol/control_device.h"
#include "dmcontrol/driver_fixture.h"
#include "drivers/driver_service.h"
#include "support/farlo_test.h"
#include "support/service_names.h"

#include <winternl.h>

namespace {

using namespace support;

NTSTATUS status_of_opening(const wchar_t* native_name) {
    UNICODE_STRING path{};
    RtlInitUnicodeString(&path, native_name);
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.ObjectName = &path;
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    HANDLE device = nullptr;
    IO_STATUS_BLOCK io_status{};
    const NTSTATUS status =
        NtOpenFile(&device, SYNCHRONIZE | FILE_READ_DATA | FILE_WRITE_DATA, &attributes, &io_status,
                   FILE_SHARE_READ | FILE_SHARE_WRITE, 0);
    if (device != nullptr) {
        CloseHandle(device);
    }
    return status;
}

class NoDriver : public FarloTest {
  protected:
    NoDriver() {
        scenario = R"({"disk_groups": [{"name": "here", "dgid": "guid-1", "imported": true},
                                       {"name": "away", "dgid": "guid-2"}]})";
    }
    void SetUp() override {
        FarloTest::SetUp();
        lab::stop_driver(LAB_DM_DRIVER);
        expect_no_folder();
    }

    static void expect_no_folder() {
        EXPECT_EQ(status_of_opening(DM_INFO_DEVICE), native::object_path_not_found);
        EXPECT_EQ(status_of_opening(DM_CONFIG_DEVICE), native::object_path_not_found);
    }

    // The device is opened in three tries.
    const std::vector<Pause> three_tries{3, Pause{"Sleep", 1000}};
};

TEST_F(NoDriver, ProvidesGroupStateFromService) {
    for (const auto& [guid, wanted] : {std::pair{"guid-1", 1}, {"guid-2", 0}}) {
        at_every_threshold([&, guid = guid, wanted = wanted] {
            std::uint8_t imported = 0xC5;
            EXPECT_EQ(FARLO(GetDgStateW)(handle, L"", guid, &imported), FARLO_SUCCESS);
            EXPECT_EQ(imported, wanted);
            expect_pauses(three_tries);
            expect_log({{4, "Entering GetDgStateW - "},
                        {0, "iostatus, error=(0x1) "},
                        {4, "Exiting GetDgStateW"}});
        });
    }
}

TEST_F(NoDriver, ReportsUnknownReservationAfterThreeTries) {
    once([&] {
        std::uint32_t reservation = 0;
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"", "guid-1", &reservation),
                  FARLO_NOT_FOUND);
        EXPECT_EQ(reservation, FARLO_RESERVATION_UNKNOWN);
        expect_pauses(three_tries);
    });
}

TEST_F(NoDriver, FailsToReleaseAfterThreeTries) {
    once([&] {
        EXPECT_EQ(FARLO(ReleaseDgW)("guid-1"), FARLO_NOT_FOUND);
        expect_pauses(three_tries);
    });
}

// A program that has the device open does not keep the folder.
TEST_F(NoDriver, RemovesFolderWhenDriverStops) {
    lab::start_driver(LAB_DM_DRIVER, dm_tests::driver_file());
    EXPECT_EQ(status_of_opening(DM_INFO_DEVICE), native::success);
    const lab::WindowsHandle open = lab::open_device(DM_INFO_DEVICE);
    ASSERT_TRUE(open != nullptr);
    lab::stop_driver(LAB_DM_DRIVER);
    expect_no_folder();
    lab::start_driver(LAB_DM_DRIVER, dm_tests::driver_file());
    EXPECT_EQ(status_of_opening(DM_INFO_DEVICE), native::success);
    EXPECT_EQ(status_of_opening(DM_CONFIG_DEVICE), native::success);
    lab::stop_driver(LAB_DM_DRIVER);
    expect_no_folder();
}

}  // namespace
