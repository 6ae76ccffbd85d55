// DeportDg.
#include "diskgroup/deport_fixture.h"

namespace {

using namespace support;

TEST_F(Deport, DeportSendsItsOwnWord) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 0u);
        expect_calls(Lines{cluster_service()} + lookup(1) +
                     Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4042, "0x0")});
        expect_log({{6, "Entering DeportDgW"}, {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportStopsWithoutAGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"x", "guid-3"), 40u);
        expect_calls(Lines{cluster_service()} + lookup(3));
        expect_log({{6, "Entering DeportDgW"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "DeportDgW():GetDgObjIdByGuid() failed, error=(0x28)"},
                    {0, "DeportDgW() failed, error=(0x28)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportTakesAClusterSharedGroup) {
    once([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"", "guid-8"), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("shared", "guid-8", "OfflineFlag", 0x4042, "0x0")}));
    });
}

TEST_F(Deport, DeportChecksItsHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(nullptr, L"dg1", "guid-1"), 100u);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed , NULL opal_handle, error=(0x64)"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 20u);
        expect_calls({});
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(Deport, DeportWithoutNameAndGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, nullptr, nullptr), 0x13u);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW():SetDgGuidParam() failed, error=(0x13)"},
                    {0, "DeportDgW() failed, error=(0x13)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportWithoutClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 41u);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "DeportDgW() failed, error=(0x29)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportServiceStatus) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 2001, "status": "0xe5150102"}])");
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 0xe5150102u);
        expect_log({{6, "Entering DeportDgW"},
                    {4, "DeportDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xe5150102."},
                    {0, "DeportDgW() failed, error=(0xe5150102)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        for (const char* name : {"Dgguid", "dgid", "Opflag", "OfflineFlag"}) {
            SCOPED_TRACE(name);
            set_faults(std::string(R"([{"function": "PsAddProperty", "property": ")") + name +
                       R"(", "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 18u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({{6, "Entering DeportDgW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "DeportDgW() failed, error=(0x12)"},
                        {6, "Exiting DeportDgW"}});
        }
    });
}

TEST_F(Deport, DeportAConnectionThatDropsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "drop": true}])");
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 20u);
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed, error=(0x14)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 2001, "after": "0xe5150102", "drop": true}])");
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 20u);
        expect_log({{6, "Entering DeportDgW"},
                    {4, "DeportDgW: DGOP_DEPORT, CsfInvoke failed with error = 0xe5150102."},
                    {0, "DeportDgW() failed, error=(0x14)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportADropWhileTheServiceIsLookedFor) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "after": "0xc1000001", "drop": true}])");
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 20u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "DeportDgW() failed, error=(0x14)"},
                    {6, "Exiting DeportDgW"}});
    });
}

TEST_F(Deport, DeportWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 2001, "status": "0xe5150102"}])");
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"dg1", "guid-1"), 0xe5150102u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4042, "0xe5150102", "NULL")}));
        expect_log({{6, "Entering DeportDgW"},
                    {0, "DeportDgW() failed, error=(0xe5150102)"},
                    {6, "Exiting DeportDgW"}});
    });
}

// Its lookup by name takes cluster groups only.
TEST_F(Deport, DeportOfALocalGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgW)(handle, L"local", nullptr), 40u);
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

TEST_F(Deport, DeportNarrowForm) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(DeportDgA)(handle, "dg1", "guid-1"), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4042, "0x0")}));
        load_scenario(scenario);
        start_watching();
        EXPECT_EQ(FARLO(DeportDgA)(handle, "dg1", nullptr), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{deport("dg1", "guid-1", "OfflineFlag", 0x4042, "0x0")}));
        start_watching();
        EXPECT_EQ(FARLO(DeportDgA)(handle, std::string(32, 'n').c_str(), "guid-1"), 0x80070057u);
        expect_calls({});
        expect_log({{0, "DeportDgA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"}});
    });
}

}  // namespace
