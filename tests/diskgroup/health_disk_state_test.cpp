// GetDiskState.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

class GetDiskState : public FarloTest {
  protected:
    GetDiskState() {
        scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "g", "disks": [
            {"name": "Harddisk1", "device": "DR1", "state": 5},
            {"name": "nameless", "device": "DR2", "state": 6, "without": ["Name"]},
            {"name": "DR4", "id": "named", "device": "DR3", "state": 7},
            {"name": "bare", "device": "DR4", "state": 8, "without": ["ztvmstate"]},
            {"name": "mute", "device": "DR5", "state": 9, "without": ["DEVICE NAME"]},
            {"name": "last", "device": "DR6", "state": 4294967295}]}]})";
    }

    std::uint32_t get_state(const wchar_t* disk) {
        return FARLO(GetDiskStateW)(handle, disk, state.as<std::uint32_t>());
    }
    std::uint32_t stored_state() { return *state.as<std::uint32_t>(); }

    GuardedBuffer state{4};
};

const std::string all_disks =
    objects(object_type::disk, "@Harddisk1 @nameless @named @bare @mute @last");
const Lines read_first_disk = {all_disks, read("Harddisk1", "Name", wstr("Harddisk1")),
                               read("Harddisk1", "DEVICE NAME", wstr("DR1"))};
const Expected entering{6, "Entering GetDiskStateW"};
const Expected exiting{6, "Exiting GetDiskStateW"};

TEST_F(GetDiskState, FindsDiskByName) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"HARDDISK1"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 5u);
        expect_calls({all_disks, read("Harddisk1", "Name", wstr("Harddisk1")),
                      read("Harddisk1", "ztvmstate", uint32(5))});
        expect_log({entering, exiting});
    });
}

// A disk whose name cannot be read is still compared by its device name.
TEST_F(GetDiskState, FindsDiskByDeviceName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDiskStateA)(handle, "dr2", state.as<std::uint32_t>()), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 6u);
        expect_calls(read_first_disk + Lines{read_failed("nameless", "Name", bus_no_property),
                                             read("nameless", "DEVICE NAME", wstr("DR2")),
                                             read("nameless", "ztvmstate", uint32(6))});
        expect_log({entering, exiting});
    });
}

// "DR4" is the name of one disk and the device name of a later one.
TEST_F(GetDiskState, TakesFirstDiskThatMatches) {
    once([&] {
        EXPECT_EQ(get_state(L"DR4"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 7u);
    });
}

TEST_F(GetDiskState, SkipsDiskWithoutDeviceName) {
    once([&] {
        EXPECT_EQ(get_state(L"DR6"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 0xFFFFFFFFu);
    });
}

TEST_F(GetDiskState, ProvidesZeroWhenStateCannotBeRead) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"bare"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 0u);
        expect_log({entering, exiting});
    });
    at_every_threshold([&] {
        set_faults(fault_plan({with_type(reading("ztvmstate"), "INT32")}));
        EXPECT_EQ(get_state(L"last"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 0u);
        expect_log({entering, exiting});
    });
}

TEST_F(GetDiskState, FailsForUnknownDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"Harddisk"), FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(state.untouched());
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(GetDiskState, FailsWhenDisksCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(get_state(L"Harddisk1"), FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(state.untouched());
        expect_calls({objects_failed(object_type::disk, bus_provider_failed)});
        expect_pauses({});
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(GetDiskState, FailsWithoutMemoryForDisks) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(get_state(L"Harddisk1"), FARLO_MISSING_ARGUMENT);
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(GetDiskState, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDiskStateW)(nullptr, L"Harddisk1", state.as<std::uint32_t>()),
                  FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(get_state(L"Harddisk1"), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({entering,
                    {0, "GetDiskStateW() failed, NULL opal_conn, error=(0x64) "},
                    entering,
                    {0, "GetDiskStateW() failed, opal_conn not connected, error=(0x14)"}});
    });
}

TEST_F(GetDiskState, RejectsNullNameAndNullState) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDiskStateW)(handle, L"Harddisk1", nullptr), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        const Expected refused{
            0, "GetDiskStateW() failed, pwDiskName or pState == NULL, error=(0x13)"};
        expect_log({entering, refused, entering, refused});
    });
}

TEST_F(GetDiskState, RejectsNarrowNameOfMoreThan31Characters) {
    at_every_threshold([&] {
        const std::string name(32, 'd');
        EXPECT_EQ(FARLO(GetDiskStateA)(handle, name.c_str(), state.as<std::uint32_t>()),
                  FARLO_INVALID_ARGUMENT);
        expect_log(
            {{0, "GetDiskStateA() failed , disk string of more than 31 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

// The dropped connection is logged only.
TEST_F(GetDiskState, SucceedsWhenConnectionDropsDuringRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("ztvmstate"))}));
        EXPECT_EQ(get_state(L"Harddisk1"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 5u);
        expect_log({entering, {0, "GetDiskStateW() failed, error=(0x14)"}, exiting});
    });
}

TEST_F(GetDiskState, FailsWhenThereIsNoDisk) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"Harddisk1"), FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(state.untouched());
        expect_calls({objects(object_type::disk, "")});
        expect_pauses({});
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

// A name of another type is skipped; the other name is still compared.
TEST_F(GetDiskState, SkipsNamesOfAnotherType) {
    at_every_threshold([&] {
        set_faults(fault_plan({with_type(reading("Name"), "STR")}));
        EXPECT_EQ(get_state(L"DR1"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 5u);
        set_faults(fault_plan({with_type(reading("DEVICE NAME"), "STR")}));
        EXPECT_EQ(get_state(L"last"), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), 0xFFFFFFFFu);
    });
}

// The connection is not checked after a failed search.
TEST_F(GetDiskState, ReportsUnknownDiskWhenConnectionDropsDuringSearch) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("Name"))}));
        EXPECT_EQ(get_state(L"unknown"), FARLO_MISSING_ARGUMENT);
        EXPECT_TRUE(state.untouched());
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(GetDiskState, SurvivesEveryAllocationFailure) {
    const auto results = statuses_at_every_allocation([&] {
        GuardedBuffer received{4};
        const std::uint32_t status =
            FARLO(GetDiskStateW)(handle, L"DR2", received.as<std::uint32_t>());
        if (status != FARLO_SUCCESS) {
            EXPECT_EQ(status, FARLO_MISSING_ARGUMENT);
            EXPECT_TRUE(received.untouched());
        }
        return status;
    });
    EXPECT_THAT(results, testing::Not(testing::IsEmpty()));
}

}  // namespace
