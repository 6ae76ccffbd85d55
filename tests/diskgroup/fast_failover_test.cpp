// SetFastFailoverFlagW.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class SetFastFailoverFlag : public FarloTest {
  protected:
    SetFastFailoverFlag() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "gone", "dgid": "guid-7", "type": 7}]})";
    }

    // The method call that sends a flag.
    static std::string send(std::uint32_t flag, std::uint32_t status) {
        return invoke("local", method::set_fast_failover_flag,
                      "\"FastFailoverFlag\": " + uint32(flag), status);
    }
};

const Lines find_local = {groups("@local @gone"), read_type("local", group_type::local),
                          read("local", "dgid", str("guid-1"))};
const Expected entering{4, "Entering SetFastFailoverFlag - any"};
const Expected exiting{4, "Exiting SetFastFailoverFlag"};

TEST_F(SetFastFailoverFlag, SendsFlagToGroup) {
    for (const std::uint32_t flag : {0u, 0xFFFFFFFFu}) {
        at_every_threshold([&] {
            set_faults(fault_plan({methods_succeed}));
            EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", flag), FARLO_SUCCESS);
            expect_calls(find_local + Lines{send(flag, bus_success)});
            expect_log({entering, exiting});
        });
    }
}

TEST_F(SetFastFailoverFlag, FindsLocalGroupByName) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"local", nullptr, 1), FARLO_SUCCESS);
        expect_calls({groups("@local @gone"), read_type("local", group_type::local),
                      read("local", "Name", wstr("local")), send(1, bus_success)});
    });
}

TEST_F(SetFastFailoverFlag, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(nullptr, L"any", "guid-1", 1), FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({entering,
                    {0, "SetFastFailoverFlag() failed , opal_handle==NULL, error=(0x64)"},
                    entering,
                    {0, "SetFastFailoverFlag() failed , opal_handle not connected, error=(0x14)"}});
    });
}

// No method is called, and no exit line is logged.
TEST_F(SetFastFailoverFlag, ReturnsStatusOfFailedSearch) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"", nullptr, 1), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "nowhere", 1), FARLO_NOT_FOUND);
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-7", 1), FARLO_NOT_FOUND);
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

TEST_F(SetFastFailoverFlag, ReturnsStatusOfService) {
    for (const std::uint32_t status : {unknown_failure, bus_same_value}) {
        at_every_threshold([&] {
            set_faults(fault_plan({methods_return(status)}));
            EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), status);
            expect_calls(find_local + Lines{send(1, status)});
            expect_log({entering,
                        {4, "SetFastFailoverFlag: DGOP_SETFASTFAILOVERFLAG, CsfInvoke failed with "
                            "error = " +
                                hex(status) + "."},
                        {0, "SetFastFailoverFlag() failed, error=(" + hex(status) + ") "},
                        exiting});
        });
    }
}

TEST_F(SetFastFailoverFlag, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "PsAddProperty", .returns = bus_no_memory}}));
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), FARLO_EXCEPTION);
        expect_calls(find_local);
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "SetFastFailoverFlag() failed, error=(0x12) "},
                    exiting});
    });
}

TEST_F(SetFastFailoverFlag, ReturnsFailureOfServiceWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_return(unknown_failure)}));
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), unknown_failure);
        expect_log({entering, {0, "SetFastFailoverFlag() failed, error=(0x2a) "}, exiting});
    });
}

TEST_F(SetFastFailoverFlag, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), FARLO_NOT_CONNECTED);
        expect_log({entering, {0, "SetFastFailoverFlag() failed, error=(0x14) "}, exiting});
    });
}

TEST_F(SetFastFailoverFlag, FailsWithoutInputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_input_set}));
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), FARLO_EXCEPTION);
        expect_calls(find_local);
        expect_log({entering,
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "SetFastFailoverFlag() failed, error=(0x12) "},
                    exiting});
    });
}

TEST_F(SetFastFailoverFlag, SucceedsWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_succeed}));
        EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1), FARLO_SUCCESS);
        expect_log({entering, exiting});
    });
}

TEST_F(SetFastFailoverFlag, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        {
            const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
            EXPECT_EQ(FARLO(SetFastFailoverFlagW)(handle, L"any", "guid-1", 1),
                      FARLO_NOT_CONNECTED);
        }
        expect_log({entering,
                    {4, "SetFastFailoverFlag: DGOP_SETFASTFAILOVERFLAG, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    {0, "SetFastFailoverFlag() failed, error=(0x14) "},
                    exiting});
    });
}

TEST_F(SetFastFailoverFlag, FailsCleanlyWhenAnyAllocationFails) {
    const auto results = statuses_at_every_allocation([&] {
        set_faults(fault_plan({methods_succeed}));
        return FARLO(SetFastFailoverFlagW)(handle, L"local", nullptr, 1);
    });
    EXPECT_THAT(results, testing::Not(testing::IsEmpty()));
    EXPECT_THAT(results, testing::Each(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
