// The lab's own requests: the driver's state and its events.
#include "dmcontrol/driver_fixture.h"

namespace {

using namespace dm_tests;

using LabRequests = DriverTest;

TEST_F(LabRequests, ReplaceGroupsWithSameIdAndRemoveThem) {
    ASSERT_EQ(control.set_groups({group(1, 0), group(2, 0)}), success);
    lab_dm_group renamed = group(1, LAB_DM_GROUP_IMPORTED);
    std::strcpy(renamed.guid_string, "another");
    ASSERT_EQ(control.set_groups({renamed}), success);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("group-1", 0)), not_found);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("another", 0)), success);
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GONE), group(7, LAB_DM_GONE)}), success);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("another", 0)), not_found);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("group-2", 0)), success);
    ASSERT_EQ(control.forget(), success);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("group-2", 0)), not_found);
}

TEST_F(LabRequests, RemoveVolumes) {
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_IMPORTED)}), success);
    ASSERT_EQ(control.set_volumes({volume(11, 1, 0)}), success);
    EXPECT_EQ(request_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record("group-1", 11)), success);
    ASSERT_EQ(control.set_volumes({volume(11, 1, LAB_DM_GONE)}), success);
    EXPECT_EQ(request_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record("group-1", 11)), not_found);
}

TEST_F(LabRequests, AcceptThousandsOfGroups) {
    std::vector<lab_dm_group> groups;
    for (std::uint32_t number = 0; number < 3000; ++number) {
        lab_dm_group many{};
        std::memcpy(many.id, &number, sizeof number);
        std::snprintf(many.guid_string, sizeof many.guid_string, "many-%u", number);
        groups.push_back(many);
    }
    ASSERT_EQ(control.set_groups(groups), success);
    for (const char* name : {"many-0", "many-255", "many-256", "many-2999"}) {
        EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record(name, 0)), success) << name;
    }
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("many-3000", 0)), not_found);
}

TEST_F(LabRequests, ReturnMoreEventsThanOneRequestHolds) {
    std::vector<lab_dm_group> groups;
    for (std::uint8_t number = 1; number <= 130; ++number) {
        groups.push_back(group(number, LAB_DM_GROUP_RESERVED));
    }
    ASSERT_EQ(control.set_groups(groups), success);
    for (const lab_dm_group& reserved : groups) {
        ASSERT_EQ(request_info(DM_INFO_RELEASE_RESERVATION, group_record(reserved.guid_string, 1)),
                  success);
    }
    EXPECT_EQ(control.take_events().size(), 130u);
    EXPECT_FALSE(control.has_events());
}

TEST_F(LabRequests, KeepReleaseUntilItsEventIsTaken) {
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_RESERVED)}), success);
    ASSERT_EQ(request_info(DM_INFO_RELEASE_RESERVATION, group_record("group-1", 1)), success);
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_RESERVED)}), success);
    dm_reservation_request* record = group_record("group-1", 1);
    ASSERT_EQ(request_info(DM_INFO_GET_RESERVATION, record), success);
    EXPECT_EQ(record->reply, 0);
    EXPECT_EQ(control.take_events().size(), 1u);
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_RESERVED)}), success);
    ASSERT_EQ(request_info(DM_INFO_GET_RESERVATION, record), success);
    EXPECT_EQ(record->reply, 1);
}

TEST_F(LabRequests, RejectInvalidRecordsAndSizes) {
    const std::uint32_t codes[] = {LAB_DM_SET_GROUPS, LAB_DM_SET_VOLUMES, LAB_DM_SET_ANSWER};
    std::vector<char> bytes(1000);
    for (const std::uint32_t code : codes) {
        for (const std::size_t size : {0u, 1u, 11u, 119u, 291u, 293u}) {
            EXPECT_EQ(lab::send_request(info.get(), code, bytes.data(), size), invalid_buffer_size)
                << std::hex << code << ", " << size;
        }
        EXPECT_EQ(lab::send_request(config.get(), code, bytes.data(), 292), invalid_device_request);
    }
    EXPECT_EQ(lab::send_request(info.get(), LAB_DM_TAKE_EVENTS, nullptr, 0, bytes.data(), 19),
              invalid_buffer_size);
    lab_dm_group unterminated = group(2, 0);
    std::memset(unterminated.guid_string, 'x', sizeof unterminated.guid_string);
    EXPECT_EQ(control.set_groups({group(1, 0), unterminated}), invalid_parameter);
    EXPECT_EQ(request_info(DM_INFO_GET_IMPORTED, group_record("group-1", 0)), not_found);
    lab_dm_volume unterminated_name = volume(1, 1, 0);
    std::memset(unterminated_name.name, 'x', sizeof unterminated_name.name);
    EXPECT_EQ(control.set_volumes({unterminated_name}), invalid_parameter);
}

}  // namespace
