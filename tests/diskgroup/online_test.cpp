// OnlineDg, OnlineDgEx.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

class OnlineDg : public FarloTest {
  protected:
    OnlineDg() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "DG_Up", "dgid": "guid-2", "type": 2, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8}]})";
    }

    std::uint32_t online(const wchar_t* name, const char* guid, const wchar_t* new_name,
                         std::uint32_t options) {
        return FARLO(OnlineDgExW)(handle, name, guid, new_name, options, 7);
    }

    // The method call that imports a group, and the parameters that it always has. Both option
    // parameters have the same value.
    static std::string import_group(const std::string& target, const std::string& input,
                                    std::uint32_t status, const std::string& output = "{}") {
        return invoke(target, method::import_group, input, status, output);
    }
    static std::string parameters(const std::string& name, const std::string& guid,
                                  const std::string& new_name, std::uint32_t option_bits) {
        return "\"Name\": " + wstr(name) + ", \"Dgguid\": " + str(guid) +
               ", \"dgid\": " + str(guid) + ", \"Newdgname\": " + wstr(new_name) +
               ", \"newname\": " + wstr(name) + ", \"Opflag\": " + uint32(option_bits) +
               ", \"OnlineFlag\": " + uint32(option_bits);
    }
};

// Parameters that some options add.
const std::string clear_host_id = ", \"clearhostid\": " + boolean(true);
const std::string shared_group = ", \"shared\": " + boolean(false);
const std::string cluster_shared_group = ", \"clustershared\": " + boolean(true);

const std::string all_groups = groups("@dg1 @DG_Up @shared");

// Searches by name or by GUID: for the first group, and for one that is the last or not found.
const Lines find_dg1_by_name = {all_groups, read_type("dg1", group_type::cluster),
                                read("dg1", "Name", wstr("dg1"))};
const Lines search_all_by_name =
    find_dg1_by_name +
    Lines{read_type("DG_Up", group_type::cluster), read("DG_Up", "Name", wstr("DG_Up")),
          read_type("shared", group_type::cluster_shared), read("shared", "Name", wstr("shared"))};
const Lines search_all_by_guid = {all_groups,
                                  read_type("dg1", group_type::cluster),
                                  read("dg1", "dgid", str("guid-1")),
                                  read_type("DG_Up", group_type::cluster),
                                  read("DG_Up", "dgid", str("guid-2")),
                                  read_type("shared", group_type::cluster_shared),
                                  read("shared", "dgid", str("guid-8"))};

// The check whether a group of that name is imported already: up to "DG_Up", and of all groups.
const Lines check_names_up_to_dg_up = {
    all_groups, read("dg1", "Name", wstr("dg1")), read("dg1", "imported", boolean(false)),
    read("DG_Up", "Name", wstr("DG_Up")), read("DG_Up", "imported", boolean(true))};
const Lines check_all_names =
    check_names_up_to_dg_up +
    Lines{read("shared", "Name", wstr("shared")), read("shared", "imported", boolean(false))};

TEST_F(OnlineDg, ChecksNameAndImportsByGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
        expect_calls(
            Lines{cluster_service()} + check_all_names +
            Lines{import_group("service", parameters("dg1", "guid-1", "", 0x4046), bus_success)});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDg dg1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, FindsClusterGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"DG1", "", L"", FARLO_ONLINE_NO_NAME_CHECK), FARLO_SUCCESS);
        expect_calls(
            find_dg1_by_name + Lines{read("dg1", "dgid", str("guid-1"))} +
            Lines{cluster_service(),
                  import_group("service", parameters("DG1", "guid-1", "", 0x4007), bus_success)});
        expect_log({{0, "OnlineDg DG1 is called with flag 0x1"},
                    {0, "OnlineDg DG1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, QueriesNoGroupWithoutNameCheck) {
    once([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", L"dg9", FARLO_ONLINE_NO_NAME_CHECK), FARLO_SUCCESS);
        expect_calls(
            {cluster_service(),
             import_group("service", parameters("dg1", "guid-1", "dg9", 0x4007), bus_success)});
    });
}

TEST_F(OnlineDg, ReturnsAlreadyImportedForNameInAnyCase) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg_uP", "guid-1", nullptr, 0), FARLO_ALREADY_IMPORTED);
        expect_calls(Lines{cluster_service()} + check_names_up_to_dg_up);
        expect_log({{0, "OnlineDg dg_uP is called with flag 0x0"}});
    });
}

TEST_F(OnlineDg, ChecksEmptyName) {
    once([&] {
        EXPECT_EQ(online(L"", "guid-1", nullptr, 0), FARLO_SUCCESS);
        expect_calls(
            Lines{cluster_service()} + check_all_names +
            Lines{import_group("service", parameters("", "guid-1", "", 0x4046), bus_success)});
    });
}

TEST_F(OnlineDg, TreatsNullNameAsEmpty) {
    once([&] {
        EXPECT_EQ(online(nullptr, "guid-1", nullptr, 0), FARLO_SUCCESS);
        expect_calls(
            Lines{cluster_service()} + check_all_names +
            Lines{import_group("service", parameters("", "guid-1", "", 0x4046), bus_success)});
        expect_log({{0, "OnlineDg (null) is called with flag 0x0"},
                    {0, "OnlineDg (null) succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, SendsImportToSharedGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(
            online(L"shared", nullptr, nullptr, FARLO_ONLINE_SHARED | FARLO_ONLINE_NO_NAME_CHECK),
            FARLO_SUCCESS);
        expect_calls(
            search_all_by_name + Lines{read("shared", "dgid", str("guid-8"))} + search_all_by_guid +
            Lines{cluster_service(),
                  import_group("shared", parameters("shared", "guid-8", "", 0x4807) + shared_group,
                               bus_success)});
        expect_log({{0, "OnlineDg shared is called with flag 0x801"},
                    {0, "OnlineDg shared succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// Without the option, the search by name finds cluster groups only.
TEST_F(OnlineDg, FindsLocalGroupByNameOnlyWithSharedOption) {
    scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-3", "type": 1}]})";
    const Lines find_local_by_name{groups("@local"), read_type("local", group_type::local),
                                   read("local", "Name", wstr("local"))};
    at_every_threshold([&] {
        EXPECT_EQ(
            online(L"local", nullptr, nullptr, FARLO_ONLINE_SHARED | FARLO_ONLINE_NO_NAME_CHECK),
            FARLO_SUCCESS);
        expect_calls(
            find_local_by_name +
            Lines{read("local", "dgid", str("guid-3")), groups("@local"),
                  read_type("local", group_type::local), read("local", "dgid", str("guid-3")),
                  cluster_service(),
                  import_group("local", parameters("local", "guid-3", "", 0x4807) + shared_group,
                               bus_success)});
        start_watching();
        EXPECT_EQ(online(L"local", nullptr, nullptr, FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_EXCLUDED_TYPE);
        expect_calls(find_local_by_name);
        expect_log({{0, "OnlineDg local is called with flag 0x1"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "OnlineDgExW():SetDgGuidParam() failed, error=(0x28) "},
                    {0, "OnlineDg local failed with res  0x28"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, ReturnsNotFoundForUnknownSharedGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"x", "nowhere", nullptr, FARLO_ONLINE_SHARED), FARLO_NOT_FOUND);
        expect_calls(search_all_by_guid);
        expect_log({{0, "OnlineDg x is called with flag 0x800"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "OnlineDgExW():GetDgObjIdByGuid() failed, error=(0x1) "},
                    {0, "OnlineDg x failed with res  0x1"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, SendsClearHostIdWithItsOption) {
    once([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr,
                         FARLO_ONLINE_CLEAR_HOST_ID | FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        expect_calls(
            {cluster_service(),
             import_group("service", parameters("dg1", "guid-1", "", 0xC007) + clear_host_id,
                          bus_success)});
    });
}

TEST_F(OnlineDg, LogsOfflineDgWithItsOption) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr,
                         FARLO_ONLINE_LOG_AS_OFFLINE | FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        expect_log({{0, "OfflineDg dg1 is called with flag 0x20001"},
                    {0, "OfflineDg dg1 succeeded with res  0x0"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// No group is searched for. All option bits except 0x2 are set: one of them makes the result line
// say "OfflineDg".
TEST_F(OnlineDg, SendsClusterSharedImportToNullObjectWithoutSharedOption) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr,
                         FARLO_ONLINE_CLUSTER_SHARED | FARLO_ONLINE_NO_NAME_CHECK),
                  bus_null_object);
        expect_calls({cluster_service(),
                      import_group("null",
                                   parameters("dg1", "guid-1", "", 0xFFFFFFFD) + clear_host_id +
                                       shared_group + cluster_shared_group,
                                   bus_null_object)});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x200001"},
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xc1000010."},
                    {0, "OfflineDg dg1 failed with res  0xc1000010"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, KeepsCallersOptionBit2OfClusterSharedGroup) {
    once([&] {
        EXPECT_EQ(online(L"shared", "guid-8", L"",
                         FARLO_ONLINE_CLUSTER_SHARED | FARLO_ONLINE_SHARED |
                             FARLO_ONLINE_NO_NAME_CHECK | 0x82),
                  FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{import_group("shared",
                                      parameters("shared", "guid-8", "", 0xFFFFFFFF) +
                                          clear_host_id + shared_group + cluster_shared_group,
                                      bus_success)}));
    });
}

TEST_F(OnlineDg, RequiresNameOrGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(online(L"", "", nullptr, 0), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{0, "OnlineDg  is called with flag 0x0"},
                    {0, "OnlineDgExW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "OnlineDg  failed with res  0x13"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, RejectsGuidOfMoreThan64Characters) {
    at_every_threshold([&] {
        const std::string fits(64, 'g');
        const std::string too_long(65, 'g');
        EXPECT_EQ(online(L"d", too_long.c_str(), nullptr, FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{0, "OnlineDg d is called with flag 0x1"},
                    {0, "OnlineDgExW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"},
                    {0, "OnlineDg d failed with res  0x80070057"},
                    {2, "Exiting OnlineDgExW"}});
        start_watching();
        online(L"d", fits.c_str(), nullptr, FARLO_ONLINE_NO_NAME_CHECK);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{import_group("service", parameters("d", fits, "", 0x4007),
                                      service_no_such_group)}));
    });
}

TEST_F(OnlineDg, RejectsNullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineDgExW)(nullptr, L"dg1", "guid-1", nullptr, 0, 0), FARLO_NULL_HANDLE);
        expect_calls({});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDgExW() failed , NULL opal_handle, error=(0x64) "}});
    });
}

TEST_F(OnlineDg, ReturnsNotConnectedWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDgExW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(OnlineDg, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(calling(method::import_group))}));
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_NOT_CONNECTED);
        expect_calls(
            {cluster_service(),
             import_group("service", parameters("dg1", "guid-1", "", 0x4007), bus_success)});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {0, "OnlineDg dg1 failed with res  0x14"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {failing_and_dropping(calling(method::import_group), service_already_online)}));
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_NOT_CONNECTED);
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "OnlineDg dg1 failed with res  0x14"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// The connection is not checked in this case.
TEST_F(OnlineDg, ReturnsAlreadyImportedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("DG_Up", "imported"))}));
        EXPECT_EQ(online(L"DG_Up", "guid-1", nullptr, 0), FARLO_ALREADY_IMPORTED);
        expect_log({{0, "OnlineDg DG_Up is called with flag 0x0"}});
    });
}

TEST_F(OnlineDg, FailsAfterFiveQueriesWithoutClusterService) {
    scenario = R"({"node": {"cluster_service": false}})";
    at_every_threshold([&] {
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), FARLO_NO_CLUSTER_SERVICE);
        expect_calls(Lines(5, objects(object_type::cluster_service, "")));
        expect_pauses(std::vector<Pause>(5, {"Sleep", 5000}));
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

TEST_F(OnlineDg, ReturnsFailureOfService) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(calling(method::import_group), service_already_online)}));
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, FARLO_ONLINE_NO_NAME_CHECK),
                  service_already_online);
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "OnlineDg dg1 failed with res  0xe515007a"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, NameCheckSkipsGroupWhoseNameCannotBeRead) {
    once([&] {
        set_faults(fault_plan({failing(reading("dg1", "Name"), bus_no_property)}));
        EXPECT_EQ(online(L"dg_up", "guid-1", nullptr, 0), FARLO_ALREADY_IMPORTED);
        expect_calls({cluster_service(), all_groups, read_failed("dg1", "Name", bus_no_property),
                      read("DG_Up", "Name", wstr("DG_Up")),
                      read("DG_Up", "imported", boolean(true))});
    });
}

TEST_F(OnlineDg, FailsWhenImportedPropertyHasAnotherType) {
    at_every_threshold([&] {
        set_faults(fault_plan({with_type(reading("dg1", "imported"), "UINT32")}));
        EXPECT_EQ(online(L"dg9", "guid-1", nullptr, 0), FARLO_EXCEPTION);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{0, "OnlineDg dg9 is called with flag 0x0"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "OnlineDg dg9 failed with res  0x12"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, ImportsWhenNameCheckCannotQueryGroups) {
    once([&] {
        set_faults(fault_plan({failing(querying(object_type::disk_group))}));
        EXPECT_EQ(online(L"dg_up", "guid-1", nullptr, 0), FARLO_SUCCESS);
        expect_calls(
            {cluster_service(), objects_failed(object_type::disk_group, bus_provider_failed),
             import_group("service", parameters("dg_up", "guid-1", "", 0x4046), bus_success)});
    });
}

// The call succeeds although nothing was imported, and logs no result line.
TEST_F(OnlineDg, SucceedsWithoutImportWhenNameCheckRunsOutOfMemory) {
    at_every_threshold([&] {
        // The third allocation is for the list of groups, after the GUID string and the list of
        // cluster services.
        heap().fail(3, 100);
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
        heap().fail_no_more();
        expect_calls({cluster_service(), all_groups});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"}});
    });
}

TEST_F(OnlineDg, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, 0), FARLO_NO_GUID_MEMORY);
        expect_log({{0, "OnlineDg dg1 is called with flag 0x0"},
                    {0, "OnlineDgExW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "OnlineDg dg1 failed with res  0x11"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

// The option bits are completed after "Name" is added: from then on the result line says
// "OfflineDg".
TEST_F(OnlineDg, FailsWhenParameterCannotBeAdded) {
    const auto expect_exception = [this](const FaultRule& fault, const std::string& operation) {
        SCOPED_TRACE(fault_plan({fault}));
        set_faults(fault_plan({fault}));
        start_watching();
        EXPECT_EQ(
            online(L"shared", "guid-8", nullptr,
                   FARLO_ONLINE_CLUSTER_SHARED | FARLO_ONLINE_SHARED | FARLO_ONLINE_NO_NAME_CHECK),
            FARLO_EXCEPTION);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{0, "OnlineDg shared is called with flag 0x200801"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, operation + " shared failed with res  0x12"},
                    {2, "Exiting OnlineDgExW"}});
    };
    at_every_threshold([&] {
        expect_exception(no_input_set, "OnlineDg");
        expect_exception(failing(adding("Name"), bus_no_memory), "OnlineDg");
        for (const char* parameter : {"Dgguid", "dgid", "Newdgname", "newname", "Opflag",
                                      "OnlineFlag", "clearhostid", "shared", "clustershared"}) {
            expect_exception(failing(adding(parameter), bus_no_memory), "OfflineDg");
        }
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(OnlineDg, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set, failing(calling(method::import_group), service_no_such_group)}));
        EXPECT_EQ(online(L"dg1", "guid-1", nullptr, FARLO_ONLINE_NO_NAME_CHECK),
                  service_no_such_group);
        expect_calls(
            {cluster_service(), import_group("service", parameters("dg1", "guid-1", "", 0x4007),
                                             service_no_such_group, "NULL")});
        expect_log({{0, "OnlineDg dg1 is called with flag 0x1"},
                    {0, "OnlineDg dg1 failed with res  0xe5150101"},
                    {2, "Exiting OnlineDgExW"}});
    });
}

TEST_F(OnlineDg, OnlineDgWSendsSameCallsAsOnlineDgExW) {
    once([&] {
        EXPECT_EQ(FARLO(OnlineDgW)(handle, L"dg1", "guid-1", L"dg9", FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        expect_calls(
            {cluster_service(),
             import_group("service", parameters("dg1", "guid-1", "dg9", 0x4007), bus_success)});
    });
}

TEST_F(OnlineDg, NarrowFormsSendSameCallsAsWideForms) {
    const Lines expected{
        cluster_service(),
        import_group("service", parameters("dg1", "guid-1", "dg9", 0x4007), bus_success)};
    once([&] {
        EXPECT_EQ(FARLO(OnlineDgExA)(handle, "dg1", "guid-1", "dg9", FARLO_ONLINE_NO_NAME_CHECK, 0),
                  FARLO_SUCCESS);
        expect_calls(expected);
        load_scenario(scenario);
        start_watching();
        EXPECT_EQ(FARLO(OnlineDgA)(handle, "dg1", "guid-1", "dg9", FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        expect_calls(expected);
    });
}

TEST_F(OnlineDg, RejectsNarrowNamesOfMoreThan31Characters) {
    at_every_threshold([&] {
        const std::string fits(31, 'n');
        const std::string too_long(32, 'n');
        for (const bool new_name : {false, true}) {
            start_watching();
            EXPECT_EQ(FARLO(OnlineDgExA)(handle, new_name ? "dg1" : too_long.c_str(), "guid-1",
                                         new_name ? too_long.c_str() : nullptr,
                                         FARLO_ONLINE_NO_NAME_CHECK, 0),
                      FARLO_INVALID_ARGUMENT);
            expect_calls({});
            expect_log(
                {{0, std::string("OnlineDgExA() failed , ") + (new_name ? "new_name" : "name") +
                         " string of more than 31 characters or invalid, "
                         "error=(0x80070057)"}});
        }
        start_watching();
        EXPECT_EQ(FARLO(OnlineDgExA)(handle, fits.c_str(), "guid-1", nullptr,
                                     FARLO_ONLINE_NO_NAME_CHECK, 0),
                  FARLO_SUCCESS);
        expect_calls(
            {cluster_service(),
             import_group("service", parameters(fits, "guid-1", "", 0x4007), bus_success)});
    });
}

TEST_F(OnlineDg, NarrowFormRequiresNameOrGuid) {
    once([&] {
        EXPECT_EQ(FARLO(OnlineDgExA)(handle, nullptr, nullptr, nullptr, 0, 0),
                  FARLO_MISSING_ARGUMENT);
        expect_calls({});
    });
}

}  // namespace
