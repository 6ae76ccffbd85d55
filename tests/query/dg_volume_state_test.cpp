// GetDgVolumeState.
#include "query/record_fixture.h"

namespace {

using namespace records;

class GetDgVolumeState : public RecordTest {
  protected:
    GetDgVolumeState() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "v1", "device": "\\Device\\v1", "state": 3},
                {"name": "v2", "device": "\\Device\\v2", "state": 2147483652}]},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
    }

    std::uint32_t get_state(const wchar_t* device) {
        return FARLO(GetDgVolumeStateW)(handle, L"dg", nullptr, device, state.as<std::uint32_t>());
    }

    GuardedBuffer state{4};
};

const Expected entering{6, "Entering GetDgVolumeStateW"};
const Expected exiting{6, "Exiting GetDgVolumeStateW"};

TEST_F(GetDgVolumeState, ProvidesStateOfService) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L"\\device\\V2"), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0x80000004u);
        expect_calls({groups("@dg @local"), read_type("dg", group_type::cluster),
                      read("dg", "Name", wstr("dg")),
                      children("dg", object_type::volume, "@v1 @v2"),
                      read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                      read("v2", "ztvmstate", uint32(0x80000004))});
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgVolumeState, ProvidesZeroWhenStateCannotBeRead) {
    at_every_threshold([&] {
        set_faults({failing(reading("ztvmstate"), bus_no_property)});
        EXPECT_EQ(get_state(L"\\Device\\v2"), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0u);
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgVolumeState, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        auto* const out = state.as<std::uint32_t>();
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(nullptr, nullptr, nullptr, nullptr, nullptr),
                  FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, nullptr, L"v", nullptr),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, nullptr, nullptr, out),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, nullptr, L"v", out),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, "", L"v", out), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        const Expected no_pointer{
            0, "GetDgVolumeStateW() failed , pVolumeState = pwVolumeName == NULL, error=(0x13) "};
        expect_log(
            {entering,
             {0, "GetDgVolumeStateW() failed , NULL opal_handle, error=(0x64)"},
             entering,
             no_pointer,
             entering,
             no_pointer,
             entering,
             {0, "GetDgVolumeStateW() failed , pwDgName OR pDgGuid == NULL , error=(0x13)"},
             entering,
             {0, "GetDgVolumeStateW() failed , opal_handle is not connected, error=(0x14)"}});
    });
}

TEST_F(GetDgVolumeState, ReturnsStatusOfFailedSearch) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgVolumeStateW)(handle, L"local", nullptr, L"v", state.as<std::uint32_t>()),
            FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, L"", nullptr, L"v", state.as<std::uint32_t>()),
                  FARLO_MISSING_ARGUMENT);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x1)"},
                    entering,
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x13)"}});
    });
}

TEST_F(GetDgVolumeState, ReturnsVolumeNotFoundForUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(get_state(L""), FARLO_VOLUME_NOT_FOUND);
        EXPECT_TRUE(state.untouched());
        expect_log({entering, {0, "GetDgVolumeStateW() failed, error=(0x63)"}, exiting});
    });
}

TEST_F(GetDgVolumeState, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& calls : {FaultRule{.function = "ObGetChildObjects"},
                                       FaultRule{.function = "ObGetProperty", .object = "v1"}}) {
            set_faults({failing(calls)});
            start_watching();
            *state.as<std::uint32_t>() = 77;
            EXPECT_EQ(get_state(L"\\Device\\v2"), FARLO_EXCEPTION);
            EXPECT_EQ(*state.as<std::uint32_t>(), 77u);
            expect_log(
                {entering, caught, {0, "GetDgVolumeStateW() failed, error=(0x12)"}, exiting});
        }
    });
}

// Without the drop, the result would be a state, a state that cannot be read, an unknown volume, or
// an exception.
TEST_F(GetDgVolumeState, ReturnsNotConnectedWhenConnectionDrops) {
    struct Drop {
        FaultRule during;
        const wchar_t* device;
        std::optional<std::uint32_t> stored;
        Log log;
    };
    const Drop drops[] = {{reading("v2", "ztvmstate"), L"\\Device\\v2", 0x80000004, {}},
                          {reading("v2", "DEVICE NAME"), L"\\Device\\v2", 0, {}},
                          {reading("v2", "DEVICE NAME"), L"\\Device\\v3", {}, {}},
                          {listing(object_type::volume), L"\\Device\\v2", {}, {caught}}};
    for (const Drop& drop : drops) {
        SCOPED_TRACE(fault_plan({drop.during}));
        at_every_threshold([&] {
            set_faults({dropping(drop.during)});
            state.fill(0x77);
            EXPECT_EQ(get_state(drop.device), FARLO_NOT_CONNECTED);
            EXPECT_EQ(*state.as<std::uint32_t>(), drop.stored.value_or(0x77777777));
            expect_log(Log{entering} + drop.log +
                       Log{{0, "GetDgVolumeStateW() failed, error=(0x14)"}, exiting});
        });
    }
}

// The connection is checked again only where the call reaches its exit line.
TEST_F(GetDgVolumeState, ReturnsNotFoundWhenConnectionDropsDuringSearch) {
    at_every_threshold([&] {
        set_faults({dropping(reading("dg", "LDM DG TYPE"))});
        EXPECT_EQ(get_state(L"\\Device\\v2"), FARLO_NOT_FOUND);
        EXPECT_TRUE(state.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x1)"}});
    });
}

TEST_F(GetDgVolumeState, SurvivesEveryAllocationFailure) {
    Image wanted(4);
    wanted.number<std::uint32_t>(0, 0x80000004);
    expect_survives_allocation_failures(wanted, [&](GuardedBuffer& stored) {
        return FARLO(GetDgVolumeStateW)(handle, nullptr, "guid-1", L"\\Device\\v2",
                                        stored.as<std::uint32_t>());
    });
}

// group_type::cluster_shared counts as a cluster group by GUID, but not by name.
TEST_F(GetDgVolumeState, FindsClusterSharedGroupByGuidOnly) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    at_every_threshold([&] {
        state.fill(0x77);
        EXPECT_EQ(get_state(L"\\Device\\v1"), FARLO_NOT_FOUND);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0x77777777u);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, L"dg", "guid-1", L"\\Device\\v1",
                                           state.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 3u);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x1)"},
                    entering,
                    exiting});
    });
}

TEST_F(GetDgVolumeState, TakesFirstVolumeOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "other", "state": 7},
        {"name": "v2", "device": "TWIN", "state": 8},
        {"name": "v3", "device": "twin", "state": 9}]}]})";
    once([&] {
        EXPECT_EQ(get_state(L"twin"), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 8u);
    });
}

TEST_F(GetDgVolumeState, ProvidesZeroWhenStateHasAnotherType) {
    at_every_threshold([&] {
        for (const char* type : {"INT32", "UINT64", "BINARY"}) {
            set_faults({with_type(reading("ztvmstate"), type)});
            start_watching();
            state.fill(0x77);
            EXPECT_EQ(get_state(L"\\Device\\v2"), FARLO_SUCCESS);
            EXPECT_EQ(*state.as<std::uint32_t>(), 0u);
            expect_log({entering, exiting});
        }
    });
}

TEST_F(GetDgVolumeState, AcceptsNarrowNamesOfUpTo31Characters) {
    once([&] {
        const auto call = [&](const char* name, const char* device) {
            return FARLO(GetDgVolumeStateA)(handle, name, nullptr, device,
                                            state.as<std::uint32_t>());
        };
        EXPECT_EQ(call("dg", "\\Device\\v1"), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 3u);
        EXPECT_EQ(call("dg", std::string(31, 'n').c_str()), FARLO_VOLUME_NOT_FOUND);
        start_watching();
        EXPECT_EQ(call("dg", std::string(32, 'n').c_str()), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(call(std::string(32, 'n').c_str(), "v"), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(call("dg", nullptr), FARLO_MISSING_ARGUMENT);
        expect_log({{0, "GetDgVolumeStateA() failed , device string of more than 31 characters "
                        "or invalid, error=(0x80070057)"},
                    {0, "GetDgVolumeStateA() failed , name string of more than 31 characters "
                        "or invalid, error=(0x80070057)"},
                    entering,
                    {0, "GetDgVolumeStateW() failed , pVolumeState = pwVolumeName == NULL, "
                        "error=(0x13) "}});
    });
}

}  // namespace
