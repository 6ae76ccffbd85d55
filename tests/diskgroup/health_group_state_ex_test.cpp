// GetDgStateExW.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

class GetDgStateEx : public FarloTest {
  protected:
    GetDgStateEx() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8},
            {"name": "typed", "dgid": "guid-9",
             "properties": {"imported": {"type": "UINT32", "value": 1}}}]})";
    }

    std::uint32_t get_state(const wchar_t* name, const char* guid) {
        return FARLO(GetDgStateExW)(handle, name, guid, state.data());
    }

    GuardedBuffer state{1};
};

const std::string all_groups = groups("@local @shared @typed");

TEST_F(GetDgStateEx, ReadsImportedPropertyOfGroupByGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"another", "GUID-1"), FARLO_SUCCESS);
        EXPECT_EQ(*state.data(), 1);
        expect_calls({all_groups, read_type("local", group_type::local),
                      read("local", "dgid", str("guid-1")),
                      read("local", "imported", boolean(true))});
        expect_log({{4, "Entering GetDgStatExeW - another"}, {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GetDgStateEx, ReadsImportedPropertyOfGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"shared", nullptr), FARLO_SUCCESS);
        EXPECT_EQ(*state.data(), 0);
        expect_calls(
            {all_groups, read_type("local", group_type::local),
             read("local", "Name", wstr("local")), read_type("shared", group_type::cluster_shared),
             read("shared", "Name", wstr("shared")), read("shared", "imported", boolean(false))});
        expect_log({{4, "Entering GetDgStatExeW - shared"}, {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GetDgStateEx, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgStateExW)(nullptr, L"local", nullptr, state.data()),
                  FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(get_state(L"local", nullptr), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({{4, "Entering GetDgStatExeW - local"},
                    {0, "GetDgStateExW() failed , opal_handle==NULL, error=(0x64)"},
                    {4, "Entering GetDgStatExeW - local"},
                    {0, "GetDgStateExW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(GetDgStateEx, RejectsNullState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgStateExW)(handle, L"local", nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{4, "Entering GetDgStatExeW - local"},
                    {0, "GetDgStateExW() failed , pState == NULL, error=(0x13) "}});
    });
}

// No exit line is logged.
TEST_F(GetDgStateEx, ReturnsStatusOfFailedSearch) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"", nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(get_state(nullptr, "nowhere"), FARLO_NOT_FOUND);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStatExeW - "},
                    {0, "GetDgStateExW():GetDgObjId() failed, error=(0x13) "},
                    {4, "Entering GetDgStatExeW - (null)"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgStateExW():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(GetDgStateEx, FailsWhenPropertyHasAnotherType) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(nullptr, "guid-9"), FARLO_EXCEPTION);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStatExeW - (null)"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateExW() failed, error=(0x12) "},
                    {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GetDgStateEx, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("imported"))}));
        EXPECT_EQ(get_state(nullptr, "guid-8"), FARLO_NOT_CONNECTED);
        EXPECT_EQ(*state.data(), 0);
        expect_log({{4, "Entering GetDgStatExeW - (null)"},
                    {0, "GetDgStateExW() failed, error=(0x14) "},
                    {4, "Exiting GetDgStateExW"}});
    });
}

TEST_F(GetDgStateEx, ReturnsNotConnectedWhenConnectionDropsDuringFailedRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "ObGetProperty",
                                .property = "imported",
                                .succeeds_empty = true,
                                .drops = true}}));
        EXPECT_EQ(get_state(nullptr, "guid-8"), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgStatExeW - (null)"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgStateExW() failed, error=(0x14) "},
                    {4, "Exiting GetDgStateExW"}});
    });
}

// The connection is checked only after a successful search.
TEST_F(GetDgStateEx, ReturnsNotFoundWhenConnectionDropsDuringFailedSearch) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("dgid"))}));
        EXPECT_EQ(get_state(nullptr, "nowhere"), FARLO_NOT_FOUND);
        EXPECT_TRUE(state.untouched());
    });
}

TEST_F(GetDgStateEx, FailsCleanlyWhenAnyAllocationFails) {
    const auto results = statuses_at_every_allocation([&] {
        GuardedBuffer received{1};
        const std::uint32_t status =
            FARLO(GetDgStateExW)(handle, L"local", nullptr, received.data());
        if (status == FARLO_SUCCESS) {
            EXPECT_EQ(*received.data(), 1);
        } else {
            EXPECT_TRUE(received.untouched());
        }
        return status;
    });
    EXPECT_THAT(results, testing::Not(testing::IsEmpty()));
    EXPECT_THAT(results, testing::Each(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
