// OnlineDg, OnlineDgEx.
#include "support/bus_lines.h"
#include "support/farlo_test.h"

namespace {

using namespace support;

constexpr std::uint32_t import_method = 2003;
const std::string group_names = "@dg1 @DG_Up @shared";

// The lookup of all three groups by GUID or name, up to the one that matches.
Lines lookup(const std::string& key, const Lines& values) {
    const std::string names[] = {"dg1", "DG_Up", "shared"};
    const std::uint32_t types[] = {2, 2, 8};
    Lines lines{groups(group_names)};
    for (std::size_t i = 0; i < values.size(); ++i) {
        lines.push_back(read(names[i], "LDM DG TYPE", uint32(types[i])));
        lines.push_back(read(names[i], key, values[i]));
    }
    return lines;
}

// The look for an imported group of that name, over all three groups.
Lines name_check() {
    return {groups(group_names),
            read("dg1", "Name", wstr("dg1")),
            read("dg1", "imported", "BOOLEAN false"),
            read("DG_Up", "Name", wstr("DG_Up")),
            read("DG_Up", "imported", "BOOLEAN true"),
            read("shared", "Name", wstr("shared")),
            read("shared", "imported", "BOOLEAN false")};
}

// The parameters that every import carries, in their order.
std::string parameters(const std::string& name, const std::string& guid,
                       const std::string& new_name, std::uint32_t word) {
    return "\"Name\": " + wstr(name) + ", \"Dgguid\": " + str(guid) + ", \"dgid\": " + str(guid) +
           ", \"Newdgname\": " + wstr(new_name) + ", \"newname\": " + wstr(name) +
           ", \"Opflag\": " + uint32(word) + ", \"OnlineFlag\": " + uint32(word);
}

std::string import_on(const std::string& target, const std::string& input,
                      const std::string& status) {
    return invoke(target, volume_manager_methods, import_method, input, status);
}

class Online : public FarloTest {
  protected:
    Online() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "DG_Up", "dgid": "guid-2", "type": 2, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8}]})";
    }

    std::uint32_t online(const wchar_t* name, const char* guid, const wchar_t* new_name,
                         std::uint32_t options) {
        return FARLO(OnlineDgExW)(handle, name, guid, new_name, options, 7);
    }
};

TEST_F(Online, ImportsByGuidAfterLookingForTheName) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), 0u);
        expect_calls(Lines{cluster_service()} + name_check() +
                     Lines{import_on("service", parameters("dg1", "guid-1", "", 0x4046), "0x0")});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDg dg1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, ResolvesTheNameAsAClusterGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"DG1", "", L"", 1), 0u);
        expect_calls(lookup("Name", {wstr("dg1")}) + Lines{read("dg1", "dgid", str("guid-1"))} +
                     Lines{cluster_service(),
                           import_on("service", parameters("DG1", "guid-1", "", 0x4007), "0x0")});
        expect_log({{0, "OnlineDg DG1 is called with flag 0x1"},
                    {0, "OnlineDg DG1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, Bit1QueriesNoGroupAndAdds0x4006) {
    once([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", L"dg9", 1), 0u);
        expect_calls({cluster_service(),
                      import_on("service", parameters("dg1", "guid-1", "dg9", 0x4007), "0x0")});
    });
}

TEST_F(Online, RefusesANameThatAnImportedGroupHasInAnyCase) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg_uP", "guid-1", nullptr, 0), 9u);
        expect_calls(Lines{cluster_service(), groups(group_names), read("dg1", "Name", wstr("dg1")),
                           read("dg1", "imported", "BOOLEAN false"),
                           read("DG_Up", "Name", wstr("DG_Up")),
                           read("DG_Up", "imported", "BOOLEAN true")});
        expect_log({{0, "OnlineDg dg_uP is called with flag 0x0"}});
    });
}

TEST_F(Online, AnEmptyNameIsComparedAsSuch) {
    once([&] {
        EXPECT_EQ(online(L"", "guid-1", nullptr, 0), 0u);
        expect_calls(Lines{cluster_service()} + name_check() +
                     Lines{import_on("service", parameters("", "guid-1", "", 0x4046), "0x0")});
    });
}

TEST_F(Online, ANullNameIsAnEmptyOne) {
    once([&] {
        EXPECT_EQ(online(nullptr, "guid-1", nullptr, 0), 0u);
        expect_calls(Lines{cluster_service()} + name_check() +
                     Lines{import_on("service", parameters("", "guid-1", "", 0x4046), "0x0")});
        expect_log({{0, "OnlineDg (null) is called with flag 0x0"},
                    {0, "OnlineDg (null) succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, ASharedGroupIsLookedUpAndIsTheTarget) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"shared", nullptr, nullptr, 0x801), 0u);
        expect_calls(lookup("Name", {wstr("dg1"), wstr("DG_Up"), wstr("shared")}) +
                     Lines{read("shared", "dgid", str("guid-8"))} +
                     lookup("dgid", {str("guid-1"), str("guid-2"), str("guid-8")}) +
                     Lines{cluster_service(), import_on("shared",
                                                        parameters("shared", "guid-8", "", 0x4807) +
                                                            ", \"shared\": BOOLEAN false",
                                                        "0x0")});
        expect_log({{0, "OnlineDg shared is called with flag 0x801"},
                    {0, "OnlineDg shared succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// Both lookups take a group of any kind with bit 0x800; without it the lookup by
// name takes cluster groups only.
TEST_F(Online, ALocalGroup) {
    scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-3", "type": 1}]})";
    const Lines by_name{groups("@local"), read("local", "LDM DG TYPE", uint32(1)),
                        read("local", "Name", wstr("local"))};
    at_every_threshold([&] {
        EXPECT_EQ(online(L"local", nullptr, nullptr, 0x801), 0u);
        expect_calls(by_name + Lines{read("local", "dgid", str("guid-3")), groups("@local"),
                                     read("local", "LDM DG TYPE", uint32(1)),
                                     read("local", "dgid", str("guid-3")), cluster_service(),
                                     import_on("local",
                                               parameters("local", "guid-3", "", 0x4807) +
                                                   ", \"shared\": BOOLEAN false",
                                               "0x0")});
        start_watching();
        EXPECT_EQ(online(L"local", nullptr, nullptr, 1), 40u);
        expect_calls(by_name);
        expect_log({{0, "OnlineDg local is called with flag 0x1"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "OnlineDgExW():SetDgGuidParam() failed, error=(0x28) "},
                    {0, "OnlineDg local failed with res  0x28"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, AnUnknownSharedGroupEndsTheCall) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"x", "nowhere", nullptr, 0x800), 1u);
        expect_calls(lookup("dgid", {str("guid-1"), str("guid-2"), str("guid-8")}));
        expect_log({{0, "OnlineDg x is called with flag 0x800"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "OnlineDgExW():GetDgObjIdByGuid() failed, error=(0x1) "},
                    {0, "OnlineDg x failed with res  0x1"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, Bit8000AddsClearHostId) {
    once([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0x8001), 0u);
        expect_calls({cluster_service(), import_on("service",
                                                   parameters("dg1", "guid-1", "", 0xC007) +
                                                       ", \"clearhostid\": BOOLEAN true",
                                                   "0x0")});
    });
}

TEST_F(Online, Bit20000IsLoggedAsOffline) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0x20001), 0u);
        expect_log({{0, "OfflineDg dg1 is called with flag 0x20001"},
                    {0, "OfflineDg dg1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// Without bit 0x800 no group is looked up: the null group is the target, all
// bits but 0x2 are set, and the result line says "OfflineDg".
TEST_F(Online, ClusterSharedAloneGoesToTheNullGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0x200001), ZTERROR_NULL_OBJECT);
        expect_calls({cluster_service(),
                      import_on("null",
                                parameters("dg1", "guid-1", "", 0xFFFFFFFD) +
                                    ", \"clearhostid\": BOOLEAN true, \"shared\": BOOLEAN false, "
                                    "\"clustershared\": BOOLEAN true",
                                "0xc1000010")});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x200001"},
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xc1000010."},
                    {0, "OfflineDg dg1 failed with res  0xc1000010"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, ClusterSharedKeepsBit2) {
    once([&] {
        EXPECT_EQ(online(L"shared", "guid-8", L"", 0x200883), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{import_on("shared",
                                   parameters("shared", "guid-8", "", 0xFFFFFFFF) +
                                       ", \"clearhostid\": BOOLEAN true, \"shared\": BOOLEAN "
                                       "false, \"clustershared\": BOOLEAN true",
                                   "0x0")}));
    });
}

TEST_F(Online, NeitherNameNorGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"", "", nullptr, 0), 0x13u);
        expect_calls({});
        expect_log({{0, "OnlineDg  is called with flag 0x0"},
                    {0, "OnlineDgExW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "OnlineDg  failed with res  0x13"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, AGuidTextThatDoesNotFitIsRefused) {
    at_every_threshold([&] {
        const std::string fits(64, 'g');
        const std::string too_long(65, 'g');
        EXPECT_EQ(online(L"d", too_long.c_str(), nullptr, 1), 0x80070057u);
        expect_calls({});
        expect_log({{0, "OnlineDg d is called with flag 0x1"},
                    {0, "OnlineDgExW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"},
                    {0, "OnlineDg d failed with res  0x80070057"},
                    {2, "Exiting OnlineDgExW"}});
        start_watching();
        online(L"d", fits.c_str(), nullptr, 1);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{import_on("service", parameters("d", fits, "", 0x4007), "0xe5150101")}));
    });
}

TEST_F(Online, NullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineDgExW)(nullptr, L"dg1", "guid-1", nullptr, 0, 0), 100u);
        expect_calls({});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDgExW() failed , NULL opal_handle, error=(0x64) "}});
    });
}

TEST_F(Online, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), 20u);
        expect_calls({});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDgExW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(Online, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "drop": true}])");
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 1), 20u);
        expect_calls({cluster_service(),
                      import_on("service", parameters("dg1", "guid-1", "", 0x4007), "0x0")});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {0, "OnlineDg dg1 failed with res  0x14"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// Whatever it was.
TEST_F(Online, ADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 2003, "after": "0xe515007a", "drop": true}])");
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 1), 20u);
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "OnlineDg dg1 failed with res  0x14"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// A group that is imported already ends the call before the connection is looked at.
TEST_F(Online, ATakenNameIsToldOfADroppedConnectionToo) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "DG_Up", "property": "imported", "drop": true}])");
        EXPECT_EQ(online(L"DG_Up", "guid-1", nullptr, 0), 9u);
        expect_log({{0, "OnlineDg DG_Up is called with flag 0x0"}});
    });
}

TEST_F(Online, NoClusterService) {
    scenario = R"({"node": {"cluster_service": false}})";
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), 41u);
        const std::string none = objects("solvane_cluster_service", "");
        expect_calls({none, none, none, none, none});
        expect_pauses(
            {{"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {6, "GetClusSvcId: Sleeping for 5 secs"},
                    {6, "GetClusSvcId: Sleeping for 5 secs"},
                    {6, "GetClusSvcId: Sleeping for 5 secs"},
                    {6, "GetClusSvcId: Sleeping for 5 secs"},
                    {6, "GetClusSvcId: Sleeping for 5 secs"},
                    {0, "OnlineDgExW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "OnlineDg dg1 failed with res  0x29"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, TheServicesStatusIsPassedOn) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 2003, "status": "0xe515007a"}])");
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 1), 0xe515007au);
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "OnlineDg dg1 failed with res  0xe515007a"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, AGroupWithoutAReadableNameIsPassedOver) {
    once([&] {
        set_faults(R"([{"function": "ObGetProperty", "object": "dg1", "property": "Name",
                        "status": "0xc100003a"}])");
        EXPECT_EQ(online(L"dg_up", "guid-1", nullptr, 0), 9u);
        expect_calls(
            {cluster_service(), groups(group_names), read_failed("dg1", "Name", "0xc100003a"),
             read("DG_Up", "Name", wstr("DG_Up")), read("DG_Up", "imported", "BOOLEAN true")});
    });
}

TEST_F(Online, AGroupWithoutAReadableImportedEndsTheCall) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "object": "dg1", "property": "imported",
                        "as": "UINT32"}])");
        EXPECT_EQ(online(L"dg9", "guid-1", nullptr, 0), 18u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{0, "OnlineDg dg9 is called with flag 0x0"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "OnlineDg dg9 failed with res  0x12"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// A failed query of the groups finds none, and the import goes on.
TEST_F(Online, AFailedNameCheckQueryFindsNoGroup) {
    once([&] {
        set_faults(R"([{"function": "DbGetObjects", "type": "tamo_ztvm_diskgroup",
                        "status": "0xc1000001"}])");
        EXPECT_EQ(online(L"dg_up", "guid-1", nullptr, 0), 0u);
        expect_calls({cluster_service(), "DbGetObjects tamo_ztvm_diskgroup -> 0xc1000001",
                      import_on("service", parameters("dg_up", "guid-1", "", 0x4046), "0x0")});
    });
}

// Out of memory while the groups are listed: the call has always ended with
// success, without an import and without its result line.
TEST_F(Online, ANameCheckQueryThatThrowsEndsTheCallWithSuccess) {
    at_every_threshold([&] {
        // GUID text, list of cluster services, list of groups.
        heap().fail(3, 100);
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), 0u);
        heap().fail_no_more();
        expect_calls({cluster_service(), groups(group_names)});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"}});
    });
}

TEST_F(Online, NoMemoryForTheGuidText) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), 17u);
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDgExW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "OnlineDg dg1 failed with res  0x11"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// Each parameter that cannot be added, and the set that cannot be made. The word
// is completed after "Name": only then does the result line say "OfflineDg".
TEST_F(Online, AParameterSetThatCannotBeBuilt) {
    const auto failing = [this](const std::string& fault, const std::string& line) {
        SCOPED_TRACE(fault);
        set_faults("[{" + fault + ", \"status\": \"0xc1000102\"}]");
        start_watching();
        EXPECT_EQ(online(L"shared", "guid-8", nullptr, 0x200801), 18u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{0, "OnlineDg shared is called with flag 0x200801"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, line + " shared failed with res  0x12"},
                    {2, "Exiting OnlineDgExW"}});
    };
    at_every_threshold([&] {
        failing(R"("function": "PsCreatePropset", "call": 1)", "OnlineDg");
        failing(R"("function": "PsAddProperty", "property": "Name")", "OnlineDg");
        for (const char* name : {"Dgguid", "dgid", "Newdgname", "newname", "Opflag", "OnlineFlag",
                                 "clearhostid", "shared", "clustershared"}) {
            failing(std::string(R"("function": "PsAddProperty", "property": ")") + name + "\"",
                    "OfflineDg");
        }
    });
}

// Without an output set the method is invoked all the same, and its failure is
// not logged in the method's line.
TEST_F(Online, NoOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 2003, "status": "0xe5150101"}])");
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 1), 0xe5150101u);
        expect_calls({cluster_service(),
                      "PrCallDispatch @service {61678c9a-1dd2-11b2-9623-0800209ead9c} 0.2003 {" +
                          parameters("dg1", "guid-1", "", 0x4007) +
                          "} 0,0,0,0 -> 0xe5150101 NULL"});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {0, "OnlineDg dg1 failed with res  0xe5150101"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(Online, OnlineDgWIsTheSameWithoutTheLastArgument) {
    once([&] {
        EXPECT_EQ(FARLO(OnlineDgW)(handle, L"dg1", "guid-1", L"dg9", 1), 0u);
        expect_calls({cluster_service(),
                      import_on("service", parameters("dg1", "guid-1", "dg9", 0x4007), "0x0")});
    });
}

TEST_F(Online, NarrowForms) {
    const Lines wanted{cluster_service(),
                       import_on("service", parameters("dg1", "guid-1", "dg9", 0x4007), "0x0")};
    once([&] {
        EXPECT_EQ(FARLO(OnlineDgExA)(handle, "dg1", "guid-1", "dg9", 1, 0), 0u);
        expect_calls(wanted);
        load_scenario(scenario);
        start_watching();
        EXPECT_EQ(FARLO(OnlineDgA)(handle, "dg1", "guid-1", "dg9", 1), 0u);
        expect_calls(wanted);
    });
}

TEST_F(Online, NarrowNamesOfMoreThan31CharactersAreRefused) {
    at_every_threshold([&] {
        const std::string fits(31, 'n');
        const std::string too_long(32, 'n');
        for (const bool new_name : {false, true}) {
            start_watching();
            EXPECT_EQ(FARLO(OnlineDgExA)(handle, new_name ? "dg1" : too_long.c_str(), "guid-1",
                                         new_name ? too_long.c_str() : nullptr, 1, 0),
                      0x80070057u);
            expect_calls({});
            expect_log(
                {{0, std::string("OnlineDgExA() failed , ") + (new_name ? "new_name" : "name") +
                         " string of more than 31 characters or invalid, "
                         "error=(0x80070057)"}});
        }
        start_watching();
        EXPECT_EQ(FARLO(OnlineDgExA)(handle, fits.c_str(), "guid-1", nullptr, 1, 0), 0u);
        expect_calls({cluster_service(),
                      import_on("service", parameters(fits, "guid-1", "", 0x4007), "0x0")});
    });
}

TEST_F(Online, ANarrowNullNameStaysNull) {
    once([&] {
        EXPECT_EQ(FARLO(OnlineDgExA)(handle, nullptr, nullptr, nullptr, 0, 0), 19u);
        expect_calls({});
    });
}

}  // namespace
