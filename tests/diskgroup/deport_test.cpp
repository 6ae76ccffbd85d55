// DeportDg.
#include "diskgroup/deport_fixture.h"

namespace {

using namespace support;

using DeportDg = DeportFixture;

TEST_F(DeportDg, DeportsGroupFoundByGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_SUCCESS);
        expect_calls(Lines{cluster_service()} + find_dg1 +
                     Lines{deport("dg1", "guid-1", 0x4042, bus_success)});
        expect_log({{6, "Entering DeportDgW"}, {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, ReturnsExcludedTypeForLocalGroupByGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"x", "guid-3"), FARLO_EXCLUDED_TYPE);
        expect_calls(Lines{cluster_service()} + search_all_groups);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "DeportDgW():GetDgObjIdByGuid() failed, error=(0x28)"},
                    {0, "DeportDgW() failed, error=(0x28)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, FindsClusterSharedGroupByGuid) {
    once([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"", "guid-8"), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("shared", "guid-8", 0x4042, bus_success)}));
    });
}

TEST_F(DeportDg, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(nullptr, L"dg1", "guid-1"), FARLO_NULL_HANDLE);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed , NULL opal_handle, error=(0x64)"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(DeportDg, RequiresNameOrGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW():SetDgGuidParam() failed, error=(0x13)"},
                    {0, "DeportDgW() failed, error=(0x13)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, FailsWhenClusterServiceCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(querying(object_type::cluster_service))}));
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_NO_CLUSTER_SERVICE);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "DeportDgW() failed, error=(0x29)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, ReturnsFailureOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(calling(method::deport_group), service_not_imported)}));
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), service_not_imported);
        expect_log({{6, "Entering DeportDgW"},
                    {4, "DeportDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xe5150102."},
                    {0, "DeportDgW() failed, error=(0xe5150102)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* parameter : deport_parameters) {
            SCOPED_TRACE(parameter);
            set_faults(fault_plan({failing(adding(parameter), bus_no_memory)}));
            start_watching();
            EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_EXCEPTION);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({{6, "Entering DeportDgW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "DeportDgW() failed, error=(0x12)"},
                        {6, "Exiting DeportDgW"}});
        }
    });
}

TEST_F(DeportDg, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(calling(method::deport_group))}));
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed, error=(0x14)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {failing_and_dropping(calling(method::deport_group), service_not_imported)}));
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering DeportDgW"},
                    {4, "DeportDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xe5150102."},
                    {0, "DeportDgW() failed, error=(0x14)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedQuery) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing_and_dropping(querying(object_type::cluster_service))}));
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), FARLO_NOT_CONNECTED);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "DeportDgW() failed, error=(0x14)"},
                    {6, "Exiting DeportDgW"}});
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(DeportDg, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set, failing(calling(method::deport_group), service_not_imported)}));
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), service_not_imported);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4042, service_not_imported, "NULL")}));
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed, error=(0xe5150102)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, ReturnsExcludedTypeForLocalGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"local", nullptr), FARLO_EXCLUDED_TYPE);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering DeportDgW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "DeportDgW():SetDgGuidParam() failed, error=(0x28)"},
                    {0, "DeportDgW() failed, error=(0x28)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(DeportDg, AcceptsNarrowNameAndRejectsOneOf32Characters) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgA)(handle, "dg1", "guid-1"), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4042, bus_success)}));
        load_scenario(scenario);
        start_watching();
        EXPECT_EQ(FARLO(DeportDgA)(handle, "dg1", nullptr), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", 0x4042, bus_success)}));
        start_watching();
        EXPECT_EQ(FARLO(DeportDgA)(handle, std::string(32, 'n').c_str(), "guid-1"),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{0, "DeportDgA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"}});
    });
}

}  // namespace
