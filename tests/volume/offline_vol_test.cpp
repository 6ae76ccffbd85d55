// OfflineVol.
#include "support/farlo_test.h"
#include "support/fault_rules.h"
#include "support/method_results.h"
#include "volume/volume_lines.h"

namespace {

using namespace support;

class OfflineVol : public FarloTest {
  protected:
    OfflineVol() { set_node(R"("role": 1)"); }

    // Sets a scenario with this node and one group, "dg1", with the volume "vol1".
    void set_node(const std::string& node, std::uint32_t type = group_type::cluster_shared) {
        scenario = "{\"node\": {" + node +
                   R"(}, "disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": )" +
                   std::to_string(type) +
                   R"(, "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    }

    // The service gets the caller's flags and bit 0.
    static constexpr std::uint32_t flags = 0x6;
    static constexpr std::uint32_t flags_sent = 0x7;

    std::uint32_t offline() {
        return FARLO(OfflineVolW)(handle, "guid-1", L"\\Device\\one two", flags);
    }

    // The service does nothing and returns success.
    const FaultRule offline_succeeds{.method = method::offline_volume, .returns = bus_success};

    static std::string offline_call(std::uint32_t sent, std::uint32_t status) {
        return invoke("service", method::offline_volume,
                      R"("volume": ZTOBJID @vol1, "OfflineFlag": )" + uint32(sent), status);
    }

    // Lines of the log.
    const Expected entering{0, "Entering OfflineVolW - \\Device\\one two"};
    const Expected exception{6, "API_TRY_CATCH_FAILED "};
    const Expected succeeded{0,
                             "OfflineVolW() succeeded for volume \\Device\\one two, error=(0x0) "};
    static Expected failed(std::uint32_t status) {
        return {0,
                "OfflineVolW() failed for volume \\Device\\one two, error=(" + hex(status) + ") "};
    }
    const Expected exiting{2, "Exiting OfflineVolW"};
};

TEST_F(OfflineVol, SendsOfflineWhenNodeRuns) {
    at_every_threshold([&] {
        set_faults(fault_plan({offline_succeeds}));
        EXPECT_EQ(offline(), FARLO_SUCCESS);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group +
                     Lines{find_volume, cluster_service(), offline_call(flags_sent, bus_success)});
        expect_log({entering, succeeded, exiting});
    });
}

TEST_F(OfflineVol, AlwaysSetsBitZeroOfFlags) {
    once([&] {
        for (const auto& [passed, sent] :
             {std::pair{0u, 1u}, {1u, 1u}, {0xFFFFFFFEu, 0xFFFFFFFFu}}) {
            set_faults(fault_plan({offline_succeeds}));
            start_watching();
            EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", L"\\Device\\one two", passed),
                      FARLO_SUCCESS);
            EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{offline_call(sent, bus_success)}));
        }
    });
}

TEST_F(OfflineVol, SucceedsWithoutOfflineWhenNodeDoesNotRun) {
    set_node(R"("role": 0)");
    at_every_threshold([&] {
        EXPECT_EQ(offline(), FARLO_SUCCESS);
        expect_calls({find_misc, read_role(no_role)});
        expect_log({entering,
                    {6, "OfflineVolW()::CVM cluster is not running simply return success"},
                    succeeded,
                    exiting});
    });
}

TEST_F(OfflineVol, ReturnsNotConnectedWhenConnectionDropsAndNodeDoesNotRun) {
    set_node(R"("role": 0)");
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("nodeRole"))}));
        EXPECT_EQ(offline(), FARLO_NOT_CONNECTED);
        expect_calls({find_misc, read_role(no_role)});
        expect_log({entering,
                    {6, "OfflineVolW()::CVM cluster is not running simply return success"},
                    failed(FARLO_NOT_CONNECTED),
                    exiting});
    });
}

TEST_F(OfflineVol, RejectsNullDeviceBeforeNullHandle) {
    at_every_threshold([&] {
        for (const opal_handle passed : {handle, opal_handle{}}) {
            start_watching();
            EXPECT_EQ(FARLO(OfflineVolW)(passed, "guid-1", nullptr, 0), FARLO_INVALID_ARGUMENT);
            expect_calls({});
            expect_log({{0, "OfflineVolW() failed , NULL Volume Device Name"},
                        {0, "OfflineVolW() failed for volume NULL Volume Device Name, "
                            "error=(0x80070057) "},
                        exiting});
        }
    });
}

TEST_F(OfflineVol, ReturnsNotConnectedForNullDeviceOnDroppedHandle) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{0, "OfflineVolW() failed , NULL Volume Device Name"},
                    {0, "OfflineVolW() failed for volume NULL Volume Device Name, error=(0x14) "},
                    exiting});
    });
}

TEST_F(OfflineVol, RejectsNullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(nullptr, "guid-1", L"\\Device\\one two", 0),
                  FARLO_NULL_HANDLE);
        expect_calls({});
        expect_log({entering,
                    {0, "OfflineVolW() failed , NULL opal_handle"},
                    failed(FARLO_NULL_HANDLE),
                    exiting});
    });
}

TEST_F(OfflineVol, ReturnsNotConnectedWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(offline(), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({entering,
                    {0, "OfflineVolW() failed , opal_handle not connected, error=(0x14)"},
                    failed(FARLO_NOT_CONNECTED),
                    exiting});
    });
}

TEST_F(OfflineVol, RejectsNullGuidAfterReadingRole) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, nullptr, L"\\Device\\one two", 0),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({find_misc, read_role(some_role)});
        expect_log({entering,
                    {0, "OfflineVolW() failed , NULL DG GUID"},
                    failed(FARLO_INVALID_ARGUMENT),
                    exiting});
    });
}

TEST_F(OfflineVol, FailsWithoutMiscObject) {
    set_node(R"("misc": false)");
    at_every_threshold([&] {
        EXPECT_EQ(offline(), FARLO_PROVIDER_FAILED);
        expect_calls({objects(object_type::misc, "")});
        expect_log({entering,
                    {0, "OfflineVolW()::misc object not present"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
}

TEST_F(OfflineVol, FailsWhenMiscObjectCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.type = object_type::misc, .returns = bus_no_memory}}));
        EXPECT_EQ(offline(), FARLO_PROVIDER_FAILED);
        expect_calls({objects_failed(object_type::misc, bus_no_memory)});
        expect_log({entering,
                    {0, "OfflineVolW()::misc object not present"},
                    failed(FARLO_PROVIDER_FAILED),
                    exiting});
    });
}

TEST_F(OfflineVol, ReturnsNotFoundWhenGroupsCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.type = object_type::disk_group, .returns = bus_no_memory}}));
        EXPECT_EQ(offline(), FARLO_NOT_FOUND);
        expect_calls(Lines{find_misc, read_role(some_role)} +
                     Lines(5, objects_failed(object_type::disk_group, bus_no_memory)));
        expect_pauses(std::vector<Pause>(5, Pause{"Sleep", 5000}));
        expect_log(
            ExpectedLog{entering} + ExpectedLog(5, {6, "GetDgObjIdByGuid: Sleeping for 5 secs"}) +
            ExpectedLog{
                {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                {0, "OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x1) "},
                failed(FARLO_NOT_FOUND),
                exiting});
    });
}

TEST_F(OfflineVol, FailsWhenVolumesCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "DbGetObjectsByQuery", .returns = bus_bad_query}}));
        EXPECT_EQ(offline(), FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({entering,
                    {0, "FindVolObjByDevName:DbGetObjectsByQuery failed, for \\Device\\one two, "
                        "error = 0xc1000106"},
                    failed(FARLO_INVALID_ARGUMENT),
                    exiting});
    });
}

TEST_F(OfflineVol, FailsAtOnceWhenClusterServiceCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.type = object_type::cluster_service, .returns = bus_no_memory}}));
        EXPECT_EQ(offline(), FARLO_NO_CLUSTER_SERVICE);
        expect_pauses({});
        expect_log({entering,
                    {0, "OfflineDgExW():GetClusSvcId() failed, error=(0x29) "},
                    failed(FARLO_NO_CLUSTER_SERVICE),
                    exiting});
    });
}

TEST_F(OfflineVol, FailsWhenRoleCannotBeRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(reading("nodeRole"), bus_no_property)}));
        EXPECT_EQ(offline(), FARLO_EXCEPTION);
        expect_log({entering, exception, failed(FARLO_EXCEPTION), exiting});
    });
}

// The connection is not validated.
TEST_F(OfflineVol, LooksOnceForUnknownGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "elsewhere", L"\\Device\\one two", 0),
                  FARLO_NOT_FOUND);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group);
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x1) "},
                    failed(FARLO_NOT_FOUND),
                    exiting});
    });
}

TEST_F(OfflineVol, FailsForLocalGroupButNotForClusterGroup) {
    set_node(R"("role": 1)", group_type::local);
    at_every_threshold([&] {
        EXPECT_EQ(offline(), FARLO_EXCLUDED_TYPE);
        expect_log({entering,
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x28) "},
                    failed(FARLO_EXCLUDED_TYPE),
                    exiting});
    });
    set_node(R"("role": 1)", group_type::cluster);
    once([&] {
        set_faults(fault_plan({offline_succeeds}));
        EXPECT_EQ(offline(), FARLO_SUCCESS);
    });
}

TEST_F(OfflineVol, FailsForUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", L"none", 0), FARLO_INVALID_ARGUMENT);
        expect_calls(Lines{find_misc, read_role(some_role)} + find_group +
                     Lines{query_volume("none", "")});
        expect_log({{0, "Entering OfflineVolW - none"},
                    {0, "FindVolObjByDevName:Volume Object not found"},
                    {0, "OfflineVolW() failed for volume none, error=(0x80070057) "},
                    exiting});
    });
}

// The line names OfflineDgExW.
TEST_F(OfflineVol, FailsWithoutClusterService) {
    set_node(R"("role": 1, "cluster_service": false)");
    at_every_threshold([&] {
        EXPECT_EQ(offline(), FARLO_NO_CLUSTER_SERVICE);
        const Expected sleeping{6, "GetClusSvcId: Sleeping for 5 secs"};
        expect_log({entering,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    sleeping,
                    {0, "OfflineDgExW():GetClusSvcId() failed, error=(0x29) "},
                    failed(FARLO_NO_CLUSTER_SERVICE),
                    exiting});
    });
}

TEST_F(OfflineVol, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const FaultRule& fault : {no_input_set, failing(adding("volume"), bus_no_memory),
                                       failing(adding("OfflineFlag"), bus_no_memory)}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(offline(), FARLO_EXCEPTION);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_log({entering, exception, failed(FARLO_EXCEPTION), exiting});
        }
    });
}

TEST_F(OfflineVol, ReturnsStatusOfService) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({{.method = method::offline_volume, .returns = service_no_such_volume}}));
        EXPECT_EQ(offline(), service_no_such_volume);
        expect_log({entering,
                    {4, "OfflineVolW: MISCOP_VOLUMEOFFLINE, CsfInvoke failed with error = "
                        "0xe5150103."},
                    failed(service_no_such_volume),
                    exiting});
    });
}

TEST_F(OfflineVol, LogsInformationalStatusAsFailure) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.method = method::offline_volume, .returns = bus_same_value}}));
        EXPECT_EQ(offline(), bus_same_value);
        expect_log({entering,
                    {4, "OfflineVolW: MISCOP_VOLUMEOFFLINE, CsfInvoke failed with error = "
                        "0x41000012."},
                    failed(bus_same_value),
                    exiting});
    });
}

// The failure is logged without the name of the method.
TEST_F(OfflineVol, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({no_output_set,
                        {.method = method::offline_volume, .returns = service_no_such_volume}}));
        EXPECT_EQ(offline(), service_no_such_volume);
        expect_log({entering, failed(service_no_such_volume), exiting});
    });
}

TEST_F(OfflineVol, ReturnsNotConnectedWhenConnectionDropsDuringOffline) {
    at_every_threshold([&] {
        set_faults(fault_plan({offline_succeeds}));
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(offline(), FARLO_NOT_CONNECTED);
        expect_log({entering, failed(FARLO_NOT_CONNECTED), exiting});
    });
}

TEST_F(OfflineVol, AcceptsNarrowNameButNotNullOrMoreThan259Characters) {
    at_every_threshold([&] {
        set_faults(fault_plan({offline_succeeds}));
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", "\\Device\\one two", flags), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{offline_call(flags_sent, bus_success)}));
        expect_log({entering, succeeded, exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", nullptr, 0), FARLO_INVALID_ARGUMENT);
        expect_log({{0, "OfflineVolW() failed , NULL Volume Device Name"},
                    {0, "OfflineVolW() failed for volume NULL Volume Device Name, "
                        "error=(0x80070057) "},
                    exiting});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", std::string(260, 'd').c_str(), 0),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log(
            {{0, "OfflineVolA() failed , device string of more than 259 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

TEST_F(OfflineVol, AcceptsNarrowNameOf259Characters) {
    const std::string longest(259, 'd');
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 8, "volumes": [
            {"name": "vol1", "device": ")" +
               longest + R"("}]}]})";
    once([&] {
        set_faults(fault_plan({offline_succeeds}));
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", longest.c_str(), flags), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{offline_call(flags_sent, bus_success)}));
    });
}

TEST_F(OfflineVol, SucceedsOnlyWithOfflineCallWhenAllocationsFail) {
    const auto run = [&](auto offline_volume) {
        auto results = statuses_at_every_allocation([&] {
            set_faults(fault_plan({offline_succeeds}));
            start_watching();
            const std::uint32_t status = offline_volume();
            EXPECT_EQ(calls_of("PrCallDispatch"), status == FARLO_SUCCESS
                                                      ? Lines{offline_call(flags_sent, bus_success)}
                                                      : Lines{});
            return status;
        });
        // Without the string of the volume query. Every other failure is an exception.
        EXPECT_EQ(std::erase(results, FARLO_INVALID_ARGUMENT), 1u);
        EXPECT_THAT(results, testing::Not(testing::IsEmpty()));
        EXPECT_THAT(results, testing::Each(FARLO_EXCEPTION));
    };
    run([&] { return offline(); });
    run([&] { return FARLO(OfflineVolA)(handle, "guid-1", "\\Device\\one two", flags); });
}

}  // namespace
