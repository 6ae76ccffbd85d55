// labctl.exe: its command line, the service as a whole, its clients and its node.
#include "labctl/labctl_fixture.h"
#include "service/environment_variable.h"

#include <sstream>

namespace {

using namespace support;
using testing::HasSubstr;

class Labctl : public LabctlTest {};

TEST_F(Labctl, PrintsHelpIn80Columns) {
    for (const wchar_t* command : {L"",
                                   L"status",
                                   L"node",
                                   L"node show",
                                   L"node set",
                                   L"group",
                                   L"group list",
                                   L"group set",
                                   L"group add",
                                   L"group remove",
                                   L"disk",
                                   L"disk fail",
                                   L"volume",
                                   L"plex",
                                   L"reservation",
                                   L"reservation set",
                                   L"reservation clear",
                                   L"client",
                                   L"client drop",
                                   L"alert",
                                   L"faults",
                                   L"faults add",
                                   L"faults list",
                                   L"faults clear",
                                   L"record",
                                   L"record show",
                                   L"driver",
                                   L"driver reply"}) {
        SCOPED_TRACE(std::string(command, command + std::wcslen(command)));
        EXPECT_EQ(labctl(command + std::wstring(L" --help")), 0u);
        EXPECT_EQ(errors, "");
        EXPECT_THAT(output, HasSubstr("Usage: labctl"));
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LE(line.size(), 80u) << line;
        }
    }
}

TEST_F(Labctl, RefusesWrongCommandLines) {
    expect_misused(L"", "A subcommand is required");
    expect_misused(L"disk", "A subcommand is required");
    expect_misused(L"bogus", "there is no command \"bogus\"");
    expect_misused(L"--service 127.0.0.1:1 disk bogus", "there is no command \"bogus\"");
    expect_misused(L"status stray", "The following argument was not expected: stray");
    expect_misused(L"disk set D1", "KEY=VALUE is required");
    expect_misused(L"disk set D1 state", "KEY=VALUE: \"state\" is not KEY=VALUE");
    expect_misused(L"disk set D1 =1", "KEY=VALUE: \"=1\" is not KEY=VALUE");
    EXPECT_EQ(labctl(L"client drop x"), 2u);
    EXPECT_EQ(labctl(L"faults clear 0"), 2u);
    EXPECT_EQ(labctl(L"driver reply volume-status 0x1 --times -1"), 2u);
}

TEST_F(Labctl, ReportsServiceThatCannotBeReached) {
    expect_refused(L"--service 127.0.0.1:1 status", "no service listens at 127.0.0.1:1");
    expect_refused(L"--service nowhere status",
                   "\"nowhere\": it has no port; expected for example 127.0.0.1:4711");
    const EnvironmentVariable variable(L"ZTLAB_SERVICE", L"127.0.0.1:4711\r");
    expect_refused(L"status", "\"127.0.0.1:4711\\x0d\": \"4711\\x0d\" is not a port; expected for "
                              "example 127.0.0.1:4711");
}

TEST_F(Labctl, ShowsStatus) {
    start(R"({"node": {"name": "n7"}, "disk_groups": [
              {"name": "dg1", "dgid": "g1", "imported": true, "disks": [{"name": "d1"}]},
              {"name": "dg2", "dgid": "g2", "type": 1, "hidden": true,
               "reservation": {"owner": "n8", "key": 16, "defended": false},
               "disks": [{"name": "d2"}], "volumes": [{"name": "v1", "device": "dev"}]}]})",
          R"([{"minor": 1, "drop": true}])");
    EXPECT_EQ(labctl(L"status"), 0u);
    EXPECT_EQ(errors, "");
    const std::string address = "127.0.0.1:" + std::to_string(service->port());
    // Whether another test has loaded the driver is not known.
    EXPECT_THAT(output, testing::StartsWith("service  " + address + ", "));
    EXPECT_EQ(output.substr(output.find('\n') + 1),
              "node     n7, stopped\n"
              "storage  2 groups, 2 disks, 1 volume\n"
              "faults   1 rule\n"
              "clients  1\n"
              "\n"
              "GROUP  DGID  TYPE  IMPORTED  HIDDEN  RESERVED BY\n"
              "dg1    g1    2     yes       no      -\n"
              "dg2    g2    1     no        yes     n8 (key 0x10, not defended)\n");
}

TEST_F(Labctl, ShowsStatusAsJson) {
    start(R"({"disk_groups": [{"name": "dg1", "dgid": "g1",
              "volumes": [{"name": "v\u00e9", "id": "v1", "device": "dev", "size": 7}]}]})");
    EXPECT_EQ(labctl(L"status --json"), 0u);
    std::string flat;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        flat += line.substr(line.find_first_not_of(' '));
    }
    EXPECT_THAT(
        flat,
        testing::StartsWith(
            R"({"node": {"name": "node1","reservation_key": 1,"state": "stopped","role": 0,)"
            R"("status": 0,"start_seconds": 0,"start_fails": false,"start_role": 1,)"
            R"("stop_seconds": 0},"groups": [{"id": "dg1","name": "dg1","dgid": "g1","type": 2,)"
            R"("imported": false,"hidden": false,"disks": [],"volumes": [{"id": "v1",)"
            "\"name\": \"v\xC3\xA9\",\"device\": \"dev\",\"drive_letter\": \"\",\"guid\": \"\","
            R"("type": 0,"state": 0,"size": 7,"plexes": []}]}],"driver": )"));
    EXPECT_THAT(flat, HasSubstr(R"("recording": false,"fault_rules": 0,"clients": [{"client": 1,)"
                                R"("program": "labctl.exe","pid": )"));
}

TEST_F(Labctl, ListsAndDropsClients) {
    start(one_group);
    const opal_handle handle = connect();
    const opal_handle bystander = connect();
    const std::string pid = std::to_string(GetCurrentProcessId());
    EXPECT_EQ(labctl(L"client list"), 0u);
    EXPECT_THAT(output, testing::MatchesRegex("CLIENT  PROGRAM          PID\n"
                                              "1       labctl_test.exe  " +
                                              pid + "\n2       labctl_test.exe  " + pid +
                                              "\n3       labctl.exe       .*\n"));
    expect_done(L"client drop 1");
    EXPECT_TRUE(eventually([&] { return connected_of(handle) == 0; }));
    EXPECT_EQ(connected_of(bystander), 1);
    EXPECT_TRUE(eventually([&] {
        return service->log().find("client 1 (labctl_test.exe, pid " + pid +
                                   "): dropped by labctl") != std::string::npos;
    })) << service->log();
    expect_refused(L"client drop 1", "there is no client 1");
    EXPECT_EQ(connected_of(bystander), 1);
    release(handle);
    release(bystander);
}

TEST_F(Labctl, RaisesAlerts) {
    start(one_group);
    ClientProcess client(L"watch");
    client.await_ready();
    expect_done(L"alert event.alert.ztvm.cluster.dg.import.success");
    EXPECT_TRUE(eventually([&] {
        return client.process().output() == "event.alert.ztvm.cluster.dg.import.success\r\n";
    })) << client.process().output();
    expect_refused(L"alert \"\"", "an alert must have a name");
    client.let_go();
    EXPECT_EQ(client.process().wait(hang_ms), 0u);
}

// --------------------------------------------------------------- the node

// The state that the method of the service returns.
std::uint32_t node_state(opal_handle handle) {
    std::vector<opal_objid> services;
    EXPECT_EQ(list(handle, ZTTYPE_CLUSTER_SERVICE, services), ZTSTATUS_OK);
    opal_propset results = nullptr;
    EXPECT_EQ(PsCreatePropset(&results), ZTSTATUS_OK);
    EXPECT_EQ(PrCallDispatch(handle->connection, &services.front(), &zt_volume_manager_interface,
                             ZTMETHOD_MAJOR, ZTMETHOD_MISCOP_GETNODESTATE, nullptr, results, 0, 0,
                             0, 0, nullptr, nullptr),
              ZTSTATUS_OK);
    opal_property property;
    std::uint32_t state = 99;
    if (PsFindProperty(results, "nodeState", &property) == ZTSTATUS_OK) {
        state = *static_cast<const std::uint32_t*>(property.value);
        PsFreeProperty(&property);
    }
    PsDestroyPropset(results);
    return state;
}

TEST_F(Labctl, MakesNodeStartFail) {
    start(one_group);
    const opal_handle handle = connect();
    expect_done(L"node set start_fails=true");
    EXPECT_EQ(call_service_method(handle, ZTMETHOD_MISCOP_STARTNODE), ZTSTATUS_OK);
    EXPECT_EQ(node_state(handle), 4u);
    expect_done(L"node set start_fails=false");
    EXPECT_EQ(call_service_method(handle, ZTMETHOD_MISCOP_STARTNODE), ZTSTATUS_OK);
    EXPECT_EQ(node_state(handle), 2u);
    release(handle);
}

TEST_F(Labctl, MakesNodeStartLast) {
    start(one_group);
    const opal_handle handle = connect();
    expect_done(L"node set start_seconds=3 name=n2 reservation_key=0x20");
    EXPECT_EQ(call_service_method(handle, ZTMETHOD_MISCOP_STARTNODE), ZTSTATUS_OK);
    EXPECT_EQ(node_state(handle), 1u);
    expect_printed(L"node show", "name            n2\n"
                                 "reservation_key 32\n"
                                 "state           starting\n"
                                 "role            0\n"
                                 "status          0\n"
                                 "start_seconds   3\n"
                                 "start_fails     false\n"
                                 "start_role      1\n"
                                 "stop_seconds    0\n");
    EXPECT_TRUE(eventually([&] { return node_state(handle) == 2; }));
    release(handle);
}

TEST_F(Labctl, RefusesWrongValuesOfTheNode) {
    start(R"({"node": {"misc": false}})");
    expect_refused(L"node set start_role=0",
                   "the scenario has no object with the node's start_role");
    expect_refused(L"node set start=1", "unknown key \"start\"; there are: name, reservation_key, "
                                        "role, status, start_seconds, start_fails, start_role, "
                                        "stop_seconds");
    start("{}");
    expect_refused(L"node set start_role=0", "the role of a node that runs cannot be 0");
    // Nothing is set if one of several values is wrong.
    expect_refused(L"node set start_seconds=9 start_fails=yes",
                   "start_fails: \"yes\" is not true or false");
    EXPECT_EQ(labctl(L"node show"), 0u);
    EXPECT_THAT(output, HasSubstr("start_seconds   0\n"));
}

}  // namespace
