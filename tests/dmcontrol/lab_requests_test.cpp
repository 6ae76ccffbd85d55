// The lab's own requests: the driver's state and its events.
#include "dmcontrol/driver_fixture.h"

namespace {

using namespace dm_tests;

using Feed = DriverTest;

TEST_F(Feed, ReplacesGroupsByIdAndForgetsThem) {
    ASSERT_EQ(control.set_groups({group(1, 0), group(2, 0)}), done);
    lab_dm_group renamed = group(1, LAB_DM_GROUP_IMPORTED);
    std::strcpy(renamed.guid_text, "another");
    ASSERT_EQ(control.set_groups({renamed}), done);
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("group-1", 0)), not_found);
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("another", 0)), done);
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GONE), group(7, LAB_DM_GONE)}), done);
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("another", 0)), not_found);
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("group-2", 0)), done);
    ASSERT_EQ(control.forget(), done);
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("group-2", 0)), not_found);
}

TEST_F(Feed, RemovesVolumes) {
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_IMPORTED)}), done);
    ASSERT_EQ(control.set_volumes({volume(11, 1, 0)}), done);
    EXPECT_EQ(ask_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record("group-1", 11)), done);
    ASSERT_EQ(control.set_volumes({volume(11, 1, LAB_DM_GONE)}), done);
    EXPECT_EQ(ask_config(DM_CONFIG_GET_VOLUME_STATUS, volume_record("group-1", 11)), not_found);
}

TEST_F(Feed, AcceptsThousandsOfGroups) {
    std::vector<lab_dm_group> groups;
    for (std::uint32_t number = 0; number < 3000; ++number) {
        lab_dm_group each{};
        std::memcpy(each.id, &number, sizeof number);
        std::snprintf(each.guid_text, sizeof each.guid_text, "many-%u", number);
        groups.push_back(each);
    }
    ASSERT_EQ(control.set_groups(groups), done);
    for (const char* name : {"many-0", "many-255", "many-256", "many-2999"}) {
        EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record(name, 0)), done) << name;
    }
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("many-3000", 0)), not_found);
}

TEST_F(Feed, ReturnsMoreEventsThanOneRequestHolds) {
    std::vector<lab_dm_group> groups;
    for (std::uint8_t number = 1; number <= 130; ++number) {
        groups.push_back(group(number, LAB_DM_GROUP_RESERVED));
    }
    ASSERT_EQ(control.set_groups(groups), done);
    for (const lab_dm_group& each : groups) {
        ASSERT_EQ(ask_info(DM_INFO_RELEASE_RESERVATION, group_record(each.guid_text, 1)), done);
    }
    EXPECT_EQ(control.take_events().size(), 130u);
    EXPECT_FALSE(control.has_events());
}

TEST_F(Feed, KeepsChangesThatTheServiceHasNotCollected) {
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_RESERVED)}), done);
    ASSERT_EQ(ask_info(DM_INFO_RELEASE_RESERVATION, group_record("group-1", 1)), done);
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_RESERVED)}), done);
    dm_reservation_request* record = group_record("group-1", 1);
    ASSERT_EQ(ask_info(DM_INFO_GET_RESERVATION, record), done);
    EXPECT_EQ(record->reply, 0);
    EXPECT_EQ(control.take_events().size(), 1u);
    ASSERT_EQ(control.set_groups({group(1, LAB_DM_GROUP_RESERVED)}), done);
    ASSERT_EQ(ask_info(DM_INFO_GET_RESERVATION, record), done);
    EXPECT_EQ(record->reply, 1);
}

TEST_F(Feed, RejectsInvalidRecordsAndSizes) {
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
    lab_dm_group endless = group(2, 0);
    std::memset(endless.guid_text, 'x', sizeof endless.guid_text);
    EXPECT_EQ(control.set_groups({group(1, 0), endless}), invalid_parameter);
    EXPECT_EQ(ask_info(DM_INFO_GET_IMPORTED, group_record("group-1", 0)), not_found);
    lab_dm_volume nameless = volume(1, 1, 0);
    std::memset(nameless.name, 'x', sizeof nameless.name);
    EXPECT_EQ(control.set_volumes({nameless}), invalid_parameter);
}

}  // namespace
