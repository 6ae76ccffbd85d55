// ArbitrateDg.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class ArbitrateDg : public FarloTest {
  protected:
    ArbitrateDg() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1},
            {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
    }

    // The method call that arbitrates.
    static std::string arbitrate(const std::string& guid, std::uint32_t status) {
        return invoke("service", method::arbitrate, "\"Dgguid\": " + str(guid), status);
    }
};

TEST_F(ArbitrateDg, SendsGuidToClusterService) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "any guid"), FARLO_SUCCESS);
        expect_calls({cluster_service(), arbitrate("any guid", bus_success)});
        expect_log({{2, "Entering ArbitrateDgW - dg1"}, {2, "Exiting ArbitrateDgW"}});
        expect_pauses({});
    });
}

TEST_F(ArbitrateDg, FindsClusterGroupByName) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, "DG1", ""), FARLO_SUCCESS);
        expect_calls({groups("@local @dg1"), read_type("local", group_type::local),
                      read("local", "Name", wstr("local")), read_type("dg1", group_type::cluster),
                      read("dg1", "Name", wstr("dg1")), read("dg1", "dgid", str("guid-2")),
                      cluster_service(), arbitrate("guid-2", bus_success)});
        expect_log({{2, "Entering ArbitrateDgW - DG1"}, {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, ReturnsExcludedTypeForLocalGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"local", nullptr), FARLO_EXCLUDED_TYPE);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{2, "Entering ArbitrateDgW - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "ArbitrateDgW():SetDgGuidParam failed, error=(0x28)"},
                    {0, "ArbitrateDgW() failed, error=(0x28)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, RejectsNullHandle) {
    connects = false;
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(nullptr, L"dg1", "guid-2"), FARLO_NULL_HANDLE);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

TEST_F(ArbitrateDg, ReturnsNotConnectedWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(ArbitrateDg, RequiresNameOrGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"", nullptr), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - "},
                    {0, "ArbitrateDgW():SetDgGuidParam failed, error=(0x13)"},
                    {0, "ArbitrateDgW() failed, error=(0x13)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, RejectsNameOrGuidThatIsTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", std::string(65, 'g').c_str()),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, std::string(32, 'n').c_str(), "g"),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log(
            {{2, "Entering ArbitrateDgW - dg1"},
             {0, "ArbitrateDgW() failed , guid string of more than 64 characters, "
                 "error=(0x80070057)"},
             {2, "Exiting ArbitrateDgW"},
             {0, "ArbitrateDgA() failed , name string of more than 31 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

TEST_F(ArbitrateDg, AcceptsLongestNameAndGuid) {
    once([&] {
        set_faults(fault_plan({methods_succeed}));
        const std::string guid(64, 'g');
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, std::string(31, 'n').c_str(), guid.c_str()),
                  FARLO_SUCCESS);
        expect_calls({cluster_service(), arbitrate(guid, bus_success)});
    });
}

TEST_F(ArbitrateDg, FailsAfterFiveQueriesWithoutClusterService) {
    scenario = R"({"node": {"cluster_service": false}})";
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), FARLO_NO_CLUSTER_SERVICE);
        EXPECT_EQ(calls(), Lines(5, objects(object_type::cluster_service, "")));
        expect_pauses(std::vector<Pause>(5, {"Sleep", 5000}));
        const Expected sleeping{6, "GetClusSvcId: Sleeping for 5 secs"};
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    {0, "ArbitrateDgW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "ArbitrateDgW() failed, error=(0x29)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, ReturnsFailureOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), bus_provider_failed);
        expect_calls({cluster_service(), arbitrate("guid-2", bus_provider_failed)});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {4, "ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    {0, "ArbitrateDgW() failed, error=(0xc1000001)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

// An informational status does not count as success here.
TEST_F(ArbitrateDg, LogsInformationalStatusAsFailure) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_same_value)}));
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), bus_same_value);
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {4, "ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with "
                        "error = 0x41000012."},
                    {0, "ArbitrateDgW() failed, error=(0x41000012)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_calls({cluster_service(), arbitrate("guid-2", bus_success)});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed, error=(0x14)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* function : {"PsCreatePropset", "PsAddProperty"}) {
            set_faults(fault_plan({{.function = function, .call = 1, .returns = bus_no_memory}}));
            start_watching();
            EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), FARLO_EXCEPTION);
            expect_calls({cluster_service()});
            expect_log({{2, "Entering ArbitrateDgW - dg1"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "ArbitrateDgW() failed, error=(0x12)"},
                        {2, "Exiting ArbitrateDgW"}});
        }
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(ArbitrateDg, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_return(bus_provider_failed)}));
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), bus_provider_failed);
        expect_calls(
            {cluster_service(), invoke("service", method::arbitrate, "\"Dgguid\": " + str("guid-2"),
                                       bus_provider_failed, "NULL")});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed, error=(0xc1000001)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), FARLO_NO_GUID_MEMORY);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW():SetDgGuidParam failed, error=(0x11)"},
                    {0, "ArbitrateDgW() failed, error=(0x11)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {4, "ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    {0, "ArbitrateDgW() failed, error=(0x14)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(ArbitrateDg, AcceptsNullNarrowNameWithGuid) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, nullptr, "guid-2"), FARLO_SUCCESS);
        expect_calls({cluster_service(), arbitrate("guid-2", bus_success)});
        expect_log({{2, "Entering ArbitrateDgW - (null)"}, {2, "Exiting ArbitrateDgW"}});
    });
}

// The status depends on what the memory was for: the GUID's copy, the search for the cluster
// service, the parameters, or the bus itself.
TEST_F(ArbitrateDg, FailsCleanlyWhenAnyAllocationFails) {
    const auto results = statuses_at_every_allocation([&] {
        set_faults(fault_plan({methods_succeed}));
        return FARLO(ArbitrateDgA)(handle, "dg1", nullptr);
    });
    EXPECT_GT(results.size(), 2u);
    EXPECT_THAT(results, testing::Each(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
