// StopDgReservation.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class StopReservation : public FarloTest {
  protected:
    StopReservation() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
    }

    static std::string stop(const std::string& guid, const std::string& status) {
        return invoke("service", cluster_methods, 4,
                      "\"Dgguid\": STR \"" + guid + "\", \"Opflag\": UINT32 1", status);
    }
};

const char service_answers[] = R"([{"function": "PrCallDispatch", "nothing": true}])";

TEST_F(StopReservation, SendsGuidAndFlagToTheClusterService) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, nullptr, "guid-x"), 0u);
        expect_calls({cluster_service(), stop("guid-x", "0x0")});
        expect_log({{6, "Entering StopDgReservationW"}, {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, FindsOnlyAClusterGroupByName) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, "dg1", nullptr), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), std::vector<std::string>{stop("guid-2", "0x0")});
        start_watching();
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, "local", nullptr), 40u);
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "StopDgReservationW():SetDgGuidParam() failed, error=(0x28)"},
                    {0, "StopDgReservationW() failed, error=(0x28)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, WantsAConnectedHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(StopDgReservationW)(nullptr, L"dg1", "guid-2"), 100u);
        disconnect();
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 20u);
        expect_calls({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed , NULL opal_handle, error=(0x64)"},
                    {6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed ,  opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(StopReservation, RefusesANarrowNameThatIsTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, std::string(32, 'n').c_str(), "g"),
                  0x80070057u);
        expect_calls({});
        expect_log({{0, "StopDgReservationA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

TEST_F(StopReservation, EndsWithoutAClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 41u);
        expect_pauses({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "StopDgReservationW() failed, error=(0x29)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, PassesTheServicesStatusOn) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0x2a"}])");
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 0x2au);
        expect_calls({cluster_service(), stop("guid-2", "0x2a")});
        expect_log({{6, "Entering StopDgReservationW"},
                    {4, "StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed "
                        "with error = 0x2a."},
                    {0, "StopDgReservationW() failed, error=(0x2a)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, IsNotConnectedWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 20u);
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed, error=(0x14)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, FailsWhenAParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* call : {"1", "2"}) {
            set_faults(std::string(R"([{"function": "PsAddProperty", "call": )") + call +
                       R"(, "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 18u);
            expect_calls({cluster_service()});
            expect_log({{6, "Entering StopDgReservationW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "StopDgReservationW() failed, error=(0x12)"},
                        {6, "Exiting StopDgReservationW"}});
        }
    });
}

TEST_F(StopReservation, IsNotConnectedWhateverFailedMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 20u);
        expect_log({{6, "Entering StopDgReservationW"},
                    {4, "StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed "
                        "with error = 0xc1000001."},
                    {0, "StopDgReservationW() failed, error=(0x14)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, LogsEveryStatusButZero) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0x41000012"}])");
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 0x41000012u);
        expect_log({{6, "Entering StopDgReservationW"},
                    {4, "StopDgReservationW: CLUSTER_MTHD_CLUSSVCOP_OFFLINEDG, CsfInvoke failed "
                        "with error = 0x41000012."},
                    {0, "StopDgReservationW() failed, error=(0x41000012)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, WantsANameOrAGuidThatFits) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(StopDgReservationA)(handle, nullptr, nullptr), 19u);
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", std::string(65, 'g').c_str()),
                  0x80070057u);
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

TEST_F(StopReservation, FailsWithoutMemoryForTheGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 17u);
        expect_calls({});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW():SetDgGuidParam() failed, error=(0x11)"},
                    {0, "StopDgReservationW() failed, error=(0x11)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, FailsWithoutAnInputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"}])");
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 18u);
        expect_calls({cluster_service()});
        expect_log({{6, "Entering StopDgReservationW"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "StopDgReservationW() failed, error=(0x12)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

// Without an output set the call is made, and its failure not logged by name.
TEST_F(StopReservation, GoesOnWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(StopDgReservationW)(handle, L"dg1", "guid-2"), 0xc1000001u);
        expect_calls({cluster_service(), invoke("service", cluster_methods, 4,
                                                R"("Dgguid": STR "guid-2", "Opflag": UINT32 1)",
                                                "0xc1000001", "NULL")});
        expect_log({{6, "Entering StopDgReservationW"},
                    {0, "StopDgReservationW() failed, error=(0xc1000001)"},
                    {6, "Exiting StopDgReservationW"}});
    });
}

TEST_F(StopReservation, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        set_faults(service_answers);
        return FARLO(StopDgReservationA)(handle, "dg1", nullptr);
    });
    EXPECT_GT(answers.size(), 2u);
    EXPECT_THAT(answers, testing::Each(testing::Ne(0u)));
}

}  // namespace
