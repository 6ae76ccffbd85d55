// GetDgReservationStatus on a node that reserves through the service.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class ServiceStatus : public FarloTest {
  protected:
    ServiceStatus() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
        support_scsi3 = 2;
    }

    static std::string query(const std::string& status) {
        return invoke("service", cluster_methods, 5,
                      R"("Dgguid": STR "guid-2", "Opflag": UINT32 0, "otl trace": BOOLEAN false)",
                      status);
    }

    GuardedBuffer state{4};
    std::uint32_t ask() {
        return FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2", state.as<std::uint32_t>());
    }
};

const char service_answers[] = R"([{"function": "PrCallDispatch", "nothing": true}])";
const Expected enabled{0, "=====Enabled NGC====="};

TEST_F(ServiceStatus, HandsOutTheServicesState) {
    at_every_threshold([&] {
        set_faults(service_answers);
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 77); });
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 77u);
        expect_calls({cluster_service(), query("0x0")});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, ReadsTheSettingOnce) {
    at_every_threshold([&] {
        set_faults(service_answers);
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 5); });
        EXPECT_EQ(ask(), 0u);
        environment().set_registry(volume_manager_key, L"SupportSCSI3", 1);
        start_watching();
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, "dg1", "guid-2", state.as<std::uint32_t>()), 0u);
        expect_calls({cluster_service(), query("0x0")});
        expect_log({{4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, WantsAHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(nullptr, L"dg1", "guid-2", state.as<std::uint32_t>()),
            100u);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

TEST_F(ServiceStatus, WantsRoomForTheState) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2", nullptr), 19u);
        expect_calls({});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed , pStatus == NULL, error=(0x13) "}});
    });
}

TEST_F(ServiceStatus, DoesNotLookAtTheConnection) {
    at_every_threshold([&] {
        disconnect();
        set_faults(service_answers);
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 4); });
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 4u);
        expect_calls({cluster_service(), query("0x0")});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, EndsWithoutAClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000103"}])");
        EXPECT_EQ(ask(), 41u);
        EXPECT_TRUE(state.untouched());
        expect_calls({"DbGetObjects solvane_cluster_service -> 0xc1000103"});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x29) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, HandsTheStateOutWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 3); });
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 3u);
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, FindsOnlyAClusterGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, "local", nullptr, state.as<std::uint32_t>()),
            40u);
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

TEST_F(ServiceStatus, PassesTheServicesFailureOn) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 3); });
        EXPECT_EQ(ask(), 0xc1000001u);
        EXPECT_TRUE(state.untouched());
        expect_calls({cluster_service(), query("0xc1000001")});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "GetNgcDgReservationStatusW: CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS, CsfInvoke "
                        "failed with error = 0xc1000001."},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0xc1000001) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// An informational status: the state is read, the status returned and logged.
TEST_F(ServiceStatus, ReadsTheStateOfAnInformationalAnswer) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0x41000012"}])");
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 8); });
        EXPECT_EQ(ask(), 0x41000012u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 8u);
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x41000012) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, LeavesTheStateAloneWithoutOne) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(ask(), 0u);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, AsksAllTheSameWhenAParameterCannotBeAdded) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsAddProperty", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "nothing": true}])");
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 9); });
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 9u);
        expect_calls({cluster_service(),
                      invoke("service", cluster_methods, 5, R"("Dgguid": STR "guid-2")", "0x0")});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, ReadsNothingWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "nothing": true}])");
        EXPECT_EQ(ask(), 0u);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// Failures by their class: the outputs of a call that did not fail are read.
TEST_F(ServiceStatus, ReadsTheStateUnlessTheStatusIsAFailure) {
    const struct {
        const char* status;
        std::uint32_t number;
        bool failure;
    } rows[] = {
        {"0x2a", 0x2a, true},              // of no class: a failure unless zero
        {"0x80070005", 0x80070005, true},  // of another class: by its highest bit
        {"0x00070005", 0x00070005, false},
        {"0x81000001", 0x81000001, false},  // of the bus: by its two highest bits
        {"0xc1000001", 0xc1000001, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.status);
        at_every_threshold([&] {
            GuardedBuffer one{4};
            set_faults(std::string(R"([{"function": "PrCallDispatch", "status": ")") + row.status +
                       "\"}]");
            const MethodResults results(dll().module(),
                                        [](opal_propset set) { add_number(set, "Dgstate", 6); });
            EXPECT_EQ(
                FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2", one.as<std::uint32_t>()),
                row.number);
            const Expected entering{4, "Entering GetNgcDgReservationStatusW - dg1"};
            const Expected failed{0, std::string("GetNgcDgReservationStatusW() failed, error=(0x") +
                                         (row.status + 2 + (row.status[2] == '0' ? 3 : 0)) + ") "};
            const Expected exiting{4, "Exiting GetNgcDgReservationStatusW"};
            if (row.failure) {
                EXPECT_TRUE(one.untouched());
                expect_log({enabled,
                            entering,
                            {4, std::string("GetNgcDgReservationStatusW: "
                                            "CLUSTER_MTHD_CLUSSVCOP_GETDGSTATUS, CsfInvoke failed "
                                            "with error = ") +
                                    row.status + "."},
                            failed,
                            exiting});
            } else {
                EXPECT_EQ(*one.as<std::uint32_t>(), 6u);
                expect_log({enabled, entering, failed, exiting});
            }
        });
    }
}

TEST_F(ServiceStatus, LeavesTheStateAloneWhenItIsOfAnotherType) {
    at_every_threshold([&] {
        set_faults(service_answers);
        const MethodResults results(dll().module(), [](opal_propset set) {
            const char text[] = "5";
            const opal_property property{"Dgstate", TYPE_STR, 1, sizeof text, text};
            EXPECT_EQ(PsAddProperty(set, &property), ZTSTATUS_OK);
        });
        EXPECT_EQ(ask(), 0u);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, AsksAllTheSameWithWhatCouldBeAdded) {
    struct Failure {
        const char* call;
        const char* sent;
    };
    const Failure failures[] = {{"1", ""}, {"3", R"("Dgguid": STR "guid-2", "Opflag": UINT32 0)"}};
    for (const Failure& failure : failures) {
        SCOPED_TRACE(failure.call);
        at_every_threshold([&] {
            set_faults(std::string(R"([{"function": "PsAddProperty", "call": )") + failure.call +
                       R"(, "status": "0xc1000102"},
                          {"function": "PrCallDispatch", "nothing": true}])");
            const MethodResults results(dll().module(),
                                        [](opal_propset set) { add_number(set, "Dgstate", 9); });
            EXPECT_EQ(ask(), 0u);
            EXPECT_EQ(*state.as<std::uint32_t>(), 9u);
            expect_calls(
                {cluster_service(), invoke("service", cluster_methods, 5, failure.sent, "0x0")});
            expect_log({enabled,
                        {4, "Entering GetNgcDgReservationStatusW - dg1"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {4, "Exiting GetNgcDgReservationStatusW"}});
        });
    }
}

TEST_F(ServiceStatus, AsksAllTheSameWithoutAnInputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "nothing": true}])");
        const MethodResults results(dll().module(),
                                    [](opal_propset set) { add_number(set, "Dgstate", 9); });
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(*state.as<std::uint32_t>(), 9u);
        expect_calls({cluster_service(), std::string("PrCallDispatch @service ") + cluster_methods +
                                             " 0.5 NULL 0,0,0,0 -> 0x0 {}"});
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

// Without an output set a failure is not logged by name.
TEST_F(ServiceStatus, PassesAFailureOnWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "status": "0xc1000001"}])");
        EXPECT_EQ(ask(), 0xc1000001u);
        EXPECT_TRUE(state.untouched());
        expect_log({enabled,
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0xc1000001) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

TEST_F(ServiceStatus, WantsANameOrAGuidThatFits) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, nullptr, nullptr, state.as<std::uint32_t>()),
            19u);
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", std::string(65, 'g').c_str(),
                                                 state.as<std::uint32_t>()),
                  0x80070057u);
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

// Only the search by name looks at the connection.
TEST_F(ServiceStatus, FindsNoGroupByNameWithoutAConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "", state.as<std::uint32_t>()),
                  20u);
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

TEST_F(ServiceStatus, FailsWithoutMemoryForTheGuid) {
    at_every_threshold([&] {
        // The setting has been read by then.
        ask();
        start_watching();
        GuardedBuffer untouched_state{4};
        heap().fail(1);
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "guid-2",
                                                 untouched_state.as<std::uint32_t>()),
                  17u);
        EXPECT_TRUE(untouched_state.untouched());
        expect_calls({});
        expect_log({{4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "GetNgcDgReservationStatusW() failed, error=(0x11) "},
                    {4, "Exiting GetNgcDgReservationStatusW"}});
    });
}

}  // namespace
