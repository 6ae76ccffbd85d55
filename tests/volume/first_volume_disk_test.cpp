// GetFirstVolumesDiskID.
#include "support/fault_rules.h"
#include "volume/fake_disk.h"

#include <optional>

namespace {

using namespace support;

class GetFirstVolumesDiskID : public FarloTest {
  protected:
    GetFirstVolumesDiskID() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2, "volumes": [
                {"name": "one", "device": "d1", "volume_name": "V1"},
                {"name": "two", "device": "d2", "volume_name": "V2"}]},
            {"name": "empty", "dgid": "guid-2", "type": 2},
            {"name": "shared", "dgid": "guid-8", "type": 8}]})";
    }

    std::uint32_t get_disk_id(const wchar_t* group = L"DG1") {
        return FARLO(GetFirstVolumesDiskIDW)(handle, group, id.as<std::uint32_t>(),
                                             style.as<std::uint32_t>());
    }
    std::uint32_t stored_id() { return *id.as<std::uint32_t>(); }
    std::uint32_t stored_style() { return *style.as<std::uint32_t>(); }

    GuardedBuffer id{4};
    GuardedBuffer style{4};
};

// The function logs its bare name at entry and at exit.
const Expected entering{6, "GetFirstVolumesDiskIDW"};
const Expected exiting = entering;
const Lines find_first_volume{groups("@dg1 @empty @shared"), read_type("dg1", group_type::cluster),
                              read("dg1", "Name", wstr("dg1")),
                              children("dg1", object_type::volume, "@one @two"),
                              read("one", "volumename", wstr("V1"))};
const Lines read_layout{"open V1", "get layout", "close"};

TEST_F(GetFirstVolumesDiskID, ProvidesSignatureOfMbrDisk) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_mbr(0x1234);
        EXPECT_EQ(get_disk_id(), FARLO_SUCCESS);
        EXPECT_EQ(stored_id(), 0x1234u);
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_MBR);
        EXPECT_EQ(disk.requests, read_layout);
        expect_calls(find_first_volume);
        expect_log({entering,
                    entering_layout,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x1234"},
                    exiting_layout,
                    {0, "Exiting GetFirstVolumesDiskIDW 0x1234"},
                    exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, ProvidesOnlyStyleOfGptDisk) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_gpt();
        EXPECT_EQ(get_disk_id(), FARLO_SUCCESS);
        EXPECT_TRUE(id.untouched());
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_GPT);
        expect_log({entering,
                    entering_layout,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x1 Sig=0x0"},
                    exiting_layout,
                    {0, "Exiting GetFirstVolumesDiskIDW 0xc5c5c5c5"},
                    exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, ProvidesOnlyStyleOfRawDisk) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_style(PARTITION_STYLE_RAW);
        EXPECT_EQ(get_disk_id(), FARLO_SUCCESS);
        EXPECT_TRUE(id.untouched());
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_RAW);
        expect_log({entering,
                    entering_layout,
                    {0, "Exiting GetDiskTypeAndSignatureW Type=0x2 Sig=0x0"},
                    exiting_layout,
                    {0, "Exiting GetFirstVolumesDiskIDW 0xc5c5c5c5"},
                    exiting});
    });
}

// One line has the error in decimal, the other one in hexadecimal.
TEST_F(GetFirstVolumesDiskID, LogsSystemErrorInDecimalAndHexadecimal) {
    at_every_threshold([&] {
        const struct {
            std::optional<DWORD> open_error;
            std::optional<DWORD> layout_error;
            DWORD status;
            Expected logged;
            const char* number;
        } rows[] = {{ERROR_SHARING_VIOLATION,
                     {},
                     ERROR_SHARING_VIOLATION,
                     {0, "GetDiskTypeAndSignatureW() CreateFile Failed for V1 error 32"},
                     "0x20"},
                    {{},
                     ERROR_INSUFFICIENT_BUFFER,
                     ERROR_INSUFFICIENT_BUFFER,
                     {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                     "0x7a"}};
        for (const auto& row : rows) {
            SCOPED_TRACE(row.number);
            FakeDisk disk(dll().module());
            disk.open_error = row.open_error;
            disk.layout_error = row.layout_error;
            start_watching();
            EXPECT_EQ(get_disk_id(), row.status);
            EXPECT_TRUE(id.untouched());
            EXPECT_TRUE(style.untouched());
            expect_log(
                {entering,
                 entering_layout,
                 row.logged,
                 exiting_layout,
                 {0, std::string("GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with "
                                 "error = ") +
                         row.number},
                 exiting});
        }
    });
}

TEST_F(GetFirstVolumesDiskID, ReturnsSystemErrorWhenDiskCannotBeOpened) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.open_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(get_disk_id(), DWORD{ERROR_ACCESS_DENIED});
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_log({entering,
                    entering_layout,
                    {0, "GetDiskTypeAndSignatureW() CreateFile Failed for V1 error 5"},
                    exiting_layout,
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with error = 0x5"},
                    exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, ReturnsNotFoundForNullArguments) {
    at_every_threshold([&] {
        std::uint32_t value = 0;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, nullptr, &value, &value), FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, L"dg1", nullptr, &value), FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(nullptr, L"dg1", &value, nullptr), FARLO_NOT_FOUND);
        expect_calls({});
        expect_log({entering, exiting, entering, exiting, entering, exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, RequiresConnectedHandle) {
    at_every_threshold([&] {
        std::uint32_t value = 0;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(nullptr, L"dg1", &value, &value),
                  FARLO_NULL_HANDLE);
        expect_log({entering, {0, "GetFirstVolumesDiskIDW , NULL opal_handle"}, exiting});
        start_watching();
        disconnect();
        EXPECT_EQ(get_disk_id(), FARLO_NOT_CONNECTED);
        expect_log(
            {entering, {0, "GetFirstVolumesDiskIDW failed , opal_handle not connected"}, exiting});
        expect_calls({});
    });
}

TEST_F(GetFirstVolumesDiskID, FailsForUnknownAndClusterSharedGroups) {
    at_every_threshold([&] {
        EXPECT_EQ(get_disk_id(L"none"), FARLO_NOT_FOUND);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found none"},
                    exiting});
        start_watching();
        EXPECT_EQ(get_disk_id(L"shared"), FARLO_EXCLUDED_TYPE);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, ReturnsNotFoundAfterFiveQueriesWithoutGroups) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(get_disk_id(), FARLO_NOT_FOUND);
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_calls({groups(""), groups(""), groups(""), groups(""), groups("")});
        expect_pauses(
            {{"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}});
        const Expected sleeping{6, "GetDgObjIdByName: Sleeping for 5 secs"};
        expect_log({entering,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    {0, "GetDgObjIdByName , Error , vecObjects.size () == 0 , error=(0x1)"},
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found DG1"},
                    exiting});
    });
}

// Reading the disk needs no connection.
TEST_F(GetFirstVolumesDiskID, SucceedsWhenConnectionDropsAfterVolumesNameWasRead) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        disk.set_mbr(0x1234);
        set_faults(fault_plan({dropping(reading("volumename"))}));
        EXPECT_EQ(get_disk_id(), FARLO_SUCCESS);
        EXPECT_EQ(stored_id(), 0x1234u);
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_MBR);
        EXPECT_EQ(disk.requests, read_layout);
        expect_calls(find_first_volume);
    });
}

TEST_F(GetFirstVolumesDiskID, FailsWhenConnectionDropsBeforeVolumesNameIsRead) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        set_faults(fault_plan({dropping(listing(object_type::volume))}));
        EXPECT_EQ(get_disk_id(), FARLO_EXCEPTION);
        EXPECT_EQ(disk.requests, Lines{});
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, FailsCleanlyWhenAnyAllocationFails) {
    const auto run = [&](auto call) {
        const auto results = statuses_at_every_allocation([&] {
            FakeDisk disk(dll().module());
            disk.set_mbr(0x1234);
            std::uint32_t disk_id = untouched_value;
            std::uint32_t disk_style = untouched_value;
            const std::uint32_t status = call(disk_id, disk_style);
            const bool succeeded = status == FARLO_SUCCESS;
            EXPECT_EQ(disk_id, succeeded ? 0x1234 : untouched_value);
            EXPECT_EQ(disk_style, succeeded ? FARLO_PARTITION_STYLE_MBR : untouched_value);
            return status;
        });
        EXPECT_THAT(results, testing::Contains(FARLO_EXCEPTION));
        EXPECT_THAT(results, testing::Contains(FARLO_OUT_OF_MEMORY));
        EXPECT_THAT(results, testing::Each(testing::AnyOf(FARLO_EXCEPTION, FARLO_OUT_OF_MEMORY)));
    };
    run([&](std::uint32_t& disk_id, std::uint32_t& disk_style) {
        return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg1", &disk_id, &disk_style);
    });
    run([&](std::uint32_t& disk_id, std::uint32_t& disk_style) {
        return FARLO(GetFirstVolumesDiskIDA)(handle, "dg1", &disk_id, &disk_style);
    });
}

TEST_F(GetFirstVolumesDiskID, SucceedsWithoutResultForGroupWithoutVolumes) {
    at_every_threshold([&] {
        EXPECT_EQ(get_disk_id(L"empty"), FARLO_SUCCESS);
        EXPECT_TRUE(id.untouched());
        EXPECT_TRUE(style.untouched());
        expect_log({entering,
                    {0, "GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW volumes does not exists "
                        "in DG"},
                    exiting});
    });
}

TEST_F(GetFirstVolumesDiskID, FailsWhenVolumesOrNameCannotBeRead) {
    at_every_threshold([&] {
        FakeDisk disk(dll().module());
        for (const FaultRule& fault : {failing(listing(object_type::volume), bus_unknown_object),
                                       failing(reading("volumename"), bus_no_property)}) {
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(get_disk_id(), FARLO_EXCEPTION);
            expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
        }
        EXPECT_EQ(disk.requests, Lines{});
    });
}

// Other narrow group names have at most 31 characters.
TEST_F(GetFirstVolumesDiskID, NarrowFormAcceptsGroupNamesOfUpTo259Characters) {
    at_every_threshold([&] {
        std::uint32_t value = 0;
        FakeDisk disk(dll().module());
        disk.set_mbr(7);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, "dg1", &value, &value), FARLO_SUCCESS);
        EXPECT_EQ(disk.requests, read_layout);
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, nullptr, &value, &value), FARLO_NOT_FOUND);
        EXPECT_EQ(
            FARLO(GetFirstVolumesDiskIDA)(handle, std::string(259, 'n').c_str(), &value, &value),
            FARLO_NOT_FOUND);
        start_watching();
        EXPECT_EQ(
            FARLO(GetFirstVolumesDiskIDA)(handle, std::string(260, 'n').c_str(), &value, &value),
            FARLO_INVALID_ARGUMENT);
        expect_log(
            {{0, "GetFirstVolumesDiskIDA() failed , name string of more than 259 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
