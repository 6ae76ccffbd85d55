// ImportDg.
#include "support/bus_lines.h"
#include "support/farlo_test.h"

namespace {

using namespace support;

std::string import_on_service(const std::string& guid, const std::string& new_name,
                              const std::string& name, std::uint32_t word,
                              const std::string& status, const std::string& output = "{}") {
    return invoke("service", volume_manager_methods, 2003,
                  "\"Dgguid\": " + str(guid) + ", \"dgid\": " + str(guid) +
                      ", \"Newdgname\": " + wstr(new_name) + ", \"newname\": " + wstr(name) +
                      ", \"Opflag\": " + uint32(word) + ", \"OnlineFlag\": " + uint32(word),
                  status, output);
}

class Import : public FarloTest {
  protected:
    Import() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "up", "dgid": "guid-2", "type": 2, "imported": true},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
    }
};

TEST_F(Import, SendsAllBitsButTheCallersBit2) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 0u);
        expect_calls({cluster_service(), import_on_service("guid-1", "", "", 0xFFFFFFFD, "0x0")});
        expect_log({{6, "Entering ImportDgW"}, {6, "Exiting ImportDgW"}});
    });
}

TEST_F(Import, TheCallersBit2IsKept) {
    once([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", L"", 2), 0u);
        expect_calls({cluster_service(), import_on_service("guid-1", "", "", 0xFFFFFFFF, "0x0")});
    });
}

// "newname" is the present name, and only beside a new one.
TEST_F(Import, SendsTheNameBesideANewName) {
    once([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", L"dg9", 1), 0u);
        expect_calls(
            {cluster_service(), import_on_service("guid-1", "dg9", "dg1", 0xFFFFFFFD, "0x0")});
    });
}

TEST_F(Import, ResolvesTheNameAsAClusterGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"local", nullptr, nullptr, 0x800), 40u);
        expect_calls({groups("@dg1 @up @local"), read("dg1", "LDM DG TYPE", uint32(2)),
                      read("dg1", "Name", wstr("dg1")), read("up", "LDM DG TYPE", uint32(2)),
                      read("up", "Name", wstr("up")), read("local", "LDM DG TYPE", uint32(1)),
                      read("local", "Name", wstr("local"))});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "ImportDgW():SetDgGuidParam failed, error=(0x28) "},
                    {0, "ImportDgW() failed, error=(0x28) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(Import, DoesNotLookForAnImportedGroupOfThatName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"up", "guid-2", nullptr, 0), 0xe515007au);
        expect_calls(
            {cluster_service(), import_on_service("guid-2", "", "", 0xFFFFFFFD, "0xe515007a")});
        expect_log({{6, "Entering ImportDgW"},
                    {4, "ImportDgW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "ImportDgW() failed, error=(0xe515007a) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(Import, NullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(nullptr, L"dg1", "guid-1", nullptr, 0), 100u);
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

TEST_F(Import, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 20u);
        expect_calls({});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(Import, NeitherNameNorGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, nullptr, "", nullptr, 0), 0x13u);
        expect_calls({});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():SetDgGuidParam failed, error=(0x13) "},
                    {0, "ImportDgW() failed, error=(0x13) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(Import, NoMemoryForTheGuidText) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 17u);
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():SetDgGuidParam failed, error=(0x11) "},
                    {0, "ImportDgW() failed, error=(0x11) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// A failed query ends the search for the cluster service at once.
TEST_F(Import, ClusterServiceQueryFails) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "status": "0xc1000001"}])");
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 41u);
        expect_calls({"DbGetObjects solvane_cluster_service -> 0xc1000001"});
        expect_pauses({});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "ImportDgW() failed, error=(0x29) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// Were there several, the first would be the one.
TEST_F(Import, TheFirstClusterServiceIsTheTarget) {
    once([&] {
        interpose<decltype(DbGetObjects)>(
            "DbGetObjects", [&](opal_connection connection, opal_context context, const char* type,
                                opal_objid** ids, uint32_t* count) {
                EXPECT_STREQ(type, "solvane_cluster_service");
                return DbGetObjects(connection, context, "tamo_ztvm_diskgroup", ids, count);
            });
        set_faults(R"([{"minor": 2003, "status": 0}])");
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 0u);
        const Lines sent = calls_of("PrCallDispatch");
        ASSERT_EQ(sent.size(), 1u);
        EXPECT_EQ(sent[0].substr(0, 19), "PrCallDispatch @dg1");
    });
}

TEST_F(Import, AParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        for (const char* name :
             {"Dgguid", "dgid", "Newdgname", "newname", "Opflag", "OnlineFlag"}) {
            SCOPED_TRACE(name);
            set_faults(std::string(R"([{"function": "PsAddProperty", "property": ")") + name +
                       R"(", "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 18u);
            expect_calls({cluster_service()});
            expect_log({{6, "Entering ImportDgW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "ImportDgW() failed, error=(0x12) "},
                        {6, "Exiting ImportDgW"}});
        }
    });
}

TEST_F(Import, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "drop": true}])");
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 20u);
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed, error=(0x14) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// Whatever it was.
TEST_F(Import, ADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 2003, "after": "0xe515007a", "drop": true}])");
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 20u);
        expect_log({{6, "Entering ImportDgW"},
                    {4, "ImportDgW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "ImportDgW() failed, error=(0x14) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(Import, ADropWhileTheServiceIsLookedFor) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "after": "0xc1000001", "drop": true}])");
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 20u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "ImportDgW() failed, error=(0x14) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// The import is sent all the same; its failure then has no line of its own.
TEST_F(Import, NoOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 2003, "status": "0xe5150101"}])");
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), 0xe5150101u);
        expect_calls({cluster_service(),
                      import_on_service("guid-1", "", "", 0xFFFFFFFD, "0xe5150101", "NULL")});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed, error=(0xe5150101) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(Import, NarrowForm) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgA)(handle, "dg1", "guid-1", "dg9", 2), 0u);
        expect_calls(
            {cluster_service(), import_on_service("guid-1", "dg9", "dg1", 0xFFFFFFFF, "0x0")});
        const std::string too_long(32, 'n');
        for (const bool new_name : {false, true}) {
            start_watching();
            EXPECT_EQ(FARLO(ImportDgA)(handle, new_name ? nullptr : too_long.c_str(), "guid-1",
                                       new_name ? too_long.c_str() : nullptr, 0),
                      0x80070057u);
            expect_calls({});
            expect_log(
                {{0, std::string("ImportDgA() failed , ") + (new_name ? "new_name" : "name") +
                         " string of more than 31 characters or invalid, "
                         "error=(0x80070057)"}});
        }
    });
}

}  // namespace
