// GetDgReservationStatus on a node that reserves through the service (SupportSCSI3 = 2).
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"

namespace {

using namespace support;

class GetDgReservationStatusFromService : public FarloTest {
  protected:
    GetDgReservationStatusFromService() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
        support_scsi3 = 2;
    }

    // The method call that queries the status, by default with all its parameters.
    static std::string query(std::uint32_t status, const std::string& input = all_parameters) {
        return invoke("service", method::get_reservation_status, input, status);
    }
    static constexpr char all_parameters[] =
        R"("Dgguid": STR "guid-2", "Opflag": UINT32 0, "otl trace": BOOLEAN false)";

    // Makes the service report this state, which may be any number.
    static std::function<void(opal_propset)> reports(std::uint32_t reservation) {
        return [reservation](opal_propset set) { add_number(set, "Dgstate", reservation); };
    }

    std::uint32_t get_status() {
        return FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2", state.as<std::uint32_t>());
    }

    GuardedBuffer state{4};
};

// Logged when the setting is read.
const Expected enabled{0, "=====Enabled NGC====="};

TEST_F(GetDgReservationStatusFromService, ProvidesStateOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(), reports(77));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 77u);
        expect_calls({cluster_service(), query(bus_success)});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, ReadsSettingOnce) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(), reports(5));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        environment().set_registry(volume_manager_key, L"SupportSCSI3", 1);
        start_watching();
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, "dg1", "guid-2", state.as<std::uint32_t>()),
            FARLO_SUCCESS);
        expect_calls({cluster_service(), query(bus_success)});
        expect_log({{4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, RejectsNullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(nullptr, L"dg1", "guid-2", state.as<std::uint32_t>()),
            FARLO_NULL_HANDLE);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

TEST_F(GetDgReservationStatusFromService, RejectsNullState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2", nullptr),
                  FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed , pStatus == NULL, error=(0x13) "}});
    });
}

TEST_F(GetDgReservationStatusFromService, SucceedsWithoutConnectionWhenGivenGuid) {
    at_every_threshold([&] {
        disconnect();
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(), reports(4));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 4u);
        expect_calls({cluster_service(), query(bus_success)});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, FailsWithoutClusterService) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "DbGetObjects", .returns = bus_not_connected}}));
        EXPECT_EQ(get_status(), FARLO_NO_CLUSTER_SERVICE);
        EXPECT_TRUE(state.untouched());
        expect_calls({objects_failed(object_type::cluster_service, bus_not_connected)});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x29) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, ProvidesStateWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed_and_drop}));
        const MethodResults results(dll().module(), reports(3));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 3u);
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, FindsOnlyClusterGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, "local", nullptr, state.as<std::uint32_t>()),
            FARLO_EXCLUDED_TYPE);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=(0x28) "},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x28) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, ReturnsFailureOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_provider_failed)}));
        const MethodResults results(dll().module(), reports(3));
        EXPECT_EQ(get_status(), bus_provider_failed);
        EXPECT_TRUE(state.untouched());
        expect_calls({cluster_service(), query(bus_provider_failed)});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "GetNgcDgReservationStatusW: CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS, CsfInvoke "
                        "failed with error = 0xc1000001."},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0xc1000001) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// The state is read; the informational status is returned and logged as a failure.
TEST_F(GetDgReservationStatusFromService, ProvidesStateOfInformationalStatus) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_return(bus_same_value)}));
        const MethodResults results(dll().module(), reports(8));
        EXPECT_EQ(get_status(), bus_same_value);
        EXPECT_EQ(*state.as<std::uint32_t>(), 8u);
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x41000012) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, LeavesStateUnchangedWhenServiceReportsNone) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, CallsMethodWhenSecondParameterCannotBeAdded) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {{.function = "PsAddProperty", .call = 2, .returns = bus_no_memory}, methods_succeed}));
        const MethodResults results(dll().module(), reports(9));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 9u);
        expect_calls({cluster_service(), query(bus_success, R"("Dgguid": STR "guid-2")")});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, LeavesStateUnchangedWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_succeed}));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// Whether a status is a failure depends on its facility (bits 16 to 27).
TEST_F(GetDgReservationStatusFromService, ProvidesStateUnlessStatusIsFailure) {
    const struct {
        std::uint32_t status;
        bool failure;
    } rows[] = {
        {unknown_failure, true},  // no facility: a failure unless zero
        // Other facilities: a failure if the top bit is set.
        {system_access_denied, true},
        {system_informational, false},
        // The bus: a failure if both top bits are set.
        {bus_warning, false},
        {bus_provider_failed, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(hex(row.status));
        at_every_threshold([&] {
            GuardedBuffer received{4};
            set_faults(fault_plan({methods_return(row.status)}));
            const MethodResults results(dll().module(), reports(6));
            EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2",
                                                     received.as<std::uint32_t>()),
                      row.status);
            const Expected entering{4, "Entering GetNgcDgReservationStatusW - dg1"};
            const Expected failed{0, "GetNgcDgReservationStatusW() failed, error=(" +
                                         hex(row.status) + ") "};
            const Expected exiting{4, "Exiting GetNgcDgReservationStatusW"};
            if (row.failure) {
                EXPECT_TRUE(received.untouched());
                expect_log({enabled,
                            entering,
                            {4, "GetNgcDgReservationStatusW: CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS, "
                                "CsfInvoke failed with error = " +
                                    hex(row.status) + "."},
                            failed,
                            exiting});
            } else {
                EXPECT_EQ(*received.as<std::uint32_t>(), 6u);
                expect_log({enabled, entering, failed, exiting});
            }
        });
    }
}

TEST_F(GetDgReservationStatusFromService, LeavesStateUnchangedWhenItHasAnotherType) {
    at_every_threshold([&] {
        set_faults(fault_plan({methods_succeed}));
        const MethodResults results(dll().module(), [](opal_propset set) {
            const char digit[] = "5";
            const opal_property property{"Dgstate", TYPE_STR, 1, sizeof digit, digit};
            EXPECT_EQ(PsAddProperty(set, &property), ZTSTATUS_OK);
        });
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, CallsMethodWithParametersThatCouldBeAdded) {
    struct Failure {
        int parameter;  // that cannot be added
        const char* sent;
    };
    const Failure failures[] = {{1, ""}, {3, R"("Dgguid": STR "guid-2", "Opflag": UINT32 0)"}};
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.parameter);
        at_every_threshold([&] {
            set_faults(fault_plan(
                {{.function = "PsAddProperty", .call = failure.parameter, .returns = bus_no_memory},
                 methods_succeed}));
            const MethodResults results(dll().module(), reports(9));
            EXPECT_EQ(get_status(), FARLO_SUCCESS);
            EXPECT_EQ(*state.as<std::uint32_t>(), 9u);
            expect_calls({cluster_service(), query(bus_success, failure.sent)});
            expect_log({enabled,
                        {4, "Entering GetNgcDgReservationStatusW - dg1"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {4, "Exiting GetNgcDgReservationStatusW"}});
        });
    }
}

TEST_F(GetDgReservationStatusFromService, CallsMethodWithoutInputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_input_set, methods_succeed}));
        const MethodResults results(dll().module(), reports(9));
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(*state.as<std::uint32_t>(), 9u);
        expect_calls(
            {cluster_service(),
             invoke_without_input("service", method::get_reservation_status, bus_success)});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(GetDgReservationStatusFromService, ReturnsFailureOfServiceWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_return(bus_provider_failed)}));
        EXPECT_EQ(get_status(), bus_provider_failed);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0xc1000001) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, RequiresNameOrGuidThatFits) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, nullptr, nullptr, state.as<std::uint32_t>()),
            FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", std::string(65, 'g').c_str(),
                                                 state.as<std::uint32_t>()),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log(
            {enabled,
             {4, "Entering GetNgcDgReservationStatusW - (null)"},
             {0, "GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=(0x13) "},
             {0, "GetNgcDgReservationStatusW() failed, error=(0x13) "},
             {4, "Exiting GetNgcDgReservationStatusW"},
             {4, "Entering GetNgcDgReservationStatusW - dg1"},
             {0, "GetDgReservationStatusW() failed , guid string of more than 64 characters, "
                 "error=(0x80070057)"},
             {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// Only the search by name checks the connection.
TEST_F(GetDgReservationStatusFromService, ReturnsNotConnectedWhenSearchingByNameWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "", state.as<std::uint32_t>()),
                  FARLO_NOT_CONNECTED);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetDgGuidCommon() failed, hConn not connected , error=(0x14)"},
                    {0, "GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=(0x14) "},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x14) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(GetDgReservationStatusFromService, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        // Reads the setting, so that the next call allocates memory for the GUID first.
        get_status();
        start_watching();
        GuardedBuffer received{4};
        heap().fail(1);
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2", received.as<std::uint32_t>()),
            FARLO_NO_GUID_MEMORY);
        EXPECT_TRUE(received.untouched());
        expect_calls({});
        expect_log({{4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x11) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

}  // namespace
