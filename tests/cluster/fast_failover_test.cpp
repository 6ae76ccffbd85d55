// SetFastFailoverFlagW.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class FastFailover : public FarloTest {
  protected:
    FastFailover() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "gone", "dgid": "guid-7", "type": 7}]})";
    }

    static std::string send(const std::string& flag, const std::string& status) {
        return invoke("local", volume_manager_methods, 2027, "\"FastFailoverFlag\": UINT32 " + flag,
                      status);
    }
};

const char service_answers[] = R"([{"function": "PrCallDispatch", "nothing": true}])";
const Lines find_local = {"DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @gone]",
                          read("local", "LDM DG TYPE", "UINT32 1"),
                          read("local", "dgid", "STR \"guid-1\"")};
const Expected entering{4, "Entering SetFastFailoverFlag - any"};
const Expected exiting{4, "Exiting SetFastFailoverFlag"};

TEST_F(FastFailover, SendsTheFlagToTheGroup) {
    const std::pair<std::uint32_t, std::string> flags[] = {{0, "0"}, {0xFFFFFFFF, "4294967295"}};
    for (const auto& [flag, text] : flags) {
        at_every_threshold([&, flag = flag, text = text] {
            set_faults(service_answers);
            EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", flag), 0u);
            expect_calls(find_local + Lines{send(text, "0x0")});
            expect_log({entering, exiting});
        });
    }
}

TEST_F(FastFailover, FindsEveryGroupByName) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"local", nullptr, 1), 0u);
        expect_calls({"DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @gone]",
                      read("local", "LDM DG TYPE", "UINT32 1"),
                      read("local", "Name", "WSTR \"local\""), send("1", "0x0")});
    });
}

TEST_F(FastFailover, WantsAConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(nullptr, L"any", "guid-1", 1), 100u);
        disconnect();
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 20u);
        expect_calls({});
        expect_log({entering,
                    {0, "SetFastFailoverFlag() failed , opal_handle==NULL, error=(0x64)"},
                    entering,
                    {0, "SetFastFailoverFlag() failed , opal_handle not connected, error=(0x14)"}});
    });
}

// No method is sent, and no exit line written.
TEST_F(FastFailover, EndsAtAFailedLookup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"", nullptr, 1), 19u);
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "nowhere", 1), 1u);
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-7", 1), 1u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{4, "Entering SetFastFailoverFlag - "},
                    {0, "SetFastFailoverFlag():GetDgObjId() failed, error=(0x13) "},
                    entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "SetFastFailoverFlag():GetDgObjId() failed, error=(0x1) "},
                    entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "SetFastFailoverFlag():GetDgObjId() failed, error=(0x1) "}});
    });
}

TEST_F(FastFailover, PassesTheServicesStatusOn) {
    for (const std::string status : {"0x2a", "0x41000012"}) {
        at_every_threshold([&] {
            set_faults(R"([{"function": "PrCallDispatch", "status": ")" + status + R"("}])");
            EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1),
                      std::stoul(status, nullptr, 0));
            expect_calls(find_local + Lines{send("1", status)});
            expect_log({entering,
                        {4, "SetFastFailoverFlag: DGOP_SETFASTFAILOVERFLAG, CsfInvoke failed with "
                            "error = " +
                                status + "."},
                        {0, "SetFastFailoverFlag() failed, error=(" + status + ") "},
                        exiting});
        });
    }
}

TEST_F(FastFailover, FailsWhenTheParameterCannotBeAdded) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsAddProperty", "status": "0xc1000102"}])");
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 18u);
        expect_calls(find_local);
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "SetFastFailoverFlag() failed, error=(0x12) "},
                    exiting});
    });
}

TEST_F(FastFailover, GoesOnWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "status": "0x2a"}])");
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 0x2au);
        expect_log({entering, {0, "SetFastFailoverFlag() failed, error=(0x2a) "}, exiting});
    });
}

TEST_F(FastFailover, IsNotConnectedWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 20u);
        expect_log({entering, {0, "SetFastFailoverFlag() failed, error=(0x14) "}, exiting});
    });
}

TEST_F(FastFailover, FailsWithoutAnInputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"}])");
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 18u);
        expect_calls(find_local);
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "SetFastFailoverFlag() failed, error=(0x12) "},
                    exiting});
    });
}

TEST_F(FastFailover, SucceedsWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "nothing": true}])");
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 0u);
        expect_log({entering, exiting});
    });
}

TEST_F(FastFailover, IsNotConnectedWhateverFailedMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        {
            const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
            EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), 20u);
        }
        expect_log({entering,
                    {4, "SetFastFailoverFlag: DGOP_SETFASTFAILOVERFLAG, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    {0, "SetFastFailoverFlag() failed, error=(0x14) "},
                    exiting});
    });
}

TEST_F(FastFailover, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        set_faults(service_answers);
        return FARLO(SetFastFailoverFlagW)(handle, L"local", nullptr, 1);
    });
    EXPECT_THAT(answers, testing::Not(testing::IsEmpty()));
    EXPECT_THAT(answers, testing::Each(testing::Ne(0u)));
}

}  // namespace
