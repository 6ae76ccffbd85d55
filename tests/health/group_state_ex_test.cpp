// GetDgStateExW.
#include "bus_lines.h"
#include "farlo_test.h"

namespace {

using namespace support;

class GroupStateEx : public FarloTest {
  protected:
    GroupStateEx() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8},
            {"name": "typed", "dgid": "guid-9",
             "properties": {"imported": {"type": "UINT32", "value": 1}}}]})";
    }

    std::uint32_t ask(const wchar_t* name, const char* guid) {
        return FARLO(GetDgStateExW)(handle, name, guid, state.data());
    }

    GuardedBuffer state{1};
};

const std::string all_groups = "DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @shared @typed]";

TEST_F(GroupStateEx, ReadsTheGroupsOwnWordByGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"another", "GUID-1"), 0u);
        EXPECT_EQ(*state.data(), 1);
        expect_calls({all_groups, read("local", "LDM DG TYPE", "UINT32 1"),
                      read("local", "dgid", "STR \"guid-1\""),
                      read("local", "imported", "BOOLEAN true")});
        expect_log({{4, "Entering GetDgStatExeW - another"}, {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GroupStateEx, ReadsTheGroupsOwnWordByName) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"shared", nullptr), 0u);
        EXPECT_EQ(*state.data(), 0);
        expect_calls({all_groups, read("local", "LDM DG TYPE", "UINT32 1"),
                      read("local", "Name", "WSTR \"local\""),
                      read("shared", "LDM DG TYPE", "UINT32 8"),
                      read("shared", "Name", "WSTR \"shared\""),
                      read("shared", "imported", "BOOLEAN false")});
        expect_log({{4, "Entering GetDgStatExeW - shared"}, {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GroupStateEx, WantsAConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgStateExW)(nullptr, L"local", nullptr, state.data()), 100u);
        disconnect();
        EXPECT_EQ(ask(L"local", nullptr), 20u);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({{4, "Entering GetDgStatExeW - local"},
                    {0, "GetDgStateExW() failed , opal_handle==NULL, error=(0x64)"},
                    {4, "Entering GetDgStatExeW - local"},
                    {0, "GetDgStateExW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GroupStateEx, WantsRoomForTheState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgStateExW)(handle, L"local", nullptr, nullptr), 19u);
        expect_calls({});
        expect_log({{4, "Entering GetDgStatExeW - local"},
                    {0, "GetDgStateExW() failed , pState == NULL, error=(0x13) "}});
    });
}

// Without an exit line.
TEST_F(GroupStateEx, EndsAtAFailedLookup) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"", nullptr), 19u);
        EXPECT_EQ(ask(nullptr, "nowhere"), 1u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStatExeW - "},
                    {0, "GetDgStateExW():GetDgObjId() failed, error=(0x13) "},
                    {4, "Entering GetDgStatExeW - (null)"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgStateExW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GroupStateEx, FailsWhenTheWordIsOfAnotherType) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(nullptr, "guid-9"), 18u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStatExeW - (null)"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateExW() failed, error=(0x12) "},
                    {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GroupStateEx, IsNotConnectedWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "imported", "drop": true}])");
        EXPECT_EQ(ask(nullptr, "guid-8"), 20u);
        EXPECT_EQ(*state.data(), 0);
        expect_log({{4, "Entering GetDgStatExeW - (null)"},
                    {0, "GetDgStateExW() failed, error=(0x14) "},
                    {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GroupStateEx, IsNotConnectedWhenAFailedReadDropsTheConnection) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "imported", "nothing": true,
                        "drop": true}])");
        EXPECT_EQ(ask(nullptr, "guid-8"), 20u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStatExeW - (null)"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateExW() failed, error=(0x14) "},
                    {4, "Exiting GetDgStateExW"}});
    });
}

// A failed search is told as it is: the connection is looked at behind it only.
TEST_F(GroupStateEx, TellsAFailedLookupWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "dgid", "drop": true}])");
        EXPECT_EQ(ask(nullptr, "nowhere"), 1u);
        EXPECT_TRUE(state.untouched());
    });
}

TEST_F(GroupStateEx, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        GuardedBuffer one{1};
        const std::uint32_t status = FARLO(GetDgStateExW)(handle, L"local", nullptr, one.data());
        if (status == 0) {
            EXPECT_EQ(*one.data(), 1);
        } else {
            EXPECT_TRUE(one.untouched());
        }
        return status;
    });
    EXPECT_THAT(answers, testing::Not(testing::IsEmpty()));
    EXPECT_THAT(answers, testing::Each(testing::Ne(0u)));
}

}  // namespace
