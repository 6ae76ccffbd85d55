// OnlineVol.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/method_results.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

using namespace support;

constexpr std::uint32_t import_method = 2003;
constexpr std::uint32_t online_method = 6063;
constexpr wchar_t device[] = L"\\Device\\one two";

// The import of the volume's group: all option bits but 0x2.
const std::string import_input =
    R"("Name": WSTR "dg1", "Dgguid": STR "guid-1", "dgid": STR "guid-1", "Newdgname": WSTR "", )"
    R"("newname": WSTR "dg1", "Opflag": UINT32 4294967293, "OnlineFlag": UINT32 4294967293, )"
    R"("clearhostid": BOOLEAN true, "shared": BOOLEAN false, "clustershared": BOOLEAN true)";

Lines node_role(std::uint32_t role) {
    return {objects("tamo_ztvm_misc", "@misc"), read("misc", "nodeRole", uint32(role))};
}

Lines find_group() {
    return {groups("@dg1"), read("dg1", "LDM DG TYPE", "UINT32 8"),
            read("dg1", "dgid", str("guid-1"))};
}

Lines is_imported(bool imported) {
    return {read("dg1", "imported", imported ? "BOOLEAN true" : "BOOLEAN false")};
}

// The device name stands in the query as it is given.
const std::string find_volume =
    R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ )"
    R"(\\Device\\one two" -> 0x0 [@vol1])";

std::string online_call(std::uint32_t flags, const std::string& status) {
    return invoke("service", volume_manager_methods, online_method,
                  R"("volume": ZTOBJID @vol1, "OnlineFlag": )" + uint32(flags), status);
}

Lines found_and_sent(std::uint32_t flags, const std::string& status) {
    return {find_volume, cluster_service(), online_call(flags, status)};
}

std::vector<Expected> result_lines(const std::string& status) {
    const std::string outcome = status == "0x0" ? "succeeded" : "failed";
    return {
        {0, "OnlineVolW() " + outcome + " for volume \\Device\\one two, error=(" + status + ") "},
        {2, "Exiting OnlineVolW"}};
}

unsigned resets = 0;
void reset_timeout() {
    ++resets;
}
// Sets an error, as any code of an agent may.
void reset_timeout_with_an_error() {
    ++resets;
    SetLastError(ERROR_DISK_FULL);
}

class OnlineVolume : public FarloTest {
  protected:
    OnlineVolume() { set_node(R"("role": 1)", true); }

    void set_node(const std::string& node, bool imported) {
        scenario =
            "{\"node\": {" + node +
            R"(}, "disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": 8, "imported": )" +
            (imported ? "true" : "false") +
            R"(, "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    }

    std::uint32_t online(std::uint32_t flags = 0x6, std::uint32_t timeout_ms = 1000) {
        return FARLO(OnlineVolW)(handle, "guid-1", device, flags, timeout_ms);
    }

    // The service does nothing and says that it succeeded.
    void accept_online(const std::string& more = "") {
        set_faults(R"([{"minor": 6063, "status": "0x0"})" + more + "]");
    }

    // Exactly these lines between the entry line and the two of the result.
    void expect_lines(const std::vector<Expected>& lines, const std::string& status) {
        std::vector<Expected> all{{0, "Entering OnlineVolW - \\Device\\one two"}};
        all.insert(all.end(), lines.begin(), lines.end());
        const std::vector<Expected> result = result_lines(status);
        all.insert(all.end(), result.begin(), result.end());
        expect_log(all);
    }
};

TEST_F(OnlineVolume, OnARunningNodeWithItsGroupImported) {
    at_every_threshold([&] {
        accept_online();
        EXPECT_EQ(online(0x6), 0u);
        expect_calls(node_role(1) + find_group() + is_imported(true) + found_and_sent(7, "0x0"));
        expect_lines({}, "0x0");
        EXPECT_TRUE(clock().waits().empty());
    });
}

TEST_F(OnlineVolume, BitZeroIsAlwaysSet) {
    once([&] {
        for (const auto& [flags, sent] :
             {std::pair{0u, 1u}, {1u, 1u}, {0xFFFFFFFEu, 0xFFFFFFFFu}}) {
            accept_online();
            start_watching();
            EXPECT_EQ(online(flags), 0u);
            EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{online_call(sent, "0x0")}));
        }
    });
}

TEST_F(OnlineVolume, TheGroupIsImportedFirst) {
    set_node(R"("role": 1)", false);
    at_every_threshold([&] {
        accept_online();
        EXPECT_EQ(online(), 0u);
        expect_calls(node_role(1) + find_group() + is_imported(false) +
                     Lines{read("dg1", "Name", wstr("dg1"))} + find_group() +
                     Lines{cluster_service(), invoke("dg1", volume_manager_methods, import_method,
                                                     import_input, "0x0")} +
                     found_and_sent(7, "0x0"));
        expect_lines({{0, "OnlineDg dg1 is called with flag 0x200881"},
                      {0, "OfflineDg dg1 succeeded with res  0x0"},
                      {2, "Exiting OnlineDgExW"}},
                     "0x0");
    });
}

TEST_F(OnlineVolume, AGroupThatIsOnlineAlreadyIsNoFailure) {
    set_node(R"("role": 1)", false);
    at_every_threshold([&] {
        accept_online(R"(, {"minor": 2003, "status": "0xe515007a"})");
        EXPECT_EQ(online(), 0u);
        EXPECT_EQ(
            calls_of("PrCallDispatch"),
            (Lines{invoke("dg1", volume_manager_methods, import_method, import_input, "0xe515007a"),
                   online_call(7, "0x0")}));
        expect_lines({{0, "OnlineDg dg1 is called with flag 0x200881"},
                      {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                      {0, "OfflineDg dg1 failed with res  0xe515007a"},
                      {2, "Exiting OnlineDgExW"}},
                     "0x0");
    });
}

TEST_F(OnlineVolume, AFailedImportEndsTheCall) {
    set_node(R"("role": 1)", false);
    at_every_threshold([&] {
        accept_online(R"(, {"minor": 2003, "status": "0xe5150105"})");
        EXPECT_EQ(online(), 0xe5150105u);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        expect_lines({{0, "OnlineDg dg1 is called with flag 0x200881"},
                      {4, "OnlineDgExW: DGOP_IMPORT, CsfInvoke failed with error = 0xe5150105."},
                      {0, "OfflineDg dg1 failed with res  0xe5150105"},
                      {2, "Exiting OnlineDgExW"},
                      {0, "OnlineVolW():OnlineDg()  failed, error=(0xe5150105) "}},
                     "0xe5150105");
    });
}

TEST_F(OnlineVolume, AGroupNameOf258CharactersFitsAndOneMoreDoesNot) {
    set_node(R"("role": 1)", false);
    const auto set_name = [this](std::size_t length) {
        scenario = R"({"node": {"role": 1}, "disk_groups": [{"name": ")" +
                   std::string(length, 'n') +
                   R"(", "id": "dg1", "dgid": "guid-1", "type": 8, "volumes": [
                       {"name": "vol1", "device": "\\Device\\one two"}]}]})";
    };
    set_name(258);
    once([&] {
        accept_online(R"(, {"minor": 2003, "status": "0x0"})");
        EXPECT_EQ(online(), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch").size(), 2u);
    });
    set_name(259);
    at_every_threshold([&] {
        EXPECT_EQ(online(), 18u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_lines({{6, "API_TRY_CATCH_FAILED "}}, "0x12");
    });
}

TEST_F(OnlineVolume, NullDeviceComesFirst) {
    at_every_threshold([&] {
        for (const opal_handle each : {handle, opal_handle{}}) {
            start_watching();
            EXPECT_EQ(FARLO(OnlineVolW)(each, "guid-1", nullptr, 0, 0), 0x80070057u);
            expect_calls({});
            expect_log({{0, "OnlineVolW() failed , NULL Volume Device Name"},
                        {0, "OnlineVolW() failed for volume NULL Volume Device Name, "
                            "error=(0x80070057) "},
                        {2, "Exiting OnlineVolW"}});
        }
    });
}

TEST_F(OnlineVolume, NullDeviceOnADroppedHandleIsNotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", nullptr, 0, 0), 20u);
        expect_log({{0, "OnlineVolW() failed , NULL Volume Device Name"},
                    {0, "OnlineVolW() failed for volume NULL Volume Device Name, error=(0x14) "},
                    {2, "Exiting OnlineVolW"}});
    });
}

TEST_F(OnlineVolume, NullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(nullptr, "guid-1", device, 0, 0), 100u);
        expect_calls({});
        expect_lines({{0, "OnlineVolW() failed , NULL opal_handle"}}, "0x64");
    });
}

TEST_F(OnlineVolume, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(online(), 20u);
        expect_calls({});
        expect_lines({{0, "OnlineVolW() failed , opal_handle not connected"}}, "0x14");
    });
}

TEST_F(OnlineVolume, NullGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, nullptr, device, 0, 0), 0x80070057u);
        expect_calls(node_role(1));
        expect_lines({{0, "OnlineVolW() failed , NULL DG GUID"}}, "0x80070057");
    });
}

TEST_F(OnlineVolume, NoMiscObject) {
    set_node(R"("misc": false)", true);
    at_every_threshold([&] {
        EXPECT_EQ(online(), 0xc1000001u);
        expect_calls({objects("tamo_ztvm_misc", "")});
        expect_lines({{0, "OnlineVolW()::misc object not present"}}, "0xc1000001");
    });
}

TEST_F(OnlineVolume, AFailedQueryOfTheMiscObjectIsNone) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "tamo_ztvm_misc", "status": "0xc1000102"}])");
        EXPECT_EQ(online(), 0xc1000001u);
        expect_calls({"DbGetObjects tamo_ztvm_misc -> 0xc1000102"});
        expect_lines({{0, "OnlineVolW()::misc object not present"}}, "0xc1000001");
    });
}

TEST_F(OnlineVolume, WhatCannotBeReadIsAnException) {
    const auto failing = [this](const std::string& fault) {
        SCOPED_TRACE(fault);
        accept_online(", " + fault);
        start_watching();
        EXPECT_EQ(online(), 18u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_lines({{6, "API_TRY_CATCH_FAILED "}}, "0x12");
    };
    set_node(R"("role": 1)", false);
    at_every_threshold([&] {
        failing(R"({"object": "misc", "property": "nodeRole", "as": "INT32"})");
        failing(R"({"object": "dg1", "property": "imported", "as": "UINT32"})");
        failing(R"({"object": "dg1", "property": "Name", "status": "0xc100003a"})");
    });
}

TEST_F(OnlineVolume, AParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "PsCreatePropset", "call": 1)",
                                  R"({"function": "PsAddProperty", "property": "volume")",
                                  R"({"function": "PsAddProperty", "property": "OnlineFlag")"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + R"(, "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(online(), 18u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_lines({{6, "API_TRY_CATCH_FAILED "}}, "0x12");
        }
    });
}

TEST_F(OnlineVolume, AGroupOfAnExcludedTypeIsNotValidatedFor) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 7}]})";
    at_every_threshold([&] {
        EXPECT_EQ(online(), 40u);
        expect_lines(
            {{0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
             {0, "OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x28) "}},
            "0x28");
    });
}

// Groups of any type but 0 and 7 are taken: the lookup is not for cluster groups.
TEST_F(OnlineVolume, AGroupOfAnyOtherTypeIsFound) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 1, "imported": true, "volumes": [
            {"name": "vol1", "device": "\\Device\\one two"}]}]})";
    once([&] {
        accept_online();
        EXPECT_EQ(online(), 0u);
    });
}

const Expected unknown_group{0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, "
                                "error=(0x1)"};
const Expected entering_validate{6, "OnlineVolW() Entering ValidateCluster"};
const Expected exiting_validate{6, "OnlineVolW() Exiting ValidateCluster"};

TEST_F(OnlineVolume, AnUnknownGroupIsLookedForTwice) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "elsewhere", device, 0, 0), 1u);
        expect_calls(node_role(1) + find_group() + find_group());
        expect_lines({unknown_group,
                      entering_validate,
                      exiting_validate,
                      unknown_group,
                      {0, "OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x1) "}},
                     "0x1");
    });
}

// The group is there at the second look: the connection was good all the time,
// and the handle stays.
TEST_F(OnlineVolume, AGroupThatIsFoundAtTheSecondLook) {
    at_every_threshold([&] {
        lab_cmd_calls before;
        LabCmdGetCalls(&before);
        accept_online(R"(, {"property": "dgid", "call": 1, "status": "0xc100003a"})");
        EXPECT_EQ(online(), 0u);
        expect_calls(node_role(1) +
                     Lines{groups("@dg1"), read("dg1", "LDM DG TYPE", "UINT32 8"),
                           read_failed("dg1", "dgid", "0xc100003a")} +
                     find_group() + is_imported(true) + found_and_sent(7, "0x0"));
        expect_lines({unknown_group, entering_validate, exiting_validate}, "0x0");
        lab_cmd_calls after;
        LabCmdGetCalls(&after);
        EXPECT_EQ(after.initialize, before.initialize);
        EXPECT_EQ(after.uninitialize, before.uninitialize);
    });
}

TEST_F(OnlineVolume, AGroupThatIsExcludedAtTheSecondLook) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 7}]})";
    at_every_threshold([&] {
        set_faults(R"([{"property": "dgid", "call": 1, "status": "0xc100003a"}])");
        EXPECT_EQ(online(), 40u);
        expect_lines(
            {unknown_group,
             entering_validate,
             exiting_validate,
             {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
             {0, "OnlineVolW():GetDgObjIdByGuid1()  failed, error=(0x28) "}},
            "0x28");
    });
}

// The agent's handle drops while the group is looked for.
class DroppedWhileOnlining : public OnlineVolume {
  protected:
    // The first query of groups drops the connection; imports and onlines succeed.
    void drop_at_first_lookup(const std::string& more = "") {
        accept_online(R"(, {"minor": 2003, "status": "0x0"},
                          {"type": "tamo_ztvm_diskgroup", "call": 1, "drop": true})" +
                      more);
    }

    struct Commands {
        std::uint32_t initialize, uninitialize, register_alerts, live_handles;
        bool operator==(const Commands&) const = default;
    };
    static Commands commands() {
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        return {calls.initialize, calls.uninitialize, calls.register_alerts, calls.live_handles};
    }
    static opal_handle last_released() {
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        return calls.last_released;
    }
};

// A connection of the call's own serves the steps that follow and is released. The
// agent's handle is neither released nor connected.
TEST_F(DroppedWhileOnlining, FinishesWithItsOwnConnection) {
    set_node(R"("role": 1)", false);
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        start_watching();
        const Commands before = commands();
        drop_at_first_lookup();
        EXPECT_EQ(online(), 0u);
        // The first lookup does not get beyond the list.
        const std::vector<std::string> made = calls();
        const Lines with_own =
            find_group() + is_imported(false) + Lines{read("dg1", "Name", wstr("dg1"))} +
            find_group() +
            Lines{cluster_service(),
                  invoke("dg1", volume_manager_methods, import_method, import_input, "0x0")} +
            found_and_sent(7, "0x0");
        ASSERT_GT(made.size(), with_own.size());
        EXPECT_EQ(Lines(made.end() - static_cast<std::ptrdiff_t>(with_own.size()), made.end()),
                  with_own);
        expect_lines({unknown_group,
                      entering_validate,
                      exiting_validate,
                      {0, "OnlineDg dg1 is called with flag 0x200881"},
                      {0, "OfflineDg dg1 succeeded with res  0x0"},
                      {2, "Exiting OnlineDgExW"}},
                     "0x0");
        expect_pauses({});
        EXPECT_EQ(commands(), (Commands{before.initialize + 1, before.uninitialize + 1,
                                        before.register_alerts, before.live_handles}));
        EXPECT_NE(last_released(), handle);
        EXPECT_EQ(handle->connected, 0);
    });
}

TEST_F(DroppedWhileOnlining, LeavesReconnectingToTheHoldersValidation) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        drop_at_first_lookup();
        EXPECT_EQ(online(), 0u);
        EXPECT_EQ(online(), 20u);
        wchar_t name[260];
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", name), 20u);

        const Commands before = commands();
        const opal_handle dropped = handle;
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(last_released(), dropped);
        EXPECT_EQ(commands(), (Commands{before.initialize + 1, before.uninitialize + 1,
                                        before.register_alerts + 1, before.live_handles}));
        resets = 0;
        const opal_alert alert{"event.alert.ztvm.ztvm.dg.import.success"};
        EXPECT_EQ(LabCmdDeliver(handle, &alert), ZTSTATUS_OK);
        EXPECT_EQ(resets, 1u);
        EXPECT_EQ(online(), 0u);
    });
}

// The call's own connection is a new one for which no alerts were registered: the next
// validation of any connected handle registers them on that handle.
TEST_F(DroppedWhileOnlining, HasTheNextValidationRegisterTheAlerts) {
    at_every_threshold([&] {
        opal_handle other = nullptr;
        ASSERT_EQ(FARLO(InitializeClusterW)(&other), FARLO_SUCCESS);
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        accept_online(R"(, {"property": "dgid", "call": 1, "status": "0xc100003a"})");
        interpose<decltype(ObGetProperty)>(
            "ObGetProperty", [&](opal_connection connection, opal_context context,
                                 const opal_objid* object, const char* name, auto... rest) {
                if (connection == handle->connection && std::strcmp(name, "dgid") == 0) {
                    disconnect();  // this handle only
                }
                return ObGetProperty(connection, context, object, name, rest...);
            });
        EXPECT_EQ(online(), FARLO_SUCCESS);
        EXPECT_EQ(handle->connected, 0);

        const Commands before = commands();
        EXPECT_EQ(FARLO(ValidateClusterW)(&other), FARLO_SUCCESS);
        EXPECT_EQ(commands(), (Commands{before.initialize, before.uninitialize,
                                        before.register_alerts + 1, before.live_handles}));
        lab_cmd_calls calls;
        LabCmdGetCalls(&calls);
        EXPECT_EQ(calls.last_registered, other);
        EXPECT_EQ(FARLO(UnInitializeClusterW)(other), FARLO_SUCCESS);
    });
}

// The pauses and lines are those of a reconnection, whichever try succeeds.
TEST_F(DroppedWhileOnlining, TriesToConnectThreeTimes) {
    const Expected sleeping{6, "ValidateClusterW: Sleeping for 0.5 secs"};
    at_every_threshold([&] {
        for (const std::uint32_t failures : {1u, 2u}) {
            FARLO(ValidateClusterW)(&handle);
            start_watching();
            const Commands before = commands();
            drop_at_first_lookup();
            LabCmdFailInitialize(0xc1000103, failures);
            EXPECT_EQ(online(), 0u);
            std::vector<Expected> lines{unknown_group, entering_validate};
            lines.insert(lines.end(), failures, sleeping);
            lines.push_back(exiting_validate);
            expect_lines(lines, "0x0");
            expect_pauses(std::vector<Pause>(failures, {"Sleep", 500}));
            EXPECT_EQ(commands(),
                      (Commands{before.initialize + failures + 1, before.uninitialize + 1,
                                before.register_alerts, before.live_handles}));
        }
    });
}

TEST_F(DroppedWhileOnlining, ReturnsNotConnectedAfterThreeFailedTries) {
    at_every_threshold([&] {
        const Commands before = commands();
        drop_at_first_lookup();
        LabCmdFailInitialize(0xc1000103, 3);
        EXPECT_EQ(online(), 20u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        const Expected sleeping{6, "ValidateClusterW: Sleeping for 0.5 secs"};
        expect_lines({unknown_group,
                      entering_validate,
                      sleeping,
                      sleeping,
                      sleeping,
                      {0, "ValidateClusterW() failed, error=(0xc1000103)"},
                      exiting_validate,
                      {0, "OnlineVolW() ValidateCluster failed, error=(0x14) "}},
                     "0x14");
        expect_pauses({{"Sleep", 500}, {"Sleep", 500}, {"Sleep", 500}});
        EXPECT_EQ(commands(), (Commands{before.initialize + 3, before.uninitialize,
                                        before.register_alerts, before.live_handles}));
        EXPECT_EQ(handle->connected, 0);
    });
}

// Whatever ends the call, its own connection is released and the agent's is not.
TEST_F(DroppedWhileOnlining, ReleasesItsOwnConnectionOnEveryFailure) {
    const struct {
        const char* fault;
        std::uint32_t status;
    } rows[] = {
        {R"(, {"type": "tamo_ztvm_diskgroup", "call": 2, "drop": true})", 20},
        {R"(, {"property": "dgid", "call": 1, "status": "0xc100003a"})", 1},
        {R"(, {"property": "imported", "call": 1, "status": "0xc100003a"})", 18},
        {R"(, {"function": "DbGetObjectsByQuery", "call": 1, "status": "0xe5150103"})", 0x80070057},
        {R"(, {"type": "solvane_cluster_service", "call": 1, "status": "0xe5150103"})", 41},
        {R"(, {"function": "PsAddProperty", "call": 1, "status": "0xe5150103"})", 18},
    };
    at_every_threshold([&] {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.fault);
            FARLO(ValidateClusterW)(&handle);
            const Commands before = commands();
            drop_at_first_lookup(row.fault);
            EXPECT_EQ(online(), row.status);
            EXPECT_EQ(commands(), (Commands{before.initialize + 1, before.uninitialize + 1,
                                            before.register_alerts, before.live_handles}));
            EXPECT_NE(last_released(), handle);
        }
    });
}

// The connection that is looked at in the end is the one that served.
TEST_F(DroppedWhileOnlining, ReturnsNotConnectedWhenItsOwnConnectionDropsToo) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "tamo_ztvm_diskgroup", "call": 1, "drop": true},
                       {"minor": 6063, "drop": true}])");
        EXPECT_EQ(online(), 20u);
        expect_lines({unknown_group, entering_validate, exiting_validate}, "0x14");
    });
}

// One handle, several threads: none of them takes it away from the others.
TEST_F(DroppedWhileOnlining, SharesOneHandleBetweenThreads) {
    once([&] {
        const Commands before = commands();
        drop_at_first_lookup();
        std::array<std::uint32_t, 8> statuses{};
        std::array<std::function<void()>, 8> bodies;
        std::array<HANDLE, 8> threads{};
        for (std::size_t i = 0; i < threads.size(); ++i) {
            bodies[i] = [this, &status = statuses[i]] { status = online(); };
            threads[i] = CreateThread(
                nullptr, 0,
                [](void* body) -> DWORD {
                    (*static_cast<std::function<void()>*>(body))();
                    return 0;
                },
                &bodies[i], 0, nullptr);
            ASSERT_NE(threads[i], nullptr);
        }
        EXPECT_EQ(WaitForMultipleObjects(threads.size(), threads.data(), TRUE, 60'000),
                  WAIT_OBJECT_0);
        std::for_each(threads.begin(), threads.end(), CloseHandle);
        // A call that began after the drop is not connected.
        EXPECT_THAT(statuses, testing::Each(testing::AnyOf(0u, 20u)));
        EXPECT_THAT(statuses, testing::Contains(0u));
        EXPECT_EQ(commands().live_handles, before.live_handles);
        EXPECT_EQ(handle->connected, 0);
        EXPECT_EQ(FARLO(ValidateClusterW)(&handle), 0u);
        EXPECT_EQ(online(), 0u);
    });
}

TEST_F(OnlineVolume, AnUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", L"none", 0, 0), 0x80070057u);
        expect_calls(
            node_role(1) + find_group() + is_imported(true) +
            Lines{R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ )"
                  R"(none" -> 0x0 [])"});
        expect_log({{0, "Entering OnlineVolW - none"},
                    {0, "FindVolObjByDevName:Volume Object not found"},
                    {0, "OnlineVolW() failed for volume none, error=(0x80070057) "},
                    {2, "Exiting OnlineVolW"}});
    });
}

TEST_F(OnlineVolume, AFailedVolumeQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000106"}])");
        EXPECT_EQ(online(), 0x80070057u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_lines({{0, "FindVolObjByDevName:DbGetObjectsByQuery failed, for \\Device\\one two, "
                          "error = 0xc1000106"}},
                     "0x80070057");
    });
}

TEST_F(OnlineVolume, AStatusOfTheVolumeQueryThatIsNoFailure) {
    at_every_threshold([&] {
        accept_online(R"(, {"function": "DbGetObjectsByQuery", "after": "0x41000001"})");
        EXPECT_EQ(online(), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{online_call(7, "0x0")}));
        expect_lines({}, "0x0");
    });
}

TEST_F(OnlineVolume, NoMemoryForTheVolumeQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
        EXPECT_EQ(online(), 0x80070057u);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        expect_lines({{0, "FindVolObjByDevName: failed to allocate memory"}}, "0x80070057");
    });
}

// The text of the query, its terminator included, has 2048 characters.
TEST_F(OnlineVolume, ADeviceNameThatFitsIntoTheQueryAndOneThatDoesNot) {
    const std::wstring frame = L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ ";
    const std::wstring fits(2047 - frame.size(), L'd');
    once([&] {
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", fits.c_str(), 0, 0), 0x80070057u);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery").size(), 1u);
        start_watching();
        const std::wstring too_long = fits + L"d";
        EXPECT_EQ(FARLO(OnlineVolW)(handle, "guid-1", too_long.c_str(), 0, 0), 0x80070057u);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery"), Lines{});
        std::string error;
        const std::vector<LogLine> lines = read_log(environment().log_file(), error);
        ASSERT_EQ(lines.size(), 4u);
        EXPECT_EQ(lines[1].text, "OnlineVolW() failed , device string of more than 1995 "
                                 "characters, error=(0x80070057)");
    });
}

TEST_F(OnlineVolume, TheFirstOfSeveralVolumesIsTaken) {
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 8, "imported": true, "volumes": [
            {"name": "vol1", "device": "\\Device\\one two"},
            {"name": "vol2", "device": "\\Device\\one two"}]}]})";
    once([&] {
        accept_online();
        EXPECT_EQ(online(), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{online_call(7, "0x0")}));
    });
}

TEST_F(OnlineVolume, NoClusterService) {
    set_node(R"("role": 1, "cluster_service": false)", true);
    at_every_threshold([&] {
        EXPECT_EQ(online(), 41u);
        const Expected sleeping{6, "GetClusSvcId: Sleeping for 5 secs"};
        expect_lines({sleeping,
                      sleeping,
                      sleeping,
                      sleeping,
                      sleeping,
                      {0, "OnlineVolW():GetClusSvcId() failed, error=(0x29) "}},
                     "0x29");
    });
}

TEST_F(OnlineVolume, TheServicesStatusIsPassedOn) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 6063, "status": "0xe5150103"}])");
        EXPECT_EQ(online(), 0xe5150103u);
        expect_lines(
            {{4, "OnlineVolW: MISCOP_VOLUMEONLINE, CsfInvoke failed with error = 0xe5150103."}},
            "0xe5150103");
    });
}

// No failure of the service's, but not 0 either.
TEST_F(OnlineVolume, AnInformationalStatus) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 6063, "status": "0x41000001"}])");
        EXPECT_EQ(online(), 0x41000001u);
        expect_lines(
            {{4, "OnlineVolW: MISCOP_VOLUMEONLINE, CsfInvoke failed with error = 0x41000001."}},
            "0x41000001");
    });
}

TEST_F(OnlineVolume, NoOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 6063, "status": "0xe5150103"}])");
        EXPECT_EQ(online(), 0xe5150103u);
        expect_lines({}, "0xe5150103");
    });
}

TEST_F(OnlineVolume, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        accept_online();
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(online(), 20u);
        expect_lines({}, "0x14");
    });
}

// The start of the cluster volume manager, on a "thread" that a test ends.
class StartingNode : public OnlineVolume {
  protected:
    StartingNode() { set_node(R"("role": 0)", true); }

    struct Thread {
        HANDLE handle = nullptr;
        DWORD exit_code = 0;
    };

    // The body runs with CreateThread making `thread`.
    void with_thread(Thread& thread, const std::function<void()>& body) {
        const StandIn<decltype(CreateThread)> create(
            dll().module(), "CreateThread",
            [&](SECURITY_ATTRIBUTES* security, SIZE_T stack, LPTHREAD_START_ROUTINE routine,
                void* argument, DWORD flags, DWORD* id) -> HANDLE {
                EXPECT_EQ(security, nullptr);
                EXPECT_EQ(stack, 0u);
                EXPECT_NE(routine, nullptr);
                EXPECT_EQ(argument, handle);
                EXPECT_EQ(flags, 0u);
                EXPECT_EQ(id, nullptr);
                thread.handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
                return thread.handle;
            });
        const StandIn<decltype(GetExitCodeThread)> exit_code(
            dll().module(), "GetExitCodeThread", [&](HANDLE which, DWORD* code) -> BOOL {
                EXPECT_EQ(which, thread.handle);
                *code = thread.exit_code;
                return TRUE;
            });
        resets = 0;
        body();
        EXPECT_EQ(create.calls(), 1u);
    }
};

const Expected waiting{6, "OnlineVolW() - Waiting for CVM Cluster to start"};
const Expected reset{6, "OnlineVolW : Reset time"};

TEST_F(StartingNode, TheWaitRepeatsAtTheInterval) {
    at_every_threshold([&] {
        accept_online();
        Thread thread;
        with_thread(thread, [&] {
            clock().on_pause = [&](int number) {
                if (number == 40) {
                    SetEvent(thread.handle);
                }
            };
            EXPECT_EQ(online(0x6, 5), 0u);
        });
        expect_calls(node_role(0) + find_group() + is_imported(true) + found_and_sent(7, "0x0"));
        expect_pauses(std::vector<Pause>(40, Pause{"Wait", 5}));
        expect_lines(std::vector<Expected>(40, waiting), "0x0");
        EXPECT_EQ(resets, 0u);
        clock().on_pause = nullptr;
    });
}

// After every interval, the last one included, at which the thread was done.
TEST_F(StartingNode, TheCallbackRunsAfterEachInterval) {
    at_every_threshold([&] {
        accept_online();
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        start_watching();
        Thread thread;
        with_thread(thread, [&] {
            clock().on_pause = [&](int number) {
                EXPECT_EQ(resets, static_cast<unsigned>(number) - 1);
                if (number == 3) {
                    SetEvent(thread.handle);
                }
            };
            EXPECT_EQ(online(0x6, 250), 0u);
        });
        EXPECT_EQ(resets, 3u);
        expect_lines({waiting, reset, waiting, reset, waiting, reset}, "0x0");
        clock().on_pause = nullptr;
    });
}

TEST_F(StartingNode, AThreadThatIsDoneAtOnceIsWaitedForOnce) {
    at_every_threshold([&] {
        accept_online();
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        start_watching();
        Thread thread;
        with_thread(thread, [&] {
            const StandIn<decltype(WaitForSingleObject)> wait(
                dll().module(), "WaitForSingleObject", [&](HANDLE object, DWORD milliseconds) {
                    EXPECT_EQ(object, thread.handle);
                    EXPECT_EQ(milliseconds, 77u);
                    return DWORD{WAIT_OBJECT_0};
                });
            EXPECT_EQ(online(0x6, 77), 0u);
            EXPECT_EQ(wait.calls(), 1u);
        });
        EXPECT_EQ(resets, 1u);
        expect_lines({waiting, reset}, "0x0");
    });
}

TEST_F(StartingNode, AFailedWait) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        start_watching();
        Thread thread;
        with_thread(thread, [&] {
            const Failure<decltype(WaitForSingleObject)> wait(dll().module(), "WaitForSingleObject",
                                                              {.last_error = ERROR_INVALID_HANDLE},
                                                              WAIT_FAILED);
            EXPECT_EQ(online(), 6u);
        });
        EXPECT_EQ(resets, 1u);
        expect_calls(node_role(0));
        expect_lines(
            {waiting, reset, {0, "OnlineVolW(): WaitForSingleObject failed! error=(0x6) "}}, "0x6");
    });
}

// The time-out goes to the wait as it is given: 0 asks without waiting, the
// largest one waits without an end.
TEST_F(StartingNode, TheSmallestAndTheLargestTimeOut) {
    struct TimeOut {
        DWORD milliseconds;
        unsigned waits;
    };
    at_every_threshold([&] {
        accept_online();
        FARLO(RegisterForAlerts)(handle, reset_timeout);
        for (const TimeOut each : {TimeOut{0, 3}, TimeOut{0xFFFFFFFF, 1}}) {
            SCOPED_TRACE(each.milliseconds);
            start_watching();
            Thread thread;
            with_thread(thread, [&] {
                std::vector<DWORD> intervals;
                const StandIn<decltype(WaitForSingleObject)> wait(
                    dll().module(), "WaitForSingleObject", [&](HANDLE object, DWORD milliseconds) {
                        EXPECT_EQ(object, thread.handle);
                        intervals.push_back(milliseconds);
                        return intervals.size() < each.waits ? DWORD{WAIT_TIMEOUT}
                                                             : DWORD{WAIT_OBJECT_0};
                    });
                EXPECT_EQ(online(0x6, each.milliseconds), 0u);
                EXPECT_EQ(intervals, std::vector<DWORD>(each.waits, each.milliseconds));
            });
            EXPECT_EQ(resets, each.waits);
            std::vector<Expected> lines;
            for (unsigned i = 0; i < each.waits; ++i) {
                lines.push_back(waiting);
                lines.push_back(reset);
            }
            expect_lines(lines, "0x0");
        }
    });
}

// The error is that of the wait, whatever error the callback sets.
TEST_F(StartingNode, AFailedWaitBeforeACallbackThatFails) {
    at_every_threshold([&] {
        FARLO(RegisterForAlerts)(handle, reset_timeout_with_an_error);
        start_watching();
        Thread thread;
        with_thread(thread, [&] {
            const Failure<decltype(WaitForSingleObject)> wait(dll().module(), "WaitForSingleObject",
                                                              {.last_error = ERROR_INVALID_HANDLE},
                                                              WAIT_FAILED);
            EXPECT_EQ(online(), 6u);
        });
        EXPECT_EQ(resets, 1u);
        expect_lines(
            {waiting, reset, {0, "OnlineVolW(): WaitForSingleObject failed! error=(0x6) "}}, "0x6");
    });
}

// A result that is neither signalled nor a time-out ends the wait, and the call;
// where the system names no error it is a failure all the same.
TEST_F(StartingNode, AnyOtherResultOfTheWait) {
    struct Error {
        DWORD error;
        std::uint32_t status;
        const char* text;
    };
    constexpr Error errors[] = {{ERROR_SUCCESS, 0xc1000001, "0xc1000001"},
                                {ERROR_TOO_MANY_POSTS, 298, "0x12a"}};
    at_every_threshold([&] {
        for (const DWORD result : {DWORD{WAIT_ABANDONED}, DWORD{WAIT_IO_COMPLETION}, WAIT_FAILED}) {
            for (const Error& each : errors) {
                SCOPED_TRACE(result);
                SCOPED_TRACE(each.text);
                start_watching();
                Thread thread;
                with_thread(thread, [&] {
                    const StandIn<decltype(WaitForSingleObject)> wait(
                        dll().module(), "WaitForSingleObject", [&](HANDLE, DWORD) {
                            SetLastError(each.error);
                            return result;
                        });
                    EXPECT_EQ(online(), each.status);
                    EXPECT_EQ(wait.calls(), 1u);
                });
                expect_calls(node_role(0));
                expect_lines({waiting,
                              {0, std::string("OnlineVolW(): WaitForSingleObject failed! error=(") +
                                      each.text + ") "}},
                             each.text);
            }
        }
    });
}

// An error of another call is not the wait's.
TEST_F(StartingNode, AnotherResultOfAWaitThatNamesNoError) {
    at_every_threshold([&] {
        start_watching();
        Thread thread;
        with_thread(thread, [&] {
            const StandIn<decltype(WaitForSingleObject)> wait(
                dll().module(), "WaitForSingleObject",
                [](HANDLE, DWORD) { return WAIT_ABANDONED; });
            EXPECT_EQ(online(), 0xc1000001u);
        });
        expect_lines(
            {waiting, {0, "OnlineVolW(): WaitForSingleObject failed! error=(0xc1000001) "}},
            "0xc1000001");
    });
}

TEST_F(StartingNode, AnExitCodeThatCannotBeReadForNoReason) {
    at_every_threshold([&] {
        Thread thread;
        with_thread(thread, [&] {
            clock().on_pause = [&](int) { SetEvent(thread.handle); };
            const StandIn<decltype(GetExitCodeThread)> exit_code(
                dll().module(), "GetExitCodeThread", [](HANDLE, DWORD*) -> BOOL {
                    SetLastError(ERROR_SUCCESS);
                    return FALSE;
                });
            EXPECT_EQ(online(), 0xc1000001u);
        });
        expect_calls(node_role(0));
        expect_lines({waiting, {0, "OnlineVolW(): GetExitCodeThread failed! error=(0xc1000001) "}},
                     "0xc1000001");
        clock().on_pause = nullptr;
    });
}

TEST_F(StartingNode, AnExitCodeThatCannotBeRead) {
    at_every_threshold([&] {
        Thread thread;
        with_thread(thread, [&] {
            SetLastError(0);
            clock().on_pause = [&](int) { SetEvent(thread.handle); };
            const Failure<decltype(GetExitCodeThread)> exit_code(
                dll().module(), "GetExitCodeThread", {.last_error = ERROR_ACCESS_DENIED}, FALSE);
            EXPECT_EQ(online(), 5u);
        });
        expect_calls(node_role(0));
        expect_lines({waiting, {0, "OnlineVolW(): GetExitCodeThread failed! error=(0x5) "}}, "0x5");
        clock().on_pause = nullptr;
    });
}

TEST_F(StartingNode, AFailedStart) {
    at_every_threshold([&] {
        Thread thread;
        thread.exit_code = 0xe5150109;
        with_thread(thread, [&] {
            clock().on_pause = [&](int) { SetEvent(thread.handle); };
            EXPECT_EQ(online(), 0xe5150109u);
        });
        expect_calls(node_role(0));
        expect_lines({waiting, {0, "OnlineVolW():Could not start CVM Cluster"}}, "0xe5150109");
        clock().on_pause = nullptr;
    });
}

TEST_F(StartingNode, NoThread) {
    at_every_threshold([&] {
        const Failure<decltype(CreateThread)> create(
            dll().module(), "CreateThread", {.last_error = ERROR_NOT_ENOUGH_MEMORY}, nullptr);
        EXPECT_EQ(online(), 18u);
        expect_calls(node_role(0));
        expect_lines({{0, "OnlineVolW():CreateThread failed error=(0x8) "}}, "0x12");
    });
}

// The routine that the thread runs is the start of the cluster volume manager,
// on the handle of the call.
TEST_F(StartingNode, TheThreadStartsTheCluster) {
    at_every_threshold([&] {
        accept_online(R"(, {"minor": 6058, "status": "0xe5150109"})");
        DWORD exit_code = 0;
        const StandIn<decltype(CreateThread)> create(
            dll().module(), "CreateThread",
            [&](SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE routine, void* argument, DWORD,
                DWORD*) -> HANDLE {
                exit_code = routine(argument);
                return CreateEventW(nullptr, TRUE, TRUE, nullptr);
            });
        const StandIn<decltype(GetExitCodeThread)> read_exit_code(
            dll().module(), "GetExitCodeThread", [&](HANDLE, DWORD* code) -> BOOL {
                *code = exit_code;
                return TRUE;
            });
        EXPECT_EQ(online(), 0xe5150109u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{invoke("service", volume_manager_methods, 6058, "", "0xe5150109")}));
    });
}

TEST_F(OnlineVolume, TheNarrowFormWidensTheDeviceName) {
    at_every_threshold([&] {
        accept_online();
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", "\\Device\\one two", 0x6, 1000), 0u);
        expect_calls(node_role(1) + find_group() + is_imported(true) + found_and_sent(7, "0x0"));
        expect_lines({}, "0x0");
    });
}

TEST_F(OnlineVolume, TheNarrowFormKeepsNullAndRefusesWhatDoesNotFit) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", nullptr, 0, 0), 0x80070057u);
        expect_log({{0, "OnlineVolW() failed , NULL Volume Device Name"},
                    {0, "OnlineVolW() failed for volume NULL Volume Device Name, "
                        "error=(0x80070057) "},
                    {2, "Exiting OnlineVolW"}});
        const std::string fits(259, 'd');
        start_watching();
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", fits.c_str(), 0, 0), 0x80070057u);
        EXPECT_EQ(calls_of("DbGetObjectsByQuery").size(), 1u);
        start_watching();
        EXPECT_EQ(FARLO(OnlineVolA)(handle, "guid-1", (fits + "d").c_str(), 0, 0), 0x80070057u);
        expect_calls({});
        expect_log(
            {{0, "OnlineVolA() failed , device string of more than 259 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

// Success means that the service was asked.
TEST_F(OnlineVolume, EveryAllocationThatFails) {
    set_node(R"("role": 1)", false);
    const auto run = [&](auto online_it) {
        auto answers = answers_at_every_allocation([&] {
            accept_online(R"(, {"minor": 2003, "status": "0x0"})");
            start_watching();
            const std::uint32_t status = online_it();
            const Lines asked = calls_of("PrCallDispatch");
            EXPECT_EQ(status == 0, !asked.empty() && asked.back() == online_call(7, "0x0"));
            return status;
        });
        // The import's GUID text; without its query's text the volume is not found;
        // all else is an exception.
        EXPECT_EQ(std::erase(answers, 17u), 1u);
        EXPECT_EQ(std::erase(answers, 0x80070057u), 1u);
        EXPECT_THAT(answers, testing::Not(testing::IsEmpty()));
        EXPECT_THAT(answers, testing::Each(18u));
    };
    run([&] { return online(); });
    run([&] { return FARLO(OnlineVolA)(handle, "guid-1", "\\Device\\one two", 0x6, 1000); });
}

}  // namespace
