// GetDgVolumeState.
#include "record_test.h"

namespace {

using namespace records;

class VolumeState : public RecordTest {
  protected:
    VolumeState() {
        scenario = R"({"disk_groups": [
            {"name": "dg", "dgid": "guid-1", "volumes": [
                {"name": "v1", "device": "\\Device\\v1", "state": 3},
                {"name": "v2", "device": "\\Device\\v2", "state": 2147483652}]},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
    }

    std::uint32_t ask(const wchar_t* device) {
        return FARLO(GetDgVolumeStateW)(handle, L"dg", nullptr, device, state.as<std::uint32_t>());
    }

    GuardedBuffer state{4};
};

const Expected entering{6, "Entering GetDgVolumeStateW"};
const Expected exiting{6, "Exiting GetDgVolumeStateW"};

TEST_F(VolumeState, IsHandedOverUnchanged) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L"\\device\\V2"), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0x80000004u);
        expect_calls({groups("@dg @local"), read("dg", "LDM DG TYPE", uint32(2)),
                      read("dg", "Name", wstr("dg")), child("dg", "tamo_ztvm_volume", "@v1 @v2"),
                      read("v1", "DEVICE NAME", wstr(R"(\\Device\\v1)")),
                      read("v2", "DEVICE NAME", wstr(R"(\\Device\\v2)")),
                      read("v2", "ztvmstate", uint32(0x80000004))});
        expect_log({entering, exiting});
    });
}

TEST_F(VolumeState, IsZeroWhenItCannotBeRead) {
    at_every_threshold([&] {
        set_rules(failing(R"("property": "ztvmstate")", "0xc100003a"));
        EXPECT_EQ(ask(L"\\Device\\v2"), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0u);
        expect_log({entering, exiting});
    });
}

TEST_F(VolumeState, ChecksItsArgumentsInOrder) {
    at_every_threshold([&] {
        auto* const out = state.as<std::uint32_t>();
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(nullptr, nullptr, nullptr, nullptr, nullptr), 100u);
        disconnect();
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, nullptr, L"v", nullptr), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, nullptr, nullptr, out), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, nullptr, L"v", out), 0x13u);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, nullptr, "", L"v", out), 20u);
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

TEST_F(VolumeState, OfNoClusterGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgVolumeStateW)(handle, L"local", nullptr, L"v", state.as<std::uint32_t>()),
            1u);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, L"", nullptr, L"v", state.as<std::uint32_t>()),
                  0x13u);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x1)"},
                    entering,
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x13)"}});
    });
}

TEST_F(VolumeState, OfAVolumeThatIsNotThere) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(L""), 0x63u);
        EXPECT_TRUE(state.untouched());
        expect_log({entering, {0, "GetDgVolumeStateW() failed, error=(0x63)"}, exiting});
    });
}

TEST_F(VolumeState, OfAGroupThatCannotBeWalked) {
    at_every_threshold([&] {
        for (const char* keys : {R"("function": "ObGetChildObjects")",
                                 R"("function": "ObGetProperty", "object": "v1")"}) {
            set_rules(failing(keys));
            start_watching();
            *state.as<std::uint32_t>() = 77;
            EXPECT_EQ(ask(L"\\Device\\v2"), 0x12u);
            EXPECT_EQ(*state.as<std::uint32_t>(), 77u);
            expect_log({entering,
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgVolumeStateW() failed, error=(0x12)"},
                        exiting});
        }
    });
}

// Whatever the call came to: a state, none that can be read, no such volume, an
// exception.
TEST_F(VolumeState, ConnectionThatDropsMeanwhile) {
    struct Drop {
        std::string when;
        const wchar_t* device;
        std::optional<std::uint32_t> stored;
        Log lines;
    };
    const Drop drops[] = {{reading("v2", "ztvmstate"), L"\\Device\\v2", 0x80000004, {}},
                          {reading("v2", "DEVICE NAME"), L"\\Device\\v2", 0, {}},
                          {reading("v2", "DEVICE NAME"), L"\\Device\\v3", {}, {}},
                          {walking_to("tamo_ztvm_volume"), L"\\Device\\v2", {}, {caught}}};
    for (const Drop& drop : drops) {
        SCOPED_TRACE(drop.when);
        at_every_threshold([&] {
            set_rules(dropping(drop.when));
            state.fill(0x77);
            EXPECT_EQ(ask(drop.device), 20u);
            EXPECT_EQ(*state.as<std::uint32_t>(), drop.stored.value_or(0x77777777));
            expect_log(Log{entering} + drop.lines +
                       Log{{0, "GetDgVolumeStateW() failed, error=(0x14)"}, exiting});
        });
    }
}

// The connection is looked at again only where the last line is reached.
TEST_F(VolumeState, ConnectionThatDropsDuringTheSearchForTheGroup) {
    at_every_threshold([&] {
        set_rules(dropping(reading("dg", "LDM DG TYPE")));
        EXPECT_EQ(ask(L"\\Device\\v2"), 1u);
        EXPECT_TRUE(state.untouched());
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x1)"}});
    });
}

TEST_F(VolumeState, EveryAllocationThatFails) {
    Image wanted(4);
    wanted.number<std::uint32_t>(0, 0x80000004);
    expect_whole_or_less(wanted, [&](GuardedBuffer& stored) {
        return FARLO(GetDgVolumeStateW)(handle, nullptr, "guid-1", L"\\Device\\v2",
                                        stored.as<std::uint32_t>());
    });
}

// Type 8 is a cluster group by its GUID, not by its name.
TEST_F(VolumeState, OfASharedGroup) {
    scenario.replace(scenario.find(R"("guid-1",)"), 9, R"("guid-1", "type": 8,)");
    at_every_threshold([&] {
        state.fill(0x77);
        EXPECT_EQ(ask(L"\\Device\\v1"), 1u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 0x77777777u);
        EXPECT_EQ(FARLO(GetDgVolumeStateW)(handle, L"dg", "guid-1", L"\\Device\\v1",
                                           state.as<std::uint32_t>()),
                  0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 3u);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgVolumeStateW():GetDgObjId() failed, error=(0x1)"},
                    entering,
                    exiting});
    });
}

TEST_F(VolumeState, IsThatOfTheFirstOfSeveralOfThatName) {
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "volumes": [
        {"name": "v1", "device": "other", "state": 7},
        {"name": "v2", "device": "TWIN", "state": 8},
        {"name": "v3", "device": "twin", "state": 9}]}]})";
    once([&] {
        EXPECT_EQ(ask(L"twin"), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 8u);
    });
}

// It is a UINT32: nothing else stands for a state.
TEST_F(VolumeState, IsZeroWhenItIsOfAnotherType) {
    at_every_threshold([&] {
        for (const char* type : {"INT32", "UINT64", "BINARY"}) {
            set_rules(R"({"property": "ztvmstate", "as": ")" + std::string(type) + R"("},)");
            start_watching();
            state.fill(0x77);
            EXPECT_EQ(ask(L"\\Device\\v2"), 0u);
            EXPECT_EQ(*state.as<std::uint32_t>(), 0u);
            expect_log({entering, exiting});
        }
    });
}

TEST_F(VolumeState, NarrowForm) {
    once([&] {
        const auto call = [&](const char* name, const char* device) {
            return FARLO(GetDgVolumeStateA)(handle, name, nullptr, device,
                                            state.as<std::uint32_t>());
        };
        EXPECT_EQ(call("dg", "\\Device\\v1"), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 3u);
        EXPECT_EQ(call("dg", std::string(31, 'n').c_str()), 0x63u);
        start_watching();
        EXPECT_EQ(call("dg", std::string(32, 'n').c_str()), 0x80070057u);
        EXPECT_EQ(call(std::string(32, 'n').c_str(), "v"), 0x80070057u);
        EXPECT_EQ(call("dg", nullptr), 0x13u);
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
