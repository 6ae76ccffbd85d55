// GetDiskState.
#include "bus_lines.h"
#include "farlo_test.h"

namespace {

using namespace support;

class DiskState : public FarloTest {
  protected:
    DiskState() {
        scenario = R"({"disk_groups": [{"name": "dg1", "dgid": "g", "disks": [
            {"name": "Harddisk1", "device": "DR1", "state": 5},
            {"name": "nameless", "device": "DR2", "state": 6, "without": ["Name"]},
            {"name": "DR4", "id": "named", "device": "DR3", "state": 7},
            {"name": "bare", "device": "DR4", "state": 8, "without": ["ztvmstate"]},
            {"name": "mute", "device": "DR5", "state": 9, "without": ["DEVICE NAME"]},
            {"name": "last", "device": "DR6", "state": 4294967295}]}]})";
    }

    std::uint32_t ask(const wchar_t* disk) {
        return FARLO(GetDiskStateW)(handle, disk, state.as<std::uint32_t>());
    }
    std::uint32_t answer() { return *state.as<std::uint32_t>(); }

    GuardedBuffer state{4};
};

const std::string all_disks =
    "DbGetObjects tamo_ztvm_disk -> 0x0 [@Harddisk1 @nameless @named @bare @mute @last]";
const Lines look_at_first = {all_disks, read("Harddisk1", "Name", "WSTR \"Harddisk1\""),
                             read("Harddisk1", "DEVICE NAME", "WSTR \"DR1\"")};
const Expected entering{6, "Entering GetDiskStateW"};
const Expected exiting{6, "Exiting GetDiskStateW"};

TEST_F(DiskState, FindsADiskByItsName) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"HARDDISK1"), 0u);
        EXPECT_EQ(answer(), 5u);
        expect_calls({all_disks, read("Harddisk1", "Name", "WSTR \"Harddisk1\""),
                      read("Harddisk1", "ztvmstate", "UINT32 5")});
        expect_log({entering, exiting});
    });
}

// A name that cannot be read is passed over, not the disk.
TEST_F(DiskState, FindsADiskByItsDeviceName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDiskStateA)(handle, "dr2", state.as<std::uint32_t>()), 0u);
        EXPECT_EQ(answer(), 6u);
        expect_calls(look_at_first + Lines{"ObGetProperty @nameless \"Name\" -> 0xc100003a",
                                           read("nameless", "DEVICE NAME", "WSTR \"DR2\""),
                                           read("nameless", "ztvmstate", "UINT32 6")});
        expect_log({entering, exiting});
    });
}

// "DR4" is the name of one disk and, behind it, the device name of another.
TEST_F(DiskState, TakesTheFirstDiskThatMatches) {
    once([&] {
        EXPECT_EQ(ask(L"DR4"), 0u);
        EXPECT_EQ(answer(), 7u);
    });
}

TEST_F(DiskState, GoesOnBehindADiskWithoutADeviceName) {
    once([&] {
        EXPECT_EQ(ask(L"DR6"), 0u);
        EXPECT_EQ(answer(), 0xFFFFFFFFu);
    });
}

TEST_F(DiskState, IsZeroWhenItCannotBeRead) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"bare"), 0u);
        EXPECT_EQ(answer(), 0u);
        expect_log({entering, exiting});
    });
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "ztvmstate", "as": "INT32"}])");
        EXPECT_EQ(ask(L"last"), 0u);
        EXPECT_EQ(answer(), 0u);
        expect_log({entering, exiting});
    });
}

TEST_F(DiskState, FailsForAnUnknownDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"Harddisk"), 19u);
        EXPECT_TRUE(state.untouched());
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(DiskState, FailsWhenTheDisksCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
        EXPECT_EQ(ask(L"Harddisk1"), 19u);
        EXPECT_TRUE(state.untouched());
        expect_calls({"DbGetObjects tamo_ztvm_disk -> 0xc1000001"});
        expect_pauses({});
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(DiskState, FailsWithoutMemoryForTheDisks) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(ask(L"Harddisk1"), 19u);
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(DiskState, WantsAConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDiskStateW)(nullptr, L"Harddisk1", state.as<std::uint32_t>()), 100u);
        disconnect();
        EXPECT_EQ(ask(L"Harddisk1"), 20u);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({entering,
                    {0, "GetDiskStateW() failed, NULL opal_conn, error=(0x64) "},
                    entering,
                    {0, "GetDiskStateW() failed, opal_conn not connected, error=(0x14)"}});
    });
}

TEST_F(DiskState, WantsANameAndRoomForTheState) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(nullptr), 19u);
        EXPECT_EQ(FARLO(GetDiskStateW)(handle, L"Harddisk1", nullptr), 19u);
        expect_calls({});
        const Expected refused{
            0, "GetDiskStateW() failed, pwDiskName or pState == NULL, error=(0x13)"};
        expect_log({entering, refused, entering, refused});
    });
}

TEST_F(DiskState, RefusesANarrowNameOfMoreThan31Characters) {
    at_every_threshold([&] {
        const std::string name(32, 'd');
        EXPECT_EQ(FARLO(GetDiskStateA)(handle, name.c_str(), state.as<std::uint32_t>()),
                  0x80070057u);
        expect_log(
            {{0, "GetDiskStateA() failed , disk string of more than 31 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

// The state was delivered: the drop is logged, no more.
TEST_F(DiskState, DeliversTheStateWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "ztvmstate", "drop": true}])");
        EXPECT_EQ(ask(L"Harddisk1"), 0u);
        EXPECT_EQ(answer(), 5u);
        expect_log({entering, {0, "GetDiskStateW() failed, error=(0x14)"}, exiting});
    });
}

TEST_F(DiskState, FailsWhereThereIsNoDisk) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"Harddisk1"), 19u);
        EXPECT_TRUE(state.untouched());
        expect_calls({"DbGetObjects tamo_ztvm_disk -> 0x0 []"});
        expect_pauses({});
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

// A text that is none is passed over: the other one is still compared.
TEST_F(DiskState, PassesOverNamesOfAnotherType) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "Name", "as": "STR"}])");
        EXPECT_EQ(ask(L"DR1"), 0u);
        EXPECT_EQ(answer(), 5u);
        set_faults(R"([{"function": "ObGetProperty", "property": "DEVICE NAME", "as": "STR"}])");
        EXPECT_EQ(ask(L"last"), 0u);
        EXPECT_EQ(answer(), 0xFFFFFFFFu);
    });
}

// No disk found: the connection is not looked at.
TEST_F(DiskState, TellsOfAnUnknownDiskWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "Name", "drop": true}])");
        EXPECT_EQ(ask(L"unknown"), 19u);
        EXPECT_TRUE(state.untouched());
        expect_log(
            {entering, {0, "GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x13)"}});
    });
}

TEST_F(DiskState, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        GuardedBuffer one{4};
        const std::uint32_t status = FARLO(GetDiskStateW)(handle, L"DR2", one.as<std::uint32_t>());
        if (status != 0) {
            EXPECT_EQ(status, 19u);
            EXPECT_TRUE(one.untouched());
        }
        return status;
    });
    EXPECT_THAT(answers, testing::Not(testing::IsEmpty()));
}

}  // namespace
