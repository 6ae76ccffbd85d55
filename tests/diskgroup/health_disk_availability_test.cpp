// GetDgDiskAvailability.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class GetDgDiskAvailability : public FarloTest {
  protected:
    GetDgDiskAvailability() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
    }

    // The method call.
    static std::string query(const std::string& name, std::uint32_t status) {
        return invoke("service", method::get_disk_availability,
                      "\"Dgname\": " + wstr(name) + ", \"Dgguid\": " + str("guid-2"), status);
    }
    std::uint32_t get_availability(const wchar_t* name, const char* guid) {
        return FARLO(GetDgDiskAvailabilityW)(handle, name, guid, total.as<std::uint32_t>(),
                                             live.as<std::uint32_t>());
    }
    GuardedBuffer total{4};
    GuardedBuffer live{4};
};

const Expected entering{6, "Entering GetDgdiskAvailabilityW"};
const Expected exiting{6, "Exiting GetVolumeGuidW"};

void add_both_counts(opal_propset output) {
    add_number(output, "total_disks", 12);
    add_number(output, "live_disks", 11);
}

TEST_F(GetDgDiskAvailability, ProvidesBothCounts) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(), add_both_counts);
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_SUCCESS);
        EXPECT_EQ(*total.as<std::uint32_t>(), 12u);
        EXPECT_EQ(*live.as<std::uint32_t>(), 11u);
        expect_calls({cluster_service(), query("dg1", bus_success)});
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgDiskAvailability, FindsOnlyClusterGroupByName) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, "dg1", nullptr, total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{query("dg1", bus_success)});
        start_watching();
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, "local", nullptr, total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  FARLO_EXCLUDED_TYPE);
        expect_log({entering,
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    exiting});
    });
}

TEST_F(GetDgDiskAvailability, SendsEmptyNameWhenGivenNone) {
    once([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(get_availability(nullptr, "guid-2"), FARLO_SUCCESS);
        expect_calls({cluster_service(), query("", bus_success)});
    });
}

// A count that is missing, or has another type, is left unchanged.
TEST_F(GetDgDiskAvailability, LeavesCountUnchangedWhenServiceReportsNone) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "live_disks", 3); });
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_SUCCESS);
        EXPECT_TRUE(total.untouched());
        EXPECT_EQ(*live.as<std::uint32_t>(), 3u);
        expect_log({entering, exiting});
    });
    once([&] {
        set_faults(fault_plan(
            {methods_succeed,
             {.function = "PsFindProperty", .property = "live_disks", .with_type = "UINT64"}}));
        *live.as<std::uint32_t>() = 77;
        const MethodResults results(dll().module(), add_both_counts);
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_SUCCESS);
        EXPECT_EQ(*total.as<std::uint32_t>(), 12u);
        EXPECT_EQ(*live.as<std::uint32_t>(), 77u);
    });
}

// Only the entry line is logged.
TEST_F(GetDgDiskAvailability, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityW)(nullptr, L"dg1", "guid-2",
                                                total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
        expect_calls({});
        expect_log({entering, entering});
    });
}

TEST_F(GetDgDiskAvailability, RejectsNullCounts) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityW)(handle, L"dg1", "guid-2", nullptr,
                                                live.as<std::uint32_t>()),
                  FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityW)(handle, L"dg1", "guid-2", total.as<std::uint32_t>(),
                                                nullptr),
                  FARLO_MISSING_ARGUMENT);
        expect_calls({});
        const Expected refused{
            0, "GetDgDiskAvailabilityW() failed , pTotal or pLive == NULL, error=(0x13)"};
        expect_log({entering, refused, entering, refused});
    });
}

TEST_F(GetDgDiskAvailability, RejectsNameOrGuidThatIsTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(get_availability(L"dg1", std::string(65, 'g').c_str()), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, std::string(32, 'n').c_str(), "guid-2",
                                                total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  FARLO_INVALID_ARGUMENT);
        expect_log(
            {entering,
             {0, "GetDgDiskAvailabilityW() failed , guid string of more than 64 characters, "
                 "error=(0x80070057)"},
             exiting,
             {0, "GetDgDiskAvailabilityA() failed , name string of more than 31 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

TEST_F(GetDgDiskAvailability, ReturnsStatusOfFailedSearch) {
    at_every_threshold([&] {
        EXPECT_EQ(get_availability(nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NO_CLUSTER_SERVICE);
        expect_log({entering, exiting, entering, exiting});
    });
}

// Also for an informational status.
TEST_F(GetDgDiskAvailability, ReturnsOneStatusForEveryFailureOfService) {
    for (const std::uint32_t status : {bus_provider_failed, unknown_failure, bus_same_value}) {
        at_every_threshold([&] {
            set_faults(fault_plan({methods_return(status)}));
            const MethodResults results(dll().module(), add_both_counts);
            EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NOT_FOUND);
            EXPECT_TRUE(total.untouched());
            EXPECT_TRUE(live.untouched());
            expect_calls({cluster_service(), query("dg1", status)});
            expect_log({entering,
                        {4, "GetDgDiskAvailabilityW: CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB, CsfInvoke "
                            "failed with error = " +
                                hex(status) + "."},
                        exiting});
        });
    }
}

TEST_F(GetDgDiskAvailability, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const int parameter : {1, 2}) {
            set_faults(fault_plan(
                {{.function = "PsAddProperty", .call = parameter, .returns = bus_no_memory}}));
            start_watching();
            EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_EXCEPTION);
            expect_calls({cluster_service()});
            expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
        }
    });
}

TEST_F(GetDgDiskAvailability, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_succeed}));
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_SUCCESS);
        set_faults(fault_plan({no_output_set, methods_return(unknown_failure)}));
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NOT_FOUND);
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
        expect_log({entering, exiting, entering, exiting});
    });
}

// No exit line is logged.
TEST_F(GetDgDiskAvailability, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        const MethodResults results(dll().module(), add_both_counts);
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_log({entering});
    });
}

TEST_F(GetDgDiskAvailability, ProvidesCountsWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        const MethodResults results(dll().module(), add_both_counts);
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        EXPECT_EQ(*total.as<std::uint32_t>(), 12u);
        EXPECT_EQ(*live.as<std::uint32_t>(), 11u);
        expect_log({entering});
    });
}

TEST_F(GetDgDiskAvailability, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        {
            const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
            EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        }
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
        expect_log({entering,
                    {4, "GetDgDiskAvailabilityW: CLUSTER_MTHD_CLUSSVCOP_DISKAVAIB, CsfInvoke "
                        "failed with error = 0xc1000001."}});
    });
}

TEST_F(GetDgDiskAvailability, ReturnsNotConnectedWhenConnectionDropsDuringFailedSearch) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("Name"))}));
        EXPECT_EQ(get_availability(L"nowhere", nullptr), FARLO_NOT_CONNECTED);
        EXPECT_TRUE(total.untouched());
        EXPECT_TRUE(live.untouched());
    });
}

TEST_F(GetDgDiskAvailability, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_NO_GUID_MEMORY);
        expect_calls({});
        expect_log({entering, exiting});
    });
}

TEST_F(GetDgDiskAvailability, FailsWithoutInputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_input_set}));
        EXPECT_EQ(get_availability(L"dg1", "guid-2"), FARLO_EXCEPTION);
        expect_calls({cluster_service()});
        expect_log({entering, {6, "API_TRY_CATCH_FAILED "}, exiting});
    });
}

TEST_F(GetDgDiskAvailability, AcceptsNullNarrowNameWithGuid) {
    once([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(GetDgDiskAvailabilityA)(handle, nullptr, "guid-2",
                                                total.as<std::uint32_t>(),
                                                live.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        expect_calls({cluster_service(), query("", bus_success)});
    });
}

TEST_F(GetDgDiskAvailability, SurvivesEveryAllocationFailure) {
    const auto results = statuses_at_every_allocation([&] {
        set_faults(fault_plan({methods_succeed}));
        return FARLO(GetDgDiskAvailabilityA)(handle, "dg1", nullptr, total.as<std::uint32_t>(),
                                             live.as<std::uint32_t>());
    });
    EXPECT_GT(results.size(), 2u);
    // Without memory to read a count the call succeeds and leaves the count unchanged.
    EXPECT_THAT(results, testing::Contains(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
