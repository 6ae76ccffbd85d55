// ArbitrateDg.
#include "bus_lines.h"
#include "farlo_test.h"
#include "method_results.h"

namespace {

using namespace support;

class Arbitrate : public FarloTest {
  protected:
    Arbitrate() {
        scenario = R"({"disk_groups": [
            {"name": "local", "dgid": "guid-1", "type": 1},
            {"name": "dg1", "dgid": "guid-2", "type": 2}]})";
    }

    static std::string arbitrate(const std::string& guid, const std::string& status) {
        return invoke("service", cluster_methods, 2, "\"Dgguid\": STR \"" + guid + "\"", status);
    }
};

const char service_answers[] = R"([{"function": "PrCallDispatch", "nothing": true}])";

TEST_F(Arbitrate, SendsTheGuidToTheClusterService) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "any guid"), 0u);
        expect_calls({cluster_service(), arbitrate("any guid", "0x0")});
        expect_log({{2, "Entering ArbitrateDgW - dg1"}, {2, "Exiting ArbitrateDgW"}});
        expect_pauses({});
    });
}

TEST_F(Arbitrate, FindsAClusterGroupByName) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, "DG1", ""), 0u);
        expect_calls(
            {"DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @dg1]",
             read("local", "LDM DG TYPE", "UINT32 1"), read("local", "Name", "WSTR \"local\""),
             read("dg1", "LDM DG TYPE", "UINT32 2"), read("dg1", "Name", "WSTR \"dg1\""),
             read("dg1", "dgid", "STR \"guid-2\""), cluster_service(), arbitrate("guid-2", "0x0")});
        expect_log({{2, "Entering ArbitrateDgW - DG1"}, {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, FindsNoOtherGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"local", nullptr), 40u);
        EXPECT_EQ(calls_of("PrCallDispatch"), std::vector<std::string>{});
        expect_log({{2, "Entering ArbitrateDgW - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "ArbitrateDgW():SetDgGuidParam failed, error=(0x28)"},
                    {0, "ArbitrateDgW() failed, error=(0x28)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, WantsAHandle) {
    connects = false;
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(nullptr, L"dg1", "guid-2"), 100u);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

TEST_F(Arbitrate, WantsAConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 20u);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(Arbitrate, WantsANameOrAGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"", nullptr), 19u);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - "},
                    {0, "ArbitrateDgW():SetDgGuidParam failed, error=(0x13)"},
                    {0, "ArbitrateDgW() failed, error=(0x13)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, RefusesTextsThatAreTooLong) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", std::string(65, 'g').c_str()), 0x80070057u);
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, std::string(32, 'n').c_str(), "g"), 0x80070057u);
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

TEST_F(Arbitrate, TakesTextsThatJustFit) {
    once([&] {
        set_faults(service_answers);
        const std::string guid(64, 'g');
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, std::string(31, 'n').c_str(), guid.c_str()), 0u);
        expect_calls({cluster_service(), arbitrate(guid, "0x0")});
    });
}

TEST_F(Arbitrate, EndsWithoutAClusterService) {
    scenario = R"({"node": {"cluster_service": false}})";
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 41u);
        EXPECT_EQ(calls(),
                  std::vector<std::string>(5, "DbGetObjects solvane_cluster_service -> 0x0 []"));
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

TEST_F(Arbitrate, PassesTheServicesStatusOn) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 0xc1000001u);
        expect_calls({cluster_service(), arbitrate("guid-2", "0xc1000001")});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {4, "ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    {0, "ArbitrateDgW() failed, error=(0xc1000001)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

// Informational statuses are no success here.
TEST_F(Arbitrate, LogsEveryStatusButZero) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0x41000012"}])");
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 0x41000012u);
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {4, "ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with "
                        "error = 0x41000012."},
                    {0, "ArbitrateDgW() failed, error=(0x41000012)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, IsNotConnectedWhenTheConnectionDrops) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "nothing": true, "drop": true}])");
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 20u);
        expect_calls({cluster_service(), arbitrate("guid-2", "0x0")});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed, error=(0x14)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, FailsWhenAParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* function : {"PsCreatePropset", "PsAddProperty"}) {
            set_faults(std::string(R"([{"function": ")") + function +
                       R"(", "call": 1, "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 18u);
            expect_calls({cluster_service()});
            expect_log({{2, "Entering ArbitrateDgW - dg1"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "ArbitrateDgW() failed, error=(0x12)"},
                        {2, "Exiting ArbitrateDgW"}});
        }
    });
}

// Without an output set the call is made, and its failure not logged by name.
TEST_F(Arbitrate, GoesOnWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"function": "PrCallDispatch", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 0xc1000001u);
        expect_calls(
            {cluster_service(), invoke("service", cluster_methods, 2, R"("Dgguid": STR "guid-2")",
                                       "0xc1000001", "NULL")});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW() failed, error=(0xc1000001)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, FailsWithoutMemoryForTheGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 17u);
        expect_calls({});
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {0, "ArbitrateDgW():SetDgGuidParam failed, error=(0x11)"},
                    {0, "ArbitrateDgW() failed, error=(0x11)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, IsNotConnectedWhateverFailedMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "status": "0xc1000001"}])");
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(FARLO(ArbitrateDgW)(handle, L"dg1", "guid-2"), 20u);
        expect_log({{2, "Entering ArbitrateDgW - dg1"},
                    {4, "ArbitrateDgW:CLUSTER_MTHD_CLUSSVCOP_ARBITRATEDG, CsfInvoke failed with "
                        "error = 0xc1000001."},
                    {0, "ArbitrateDgW() failed, error=(0x14)"},
                    {2, "Exiting ArbitrateDgW"}});
    });
}

TEST_F(Arbitrate, TakesNoNarrowNameBesideAGuid) {
    at_every_threshold([&] {
        set_faults(service_answers);
        EXPECT_EQ(FARLO(ArbitrateDgA)(handle, nullptr, "guid-2"), 0u);
        expect_calls({cluster_service(), arbitrate("guid-2", "0x0")});
        expect_log({{2, "Entering ArbitrateDgW - (null)"}, {2, "Exiting ArbitrateDgW"}});
    });
}

// Without memory: 17 for the GUID's copy, 41 for the search, 18 for what is sent; and
// the service's own answer where the bus has none.
TEST_F(Arbitrate, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        set_faults(service_answers);
        return FARLO(ArbitrateDgA)(handle, "dg1", nullptr);
    });
    EXPECT_GT(answers.size(), 2u);
    EXPECT_THAT(answers, testing::Each(testing::Ne(0u)));
}

}  // namespace
