// The requests of dmcontrol.h, as programs send them.
#include "dmcontrol/driver_fixture.h"

namespace {

using namespace dm_tests;

constexpr std::uint32_t info_codes[] = {DM_INFO_GET_RESERVATION, DM_INFO_RELEASE_RESERVATION,
                                        DM_INFO_GET_IMPORTED};
constexpr std::uint32_t config_codes[] = {DM_CONFIG_GET_VOLUME_STATUS, DM_CONFIG_VOLUME_OFFLINE};
constexpr std::uint32_t imported = LAB_DM_GROUP_IMPORTED;
constexpr std::uint32_t reserved = LAB_DM_GROUP_RESERVED;
constexpr std::uint32_t healthy = LAB_DM_VOLUME_HEALTHY;

using Requests = DriverTest;

TEST(DriverContract, HasControlCodesOfRequests) {
    EXPECT_EQ(DM_INFO_GET_RESERVATION, 0xD903F02Cu);
    EXPECT_EQ(DM_INFO_RELEASE_RESERVATION, 0xD903F034u);
    EXPECT_EQ(DM_INFO_GET_IMPORTED, 0xD903F080u);
    EXPECT_EQ(DM_CONFIG_GET_VOLUME_STATUS, 0xD903F0C8u);
    EXPECT_EQ(DM_CONFIG_VOLUME_OFFLINE, 0xD903F0CCu);
}

TEST_F(Requests, ReturnWhetherGroupIsReserved) {
    ASSERT_EQ(control.set_groups({group(1, reserved), group(2, imported)}), success);
    dm_reservation_request* record = group_record("group-1", 1);
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, record), success);
    EXPECT_EQ(record->reply, 1);
    record = group_record("GROUP-2", 1);
    record->reply = 0xFF;
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, record), success);
    EXPECT_EQ(record->reply, 0);
    EXPECT_STREQ(record->group_guid, "GROUP-2");
    EXPECT_EQ(record->reservation, 1u);
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, group_record("group-3", 1)), not_found);
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, group_record("", 1)), not_found);
}

TEST_F(Requests, ReturnWhetherGroupIsImported) {
    ASSERT_EQ(control.set_groups({group(1, reserved), group(2, imported)}), success);
    dm_reservation_request* record = group_record("group-1", 0);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, record), success);
    EXPECT_EQ(record->reply, 1);
    record = group_record("group-2", 0);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, record), success);
    EXPECT_EQ(record->reply, 0);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("group-3", 0)), not_found);
}

TEST_F(Requests, ReleaseReservation) {
    ASSERT_EQ(control.set_groups({group(1, reserved | imported), group(2, 0)}), success);
    EXPECT_FALSE(control.has_events());
    EXPECT_EQ(request_info(DM_INFO_RELEASE_RESERVATION, group_record("group-1", 1)), success);
    dm_reservation_request* record = group_record("group-1", 1);
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, record), success);
    EXPECT_EQ(record->reply, 0);
    record = group_record("group-1", 0);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, record), success);
    EXPECT_EQ(record->reply, 0) << "the release changed whether the group is imported";
    // Releasing a group that is not reserved succeeds.
    EXPECT_EQ(request_info(DM_INFO_RELEASE_RESERVATION, group_record("group-2", 1)), success);
    EXPECT_EQ(request_info(DM_INFO_RELEASE_RESERVATION, group_record("group-3", 1)), not_found);

    EXPECT_TRUE(control.has_events());
    const std::vector<lab_dm_event> events = control.take_events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].code, DM_INFO_RELEASE_RESERVATION);
    EXPECT_EQ(events[0].id[0], 1);
    EXPECT_FALSE(control.has_events());
    EXPECT_TRUE(control.take_events().empty());
}

TEST_F(Requests, ReturnWhetherVolumeIsHealthy) {
    ASSERT_EQ(control.set_groups({group(1, imported), group(2, 0)}), success);
    ASSERT_EQ(
        control.set_volumes({volume(11, 1, healthy), volume(12, 1, 0), volume(21, 2, healthy)}),
        success);
    const auto status = [&](const char* group_guid, std::uint8_t guid) {
        return request_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record(group_guid, guid));
    };
    EXPECT_EQ(status("group-1", 11), unsuccessful);
    EXPECT_EQ(status("Group-1", 11), unsuccessful);
    EXPECT_EQ(status("group-1", 12), success);
    EXPECT_EQ(status("group-2", 21), no_such_device);  // not imported
    EXPECT_EQ(status("group-2", 11), not_found);       // in another group
    EXPECT_EQ(status("group-1", 13), not_found);
    EXPECT_EQ(status("group-3", 11), not_found);
}

TEST_F(Requests, TakeVolumeOffline) {
    ASSERT_EQ(control.set_groups({group(1, imported), group(2, imported)}), success);
    ASSERT_EQ(control.set_volumes({volume(11, 1, healthy), volume(12, 1, healthy)}), success);
    EXPECT_EQ(request_config(DM_CONFIG_VOLUME_OFFLINE, volume_record("VOLUME-11", 1)), success);
    EXPECT_EQ(request_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record("group-1", 11)), success);
    EXPECT_EQ(request_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record("group-1", 12)),
              unsuccessful);
    EXPECT_EQ(request_config(DM_CONFIG_VOLUME_OFFLINE, volume_record("volume-12", 2)), not_found);
    EXPECT_EQ(request_config(DM_CONFIG_VOLUME_OFFLINE, volume_record("volume-12", 3)), not_found);
    EXPECT_EQ(request_config(DM_CONFIG_VOLUME_OFFLINE, volume_record("volume-13", 1)), not_found);

    EXPECT_TRUE(control.has_events());
    const std::vector<lab_dm_event> events = control.take_events();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].code, DM_CONFIG_VOLUME_OFFLINE);
    EXPECT_EQ(events[0].id[0], 11);
}

TEST_F(Requests, RejectShortBuffers) {
    ASSERT_EQ(control.set_groups({group(1, imported)}), success);
    const auto expect_rejected = [&](HANDLE device, std::uint32_t code, const void* record) {
        for (const std::size_t size : {0u, 1u, 8u, 15u}) {
            dm_control_block block{reinterpret_cast<std::uintptr_t>(record), 0};
            EXPECT_EQ(lab::send_request(device, code, &block, size, &block, sizeof block),
                      buffer_too_small)
                << std::hex << code << ", input " << size;
            EXPECT_EQ(lab::send_request(device, code, &block, sizeof block, &block, size),
                      buffer_too_small)
                << std::hex << code << ", output " << size;
        }
        EXPECT_EQ(lab::send_request(device, code, nullptr, 0, nullptr, 0), buffer_too_small);
    };
    for (const std::uint32_t code : info_codes) {
        expect_rejected(info.get(), code,
                        group_record("group-1", code == DM_INFO_GET_IMPORTED ? 0 : 1));
    }
    for (const std::uint32_t code : config_codes) {
        expect_rejected(config.get(), code, volume_record("group-1", 1));
    }
}

TEST_F(Requests, RejectBadAddresses) {
    ASSERT_EQ(control.set_groups({group(1, imported | reserved)}), success);
    SYSTEM_INFO system;
    GetSystemInfo(&system);
    auto* pages = static_cast<char*>(
        VirtualAlloc(nullptr, 2 * system.dwPageSize, MEM_RESERVE, PAGE_NOACCESS));
    ASSERT_NE(VirtualAlloc(pages, system.dwPageSize, MEM_COMMIT, PAGE_READWRITE), nullptr);
    // The last record starts on the first page and extends beyond it.
    const void* const addresses[] = {nullptr,
                                     reinterpret_cast<void*>(1),
                                     reinterpret_cast<void*>(~std::uintptr_t{0}),
                                     reinterpret_cast<void*>(0x8000000000000000u),
                                     reinterpret_cast<void*>(0x00007FFFFFFFFFF0u),
                                     pages + system.dwPageSize,
                                     pages + system.dwPageSize - 83};
    for (const void* address : addresses) {
        for (const std::uint32_t code : info_codes) {
            EXPECT_EQ(request_info(code, address), invalid_parameter) << address;
        }
        for (const std::uint32_t code : config_codes) {
            EXPECT_EQ(request_config(code, address), invalid_parameter) << address;
        }
    }
    // A page that can be read but not written.
    auto* record = reinterpret_cast<dm_reservation_request*>(pages);
    *record = *group_record("group-1", 1);
    DWORD before = 0;
    ASSERT_TRUE(VirtualProtect(pages, system.dwPageSize, PAGE_READONLY, &before));
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, record), invalid_parameter);
    ASSERT_TRUE(VirtualProtect(pages, system.dwPageSize, PAGE_READWRITE, &before));
    EXPECT_EQ(request_info(DM_INFO_GET_RESERVATION, record), success);
    EXPECT_EQ(record->reply, 1);
    VirtualFree(pages, 0, MEM_RELEASE);
}

TEST_F(Requests, RejectInvalidRecords) {
    ASSERT_EQ(control.set_groups({group(1, imported | reserved)}), success);
    ASSERT_EQ(control.set_volumes({volume(11, 1, healthy)}), success);
    for (const std::uint32_t code : info_codes) {
        SCOPED_TRACE(code);
        const std::uint32_t reservation = code == DM_INFO_GET_IMPORTED ? 0 : 1;
        EXPECT_EQ(request_info(code, group_record("group-1", reservation ^ 1)), invalid_parameter);
        dm_reservation_request* record = group_record("group-1", reservation);
        record->group_guid[255] = 1;  // not zero after the terminator
        EXPECT_EQ(request_info(code, record), invalid_parameter);
        std::memset(record->group_guid, 'a', sizeof record->group_guid);
        EXPECT_EQ(request_info(code, record), invalid_parameter);
        record = group_record("group-1", reservation);
        record->zero1[10] = 1;
        EXPECT_EQ(request_info(code, record), invalid_parameter);
        record = group_record("group-1", reservation);
        record->zero2[35] = 1;
        EXPECT_EQ(request_info(code, record), invalid_parameter);
        EXPECT_EQ(request_info(code, group_record("group-1", reservation)), success);
    }
    for (const std::uint32_t code : config_codes) {
        SCOPED_TRACE(code);
        const char* name = code == DM_CONFIG_GET_VOLUME_STATUS ? "group-1" : "volume-11";
        dm_volume_request* record = volume_record(name, 1);
        record->zero[0] = 1;
        EXPECT_EQ(request_config(code, record), invalid_parameter);
        std::memset(record, 'a', sizeof record->name);
        EXPECT_EQ(request_config(code, record), invalid_parameter);
    }
    dm_control_block block{reinterpret_cast<std::uintptr_t>(group_record("group-1", 1)), 1};
    EXPECT_EQ(lab::send_request(info.get(), DM_INFO_GET_RESERVATION, &block, sizeof block, &block,
                                sizeof block),
              invalid_parameter);
}

TEST_F(Requests, FailOnOtherDeviceAndForUnknownCodes) {
    ASSERT_EQ(control.set_groups({group(1, imported)}), success);
    for (const std::uint32_t code : info_codes) {
        EXPECT_EQ(request_config(code, group_record("group-1", 1)), invalid_device_request);
    }
    for (const std::uint32_t code : config_codes) {
        EXPECT_EQ(request_info(code, volume_record("group-1", 1)), invalid_device_request);
    }
    for (const std::uint32_t code : {0u, 0xD903F000u, 0xD903F0D0u}) {
        EXPECT_EQ(request_info(code, group_record("group-1", 1)), invalid_device_request);
        EXPECT_EQ(request_config(code, volume_record("group-1", 1)), invalid_device_request);
    }
}

TEST_F(Requests, ReturnPlannedStatus) {
    ASSERT_EQ(control.set_groups({group(1, imported | reserved)}), success);
    ASSERT_EQ(control.set_volumes({volume(11, 1, healthy)}), success);
    for (const std::uint32_t status :
         {sharing_violation, not_found, unsuccessful, no_such_device, invalid_parameter,
          insufficient_resources, buffer_overflow}) {
        for (const std::uint32_t code : info_codes) {
            const std::uint32_t reservation = code == DM_INFO_GET_IMPORTED ? 0 : 1;
            ASSERT_EQ(control.set_answer(code, status, 2), success);
            EXPECT_EQ(request_info(code, group_record("group-1", reservation)), status);
            EXPECT_EQ(request_info(code, nullptr), status);
            EXPECT_EQ(request_info(code, group_record("group-1", reservation)), success);
        }
        for (const std::uint32_t code : config_codes) {
            ASSERT_EQ(control.set_answer(code, status, 0xFFFFFFFF), success);
            EXPECT_EQ(request_config(code, volume_record("group-1", 11)), status);
            EXPECT_EQ(request_config(code, nullptr), status);
            ASSERT_EQ(control.set_answer(code, status, 0), success);
            EXPECT_EQ(request_config(code, nullptr), invalid_parameter);
        }
    }
    // A request with a planned status has no effect.
    ASSERT_EQ(control.set_groups({group(1, reserved)}), success);
    control.take_events();
    ASSERT_EQ(control.set_groups({group(1, reserved)}), success);
    ASSERT_EQ(control.set_answer(DM_INFO_RELEASE_RESERVATION, success, 1), success);
    EXPECT_EQ(request_info(DM_INFO_RELEASE_RESERVATION, group_record("group-1", 1)), success);
    EXPECT_FALSE(control.has_events());
    EXPECT_EQ(control.set_answer(0xD903F000, success, 1), invalid_parameter);
}

}  // namespace
