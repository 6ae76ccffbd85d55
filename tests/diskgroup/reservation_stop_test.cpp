// StopDgReservation.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class StopDgReservation : public FarloTest {
  protected:
    StopDgReservation() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
    }

    // The method call that stops a reservation.
    static std::string stop(const std::string& guid, std::uint32_t status,
                            const std::string& output = "{}") {
        return invoke("service", method::stop_reservation,
                      "\"Dgguid\": " + str(guid) + ", \"Opflag\": " + uint32(1), status, output);
    }
};

TEST_F(StopDgReservation, SendsGuidAndFlagToClusterService) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, nullptr, "guid-x"), FARLO_SUCCESS);
        expect_calls({cluster_service(), stop("guid-x", bus_success)});
        expect_log({{6, "Entering StopDgReservationW"}, {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, FindsOnlyClusterGroupByName) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, "dg1", nullptr), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{stop("guid-2", bus_success)});
        start_watching();
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, "local", nullptr), FARLO_EXCLUDED_TYPE);
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "StopDgReservationW():SetDgGuidParam() failed, error=(0x28)"},
                    {0, "StopDgReservationW() failed, error=(0x28)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, RequiresConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(StopDgReservationW)(nullptr, L"dg1", "guid-2"), FARLO_NULL_HANDLE);
        disconnect();
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed , NULL opal_handle, error=(0x64)"},
                    {6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed ,  opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(StopDgReservation, RejectsNarrowNameThatIsTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, std::string(32, 'n').c_str(), "g"),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{0, "StopDgReservationA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

TEST_F(StopDgReservation, FailsWithoutClusterService) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_provider_failed}}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_NO_CLUSTER_SERVICE);
        expect_pauses({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "StopDgReservationW() failed, error=(0x29)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, ReturnsFailureOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(unknown_failure)}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), unknown_failure);
        expect_calls({cluster_service(), stop("guid-2", unknown_failure)});
        expect_log({{6, "Entering StopDgReservationW"},
                    {4, "StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed "
                        "with error = 0x2a."},
                    {0, "StopDgReservationW() failed, error=(0x2a)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed, error=(0x14)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const int parameter : {1, 2}) {
            set_faults(fault_plan(
                {{.function = "PsAddProperty", .call = parameter, .returns = bus_no_memory}}));
            start_watching();
            EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_EXCEPTION);
            expect_calls({cluster_service()});
            expect_log({{6, "Entering StopDgReservationW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "StopDgReservationW() failed, error=(0x12)"},
                        {6, "Exiting StopDgReservationW"}});
        }
    });
}

TEST_F(StopDgReservation, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering StopDgReservationW"},
                    {4, "StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed "
                        "with error = 0xc1000001."},
                    {0, "StopDgReservationW() failed, error=(0x14)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, LogsInformationalStatusAsFailure) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_same_value)}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), bus_same_value);
        expect_log({{6, "Entering StopDgReservationW"},
                    {4, "StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed "
                        "with error = 0x41000012."},
                    {0, "StopDgReservationW() failed, error=(0x41000012)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, RequiresNameOrGuidThatFits) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, nullptr, nullptr), FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", std::string(65, 'g').c_str()),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW():SetDgGuidParam() failed, error=(0x13)"},
                    {0, "StopDgReservationW() failed, error=(0x13)"},
                    {6, "Exiting StopDgReservationW"},
                    {6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_NO_GUID_MEMORY);
        expect_calls({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW():SetDgGuidParam() failed, error=(0x11)"},
                    {0, "StopDgReservationW() failed, error=(0x11)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, FailsWithoutInputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_input_set}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), FARLO_EXCEPTION);
        expect_calls({cluster_service()});
        expect_log({{6, "Entering StopDgReservationW"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "StopDgReservationW() failed, error=(0x12)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(StopDgReservation, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_return(bus_provider_failed)}));
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), bus_provider_failed);
        expect_calls({cluster_service(), stop("guid-2", bus_provider_failed, "NULL")});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed, error=(0xc1000001)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopDgReservation, FailsCleanlyWhenAnyAllocationFails) {
    const auto results = statuses_at_every_allocation([&] {
        set_faults(fault_plan({methods_succeed}));
        return FARLO(StopDgReservationA)(handle, "dg1", nullptr);
    });
    EXPECT_GT(results.size(), 2u);
    EXPECT_THAT(results, testing::Each(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
