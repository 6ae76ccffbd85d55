// OnlineVol on a node that runs.
#include "volume/online_vol_fixture.h"

namespace {

using namespace support;

TEST_F(OnlineVol, SendsOnlineForImportedGroup) {
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group +
                     Lines{read_imported(true), find_volume, cluster_service(),
                           online_call(flags_sent, bus_success)});
        expect_log({entering, succeeded, exiting});
        EXPECT_TRUE(clock().waits().empty());
    });
}

TEST_F(OnlineVol, AlwaysSetsBitZeroOfFlags) {
    once([&] {
        for (const auto& [passed, sent] :
             {std::pair{0u, 1u}, {1u, 1u}, {0xFFFFFFFEu, 0xFFFFFFFFu}}) {
            set_faults(fault_plan({online_succeeds}));
            start_watching();
            EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", L"\\Device\\one two", passed, 1000),
                      FARLO_SUCCESS);
            EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{online_call(sent, bus_success)}));
        }
    });
}

TEST_F(OnlineVol, ImportsGroupFirst) {
    set_node(R"("role": 1)", deported);
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group +
                     Lines{read_imported(false), read("dg1", "Name", wstr("dg1"))} + find_group +
                     Lines{cluster_service(), import_call(bus_success), find_volume,
                           cluster_service(), online_call(flags_sent, bus_success)});
        expect_log({entering, importing, import_succeeded, exiting_import, succeeded, exiting});
    });
}

TEST_F(OnlineVol, SucceedsWhenGroupIsAlreadyOnline) {
    set_node(R"("role": 1)", deported);
    at_every_threshold([&] {
        set_faults(
            fault_plan({online_succeeds,
                        {.method = method::import_group, .returns = service_already_online}}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{import_call(service_already_online),
                                                     online_call(flags_sent, bus_success)}));
        expect_log({entering,
                    importing,
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "OfflineDg dg1 failed with res  0xe515007a"},
                    exiting_import,
                    succeeded,
                    exiting});
    });
}

TEST_F(OnlineVol, FailsWhenImportFails) {
    set_node(R"("role": 1)", deported);
    at_every_threshold([&] {
        set_faults(fault_plan(
            {online_succeeds, {.method = method::import_group, .returns = service_name_taken}}));
        EXPECT_EQ(online(), service_name_taken);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        expect_log({entering,
                    importing,
                    {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe5150105."},
                    {0, "OfflineDg dg1 failed with res  0xe5150105"},
                    exiting_import,
                    {0, "OnlineVolW():OnlineDg()  failed, error=(0xe5150105) "},
                    failed(service_name_taken),
                    exiting});
    });
}

TEST_F(OnlineVol, AcceptsGroupNameOf258CharactersAndFailsFor259) {
    const auto set_name_of_length = [this](std::size_t length) {
        scenario = R"({"node": {"role": 1}, "disk_groups": [{"name": ")" +
                   std::string(length, 'n') +
                   R"(", "id": "dg1", "dgid": "guid-1", "type": 8, "volumes": [
                       {"name": "vol1", "device": "\\Device\\one two"}]}]})";
    };
    set_name_of_length(258);
    once([&] {
        set_faults(fault_plan({online_succeeds, import_succeeds}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch").size(), 2u);
    });
    set_name_of_length(259);
    at_every_threshold([&] {
        EXPECT_EQ(online(), FARLO_EXCEPTION);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({entering, exception, failed(FARLO_EXCEPTION), exiting});
    });
}

TEST_F(OnlineVol, RejectsNullDeviceBeforeNullHandle) {
    at_every_threshold([&] {
        for (const opal_handle passed : {handle, opal_handle{}}) {
            start_watching();
            EXPECT_EQ(FARLO(OnlineVolW)(passed, "guid-1", nullptr, 0, 0), FARLO_INVALID_ARGUMENT);
            expect_calls({});
            expect_log({{0, "OnlineVolW() failed , NULL Volume Device Name"},
                        {0, "OnlineVolW() failed for volume NULL Volume Device Name, "
                            "error=(0x80070057) "},
                        exiting});
        }
    });
}

TEST_F(OnlineVol, ReturnsNotConnectedForNullDeviceOnDroppedHandle) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", nullptr, 0, 0), FARLO_NOT_CONNECTED);
        expect_log({{0, "OnlineVolW() failed , NULL Volume Device Name"},
                    {0, "OnlineVolW() failed for volume NULL Volume Device Name, error=(0x14) "},
                    exiting});
    });
}

TEST_F(OnlineVol, RejectsNullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(nullptr, "guid-1", L"\\Device\\one two", 0, 0),
                  FARLO_NULL_HANDLE);
        expect_calls({});
        expect_log({entering,
                    {0, "OnlineVolW() failed , NULL opal_handle"},
                    failed(FARLO_NULL_HANDLE),
                    exiting});
    });
}

TEST_F(OnlineVol, ReturnsNotConnectedWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(online(), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({entering,
                    {0, "OnlineVolW() failed , opal_handle not connected"},
                    failed(FARLO_NOT_CONNECTED),
                    exiting});
    });
}

TEST_F(OnlineVol, RejectsNullGuidAfterReadingRole) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, nullptr, L"\\Device\\one two", 0, 0),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({find_misc, read_role(some_role)});
        expect_log({entering,
                    {0, "OnlineVolW() failed , NULL DG GUID"},
                    failed(FARLO_INVALID_ARGUMENT),
                    exiting});
    });
}

TEST_F(OnlineVol, FailsWithoutMiscObject) {
    set_node(R"("misc": false)", imported);
    at_every_threshold([&] {
        EXPECT_EQ(online(), FARLO_PROVIDER_FAILED);
        expect_calls({objects(object_type::misc, "")});
        expect_log({entering,
                    {0, "OnlineVolW()::misc object not present"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
}

TEST_F(OnlineVol, FailsWhenMiscObjectCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.type = object_type::misc, .returns = bus_no_memory}}));
        EXPECT_EQ(online(), FARLO_PROVIDER_FAILED);
        expect_calls({objects_failed(object_type::misc, bus_no_memory)});
        expect_log({entering,
                    {0, "OnlineVolW()::misc object not present"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
}

TEST_F(OnlineVol, FailsWhenPropertyCannotBeRead) {
    set_node(R"("role": 1)", deported);
    at_every_threshold([&] {
        for (const FaultRule& fault : {with_type(reading("misc", "nodeRole"), "INT32"),
                                       with_type(reading("dg1", "imported"), "UINT32"),
                                       failing(reading("dg1", "Name"), bus_no_property)}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({online_succeeds, fault}));
            start_watching();
            EXPECT_EQ(online(), FARLO_EXCEPTION);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({entering, exception, failed(FARLO_EXCEPTION), exiting});
        }
    });
}

TEST_F(OnlineVol, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const FaultRule& fault : {no_input_set, failing(adding("volume"), bus_no_memory),
                                       failing(adding("OnlineFlag"), bus_no_memory)}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(online(), FARLO_EXCEPTION);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({entering, exception, failed(FARLO_EXCEPTION), exiting});
        }
    });
}

// The connection is not validated.
TEST_F(OnlineVol, FailsForGroupOfExcludedType) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 7}]})";
    at_every_threshold([&] {
        EXPECT_EQ(online(), FARLO_EXCLUDED_TYPE);
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x28) "},
                    failed(FARLO_EXCLUDED_TYPE),
                    exiting});
    });
}

// The lookup accepts every type but the excluded ones, not only cluster groups.
TEST_F(OnlineVol, FindsLocalGroup) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 1, "imported": true, "volumes": [
            {"name": "vol1", "device": "\\Device\\one two"}]}]})";
    once([&] {
        set_faults(fault_plan({online_succeeds}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
    });
}

TEST_F(OnlineVol, LooksTwiceForUnknownGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "elsewhere", L"\\Device\\one two", 0, 0),
                  FARLO_NOT_FOUND);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group + find_group);
        expect_log({entering,
                    unknown_group,
                    entering_validate,
                    exiting_validate,
                    unknown_group,
                    {0, "OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x1) "},
                    failed(FARLO_NOT_FOUND),
                    exiting});
    });
}

// The connection never dropped, so validating it changes nothing.
TEST_F(OnlineVol, KeepsHandleWhenGroupIsFoundAtSecondLookup) {
    at_every_threshold([&] {
        lab_cmd_calls before;
        LabCmdGetCalls(&before);
        set_faults(fault_plan(
            {online_succeeds, {.property = "dgid", .call = 1, .returns = bus_no_property}}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        expect_calls(Lines{find_misc, read_role(some_role), groups("@dg1"),
                           read_type("dg1", group_type::cluster_shared),
                           read_failed("dg1", "dgid", bus_no_property)} +
                     find_group +
                     Lines{read_imported(true), find_volume, cluster_service(),
                           online_call(flags_sent, bus_success)});
        expect_log(
            {entering, unknown_group, entering_validate, exiting_validate, succeeded, exiting});
        lab_cmd_calls after;
        LabCmdGetCalls(&after);
        EXPECT_EQ(after.initialize, before.initialize);
        EXPECT_EQ(after.uninitialize, before.uninitialize);
    });
}

TEST_F(OnlineVol, FailsForGroupOfExcludedTypeAtSecondLookup) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 7}]})";
    at_every_threshold([&] {
        set_faults(fault_plan({{.property = "dgid", .call = 1, .returns = bus_no_property}}));
        EXPECT_EQ(online(), FARLO_EXCLUDED_TYPE);
        expect_log({entering,
                    unknown_group,
                    entering_validate,
                    exiting_validate,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x28) "},
                    failed(FARLO_EXCLUDED_TYPE),
                    exiting});
    });
}

TEST_F(OnlineVol, FailsForUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", L"none", 0, 0), FARLO_INVALID_ARGUMENT);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group +
                     Lines{read_imported(true), query_volume("none", "")});
        expect_log({{0, "Entering OnlineVolW - none"},
                    {0, "FindVolObjByDevName:Volume Object not found"},
                    {0, "OnlineVolW() failed for volume none, error=(0x80070057) "},
                    exiting});
    });
}

TEST_F(OnlineVol, FailsWhenVolumesCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "DbGetObjectsByQuery", .returns = bus_bad_query}}));
        EXPECT_EQ(online(), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({entering,
                    {0, "FindVolObjByDevName:DbGetObjectsByQuery failed, for \\Device\\one two, "
                        "error = 0xc1000106"},
                    failed(FARLO_INVALID_ARGUMENT),
                    exiting});
    });
}

TEST_F(OnlineVol, AcceptsInformationalStatusOfVolumeQuery) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {online_succeeds,
             {.function = "DbGetObjectsByQuery", .returns_after_work = bus_same_value}}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{online_call(flags_sent, bus_success)}));
        expect_log({entering, succeeded, exiting});
    });
}

TEST_F(OnlineVol, FailsWithoutMemoryForVolumeQuery) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "_ZtAlloc", .succeeds_empty = true}}));
        EXPECT_EQ(online(), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        expect_log({entering,
                    {0, "FindVolObjByDevName: failed to allocate memory"},
                    failed(FARLO_INVALID_ARGUMENT),
                    exiting});
    });
}

// The query has 2048 characters with its terminator.
TEST_F(OnlineVol, RejectsDeviceNameThatDoesNotFitIntoQuery) {
    const std::wstring start_of_query = L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ ";
    const std::wstring fits(2047 - start_of_query.size(), L'd');
    once([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", fits.c_str(), 0, 0), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery").size(), 1u);
        start_watching();
        const std::wstring too_long = fits + L"d";
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", too_long.c_str(), 0, 0),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        std::string error;
        const std::vector<LogLine> lines = read_log(environment().log_file(), error);
        ASSERT_EQ(lines.size(), 4u);
        EXPECT_EQ(lines[1].text, "OnlineVolW() failed , device string of more than 1995 "
                                 "characters, error=(0x80070057)");
    });
}

TEST_F(OnlineVol, TakesFirstOfTwoVolumesWithSameDeviceName) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 8, "imported": true, "volumes": [
            {"name": "vol1", "device": "\\Device\\one two"},
            {"name": "vol2", "device": "\\Device\\one two"}]}]})";
    once([&] {
        set_faults(fault_plan({online_succeeds}));
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{online_call(flags_sent, bus_success)}));
    });
}

TEST_F(OnlineVol, FailsWithoutClusterService) {
    set_node(R"("role": 1, "cluster_service": false)", imported);
    at_every_threshold([&] {
        EXPECT_EQ(online(), FARLO_NO_CLUSTER_SERVICE);
        const Expected sleeping{6, "GetClusSvcId: Sleeping for 5 secs"};
        expect_log({entering,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    {0, "OnlineVolW():GetClusSvcId() failed, error=(0x29) "},
                    failed(FARLO_NO_CLUSTER_SERVICE),
                    exiting});
    });
}

TEST_F(OnlineVol, ReturnsStatusOfService) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({{.method = method::online_volume, .returns = service_no_such_volume}}));
        EXPECT_EQ(online(), service_no_such_volume);
        expect_log({entering,
                    {4, "OnlineVolW: MISCOP_VOLUMEONLINE, CsfInvoke failed with error = "
                        "0xe5150103."},
                    failed(service_no_such_volume),
                    exiting});
    });
}

TEST_F(OnlineVol, LogsInformationalStatusAsFailure) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.method = method::online_volume, .returns = bus_same_value}}));
        EXPECT_EQ(online(), bus_same_value);
        expect_log({entering,
                    {4, "OnlineVolW: MISCOP_VOLUMEONLINE, CsfInvoke failed with error = "
                        "0x41000012."},
                    failed(bus_same_value),
                    exiting});
    });
}

// The failure is logged without the name of the method.
TEST_F(OnlineVol, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set, {.method = method::online_volume, .returns = service_no_such_volume}}));
        EXPECT_EQ(online(), service_no_such_volume);
        expect_log({entering, failed(service_no_such_volume), exiting});
    });
}

TEST_F(OnlineVol, ReturnsNotConnectedWhenConnectionDropsDuringOnline) {
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(online(), FARLO_NOT_CONNECTED);
        expect_log({entering, failed(FARLO_NOT_CONNECTED), exiting});
    });
}

TEST_F(OnlineVol, AcceptsNarrowDeviceName) {
    at_every_threshold([&] {
        set_faults(fault_plan({online_succeeds}));
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", "\\Device\\one two", flags, 1000),
                  FARLO_SUCCESS);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group +
                     Lines{read_imported(true), find_volume, cluster_service(),
                           online_call(flags_sent, bus_success)});
        expect_log({entering, succeeded, exiting});
    });
}

TEST_F(OnlineVol, RejectsNullNarrowNameAndOneOfMoreThan259Characters) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", nullptr, 0, 0), FARLO_INVALID_ARGUMENT);
        expect_log({{0, "OnlineVolW() failed , NULL Volume Device Name"},
                    {0, "OnlineVolW() failed for volume NULL Volume Device Name, "
                        "error=(0x80070057) "},
                    exiting});
        const std::string fits(259, 'd');  // but is not the name of a volume
        start_watching();
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", fits.c_str(), 0, 0), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery").size(), 1u);
        start_watching();
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", (fits + "d").c_str(), 0, 0),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log(
            {{0, "OnlineVolA() failed , device string of more than 259 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

TEST_F(OnlineVol, SucceedsOnlyWithOnlineCallWhenAllocationsFail) {
    set_node(R"("role": 1)", deported);
    const auto run = [&](auto online_volume) {
        auto results = statuses_at_every_allocation([&] {
            set_faults(fault_plan({online_succeeds, import_succeeds}));
            start_watching();
            const std::uint32_t status = online_volume();
            const Lines requests = calls_of("PrCallDispatch");
            EXPECT_EQ(status == FARLO_SUCCESS,
                      !requests.empty() && requests.back() == online_call(flags_sent, bus_success));
            return status;
        });
        // The GUID string for the import; the string of the volume query. Every other failure is
        // an exception.
        EXPECT_EQ(std::erase(results, FARLO_NO_GUID_MEMORY), 1u);
        EXPECT_EQ(std::erase(results, FARLO_INVALID_ARGUMENT), 1u);
        EXPECT_THAT(results, testing::Not(testing::IsEmpty()));
        EXPECT_THAT(results, testing::Each(FARLO_EXCEPTION));
    };
    run([&] { return online(); });
    run([&] { return FARLO(OnlineVolA)(handle, "guid-1", "\\Device\\one two", flags, 1000); });
}

}  // namespace
