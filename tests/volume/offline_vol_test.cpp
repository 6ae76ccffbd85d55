// OfflineVol.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/method_results.h"

namespace {

using namespace support;

constexpr std::uint32_t offline_method = 6064;
constexpr wchar_t device[] = L"\\Device\\one two";

Lines node_role(std::uint32_t role) {
    return {objects("tamo_ztvm_misc", "@misc"), read("misc", "nodeRole", uint32(role))};
}

Lines find_group() {
    return {groups("@dg1"), read("dg1", "LDM DG TYPE", "UINT32 8"),
            read("dg1", "dgid", str("guid-1"))};
}

const std::string find_volume =
    R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ )"
    R"(\\Device\\one two" -> 0x0 [@vol1])";

std::string offline_call(std::uint32_t flags, const std::string& status) {
    return invoke("service", volume_manager_methods, offline_method,
                  R"("volume": ZTOBJID @vol1, "OfflineFlag": )" + uint32(flags), status);
}

class OfflineVolume : public FarloTest {
  protected:
    OfflineVolume() { set_node(R"("role": 1)"); }

    void set_node(const std::string& node, std::uint32_t group_type = 8) {
        scenario = "{\"node\": {" + node +
                   R"(}, "disk_groups": [{"name": "dg1", "dgid": "guid-1", "type": )" +
                   std::to_string(group_type) +
                   R"(, "volumes": [{"name": "vol1", "device": "\\Device\\one two"}]}]})";
    }

    std::uint32_t offline(std::uint32_t flags = 0x6) {
        return FARLO(OfflineVolW)(handle, "guid-1", device, flags);
    }

    void accept_offline() { set_faults(R"([{"minor": 6064, "status": "0x0"}])"); }

    // Exactly these lines between the entry line and the two of the result.
    void expect_lines(const std::vector<Expected>& lines, const std::string& status) {
        std::vector<Expected> all{{0, "Entering OfflineVolW - \\Device\\one two"}};
        all.insert(all.end(), lines.begin(), lines.end());
        const std::string outcome = status == "0x0" ? "succeeded" : "failed";
        all.push_back({0, "OfflineVolW() " + outcome + " for volume \\Device\\one two, error=(" +
                              status + ") "});
        all.push_back({2, "Exiting OfflineVolW"});
        expect_log(all);
    }
};

TEST_F(OfflineVolume, OnARunningNode) {
    at_every_threshold([&] {
        accept_offline();
        EXPECT_EQ(offline(0x6), 0u);
        expect_calls(node_role(1) + find_group() +
                     Lines{find_volume, cluster_service(), offline_call(7, "0x0")});
        expect_lines({}, "0x0");
    });
}

TEST_F(OfflineVolume, BitZeroIsAlwaysSet) {
    once([&] {
        for (const auto& [flags, sent] :
             {std::pair{0u, 1u}, {1u, 1u}, {0xFFFFFFFEu, 0xFFFFFFFFu}}) {
            accept_offline();
            start_watching();
            EXPECT_EQ(offline(flags), 0u);
            EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{offline_call(sent, "0x0")}));
        }
    });
}

TEST_F(OfflineVolume, WithoutARunningNodeThereIsNothingToDo) {
    set_node(R"("role": 0)");
    at_every_threshold([&] {
        EXPECT_EQ(offline(), 0u);
        expect_calls(node_role(0));
        expect_lines({{6, "OfflineVolW()::CVM cluster is not running simply return success"}},
                     "0x0");
    });
}

TEST_F(OfflineVolume, NothingToDoOnAConnectionThatDropsIsNotConnected) {
    set_node(R"("role": 0)");
    at_every_threshold([&] {
        set_faults(R"([{"property": "nodeRole", "drop": true}])");
        EXPECT_EQ(offline(), 20u);
        expect_calls(node_role(0));
        expect_lines({{6, "OfflineVolW()::CVM cluster is not running simply return success"}},
                     "0x14");
    });
}

TEST_F(OfflineVolume, NullDeviceComesFirst) {
    at_every_threshold([&] {
        for (const opal_handle each : {handle, opal_handle{}}) {
            start_watching();
            EXPECT_EQ(FARLO(OfflineVolW)(each, "guid-1", nullptr, 0), 0x80070057u);
            expect_calls({});
            expect_log({{0, "OfflineVolW() failed , NULL Volume Device Name"},
                        {0, "OfflineVolW() failed for volume NULL Volume Device Name, "
                            "error=(0x80070057) "},
                        {2, "Exiting OfflineVolW"}});
        }
    });
}

TEST_F(OfflineVolume, NullDeviceOnADroppedHandleIsNotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", nullptr, 0), 20u);
        expect_calls({});
        expect_log({{0, "OfflineVolW() failed , NULL Volume Device Name"},
                    {0, "OfflineVolW() failed for volume NULL Volume Device Name, error=(0x14) "},
                    {2, "Exiting OfflineVolW"}});
    });
}

TEST_F(OfflineVolume, NullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(nullptr, "guid-1", device, 0), 100u);
        expect_calls({});
        expect_lines({{0, "OfflineVolW() failed , NULL opal_handle"}}, "0x64");
    });
}

TEST_F(OfflineVolume, NotConnected) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(offline(), 20u);
        expect_calls({});
        expect_lines({{0, "OfflineVolW() failed , opal_handle not connected, error=(0x14)"}},
                     "0x14");
    });
}

TEST_F(OfflineVolume, NullGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, nullptr, device, 0), 0x80070057u);
        expect_calls(node_role(1));
        expect_lines({{0, "OfflineVolW() failed , NULL DG GUID"}}, "0x80070057");
    });
}

TEST_F(OfflineVolume, NoMiscObject) {
    set_node(R"("misc": false)");
    at_every_threshold([&] {
        EXPECT_EQ(offline(), 0xc1000001u);
        expect_calls({objects("tamo_ztvm_misc", "")});
        expect_lines({{0, "OfflineVolW()::misc object not present"}}, "0xc1000001");
    });
}

TEST_F(OfflineVolume, AFailedQueryOfTheMiscObjectIsNone) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "tamo_ztvm_misc", "status": "0xc1000102"}])");
        EXPECT_EQ(offline(), 0xc1000001u);
        expect_calls({"DbGetObjects tamo_ztvm_misc -> 0xc1000102"});
        expect_lines({{0, "OfflineVolW()::misc object not present"}}, "0xc1000001");
    });
}

TEST_F(OfflineVolume, AFailedQueryOfTheGroupsFindsNone) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "tamo_ztvm_diskgroup", "status": "0xc1000102"}])");
        EXPECT_EQ(offline(), 1u);
        expect_calls(node_role(1) + Lines(5, "DbGetObjects tamo_ztvm_diskgroup -> 0xc1000102"));
        expect_pauses(std::vector<Pause>(5, Pause{"Sleep", 5000}));
        std::vector<Expected> lines(5, Expected{6, "GetDgObjIdByGuid: Sleeping for 5 secs"});
        lines.push_back(
            {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"});
        lines.push_back({0, "OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x1) "});
        expect_lines(lines, "0x1");
    });
}

TEST_F(OfflineVolume, AFailedVolumeQuery) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000106"}])");
        EXPECT_EQ(offline(), 0x80070057u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_lines({{0, "FindVolObjByDevName:DbGetObjectsByQuery failed, for \\Device\\one two, "
                          "error = 0xc1000106"}},
                     "0x80070057");
    });
}

TEST_F(OfflineVolume, AFailedQueryOfTheClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "status": "0xc1000102"}])");
        EXPECT_EQ(offline(), 41u);
        expect_pauses({});
        expect_lines({{0, "OfflineDgExW():GetClusSvcId() failed, error=(0x29) "}}, "0x29");
    });
}

TEST_F(OfflineVolume, ARoleThatCannotBeRead) {
    at_every_threshold([&] {
        set_faults(R"([{"property": "nodeRole", "status": "0xc100003a"}])");
        EXPECT_EQ(offline(), 18u);
        expect_lines({{6, "API_TRY_CATCH_FAILED "}}, "0x12");
    });
}

// One lookup, of cluster and cluster-shared groups only, and no second one after
// a validation.
TEST_F(OfflineVolume, AnUnknownGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "elsewhere", device, 0), 1u);
        expect_calls(node_role(1) + find_group());
        expect_lines({{0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                      {0, "OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x1) "}},
                     "0x1");
    });
}

TEST_F(OfflineVolume, AGroupThatIsNoClusterGroup) {
    set_node(R"("role": 1)", 1);
    at_every_threshold([&] {
        EXPECT_EQ(offline(), 40u);
        expect_lines(
            {{0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
             {0, "OfflineVolW:GetDgObjIdByGuid()  failed, error=(0x28) "}},
            "0x28");
    });
    set_node(R"("role": 1)", 2);
    once([&] {
        accept_offline();
        EXPECT_EQ(offline(), 0u);
    });
}

TEST_F(OfflineVolume, AnUnknownVolume) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(OfflineVolW)(handle, "guid-1", L"none", 0), 0x80070057u);
        expect_calls(
            node_role(1) + find_group() +
            Lines{R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ )"
                  R"(none" -> 0x0 [])"});
        expect_log({{0, "Entering OfflineVolW - none"},
                    {0, "FindVolObjByDevName:Volume Object not found"},
                    {0, "OfflineVolW() failed for volume none, error=(0x80070057) "},
                    {2, "Exiting OfflineVolW"}});
    });
}

// The line names the disk groups' operation.
TEST_F(OfflineVolume, NoClusterService) {
    set_node(R"("role": 1, "cluster_service": false)");
    at_every_threshold([&] {
        EXPECT_EQ(offline(), 41u);
        const Expected sleeping{6, "GetClusSvcId: Sleeping for 5 secs"};
        expect_lines({sleeping,
                      sleeping,
                      sleeping,
                      sleeping,
                      sleeping,
                      {0, "OfflineDgExW():GetClusSvcId() failed, error=(0x29) "}},
                     "0x29");
    });
}

TEST_F(OfflineVolume, AParameterSetThatCannotBeBuilt) {
    at_every_threshold([&] {
        for (const char* fault : {R"({"function": "PsCreatePropset", "call": 1)",
                                  R"({"function": "PsAddProperty", "property": "volume")",
                                  R"({"function": "PsAddProperty", "property": "OfflineFlag")"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + std::string(fault) + R"(, "status": "0xc1000102"}])");
            start_watching();
            EXPECT_EQ(offline(), 18u);
            EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
            expect_lines({{6, "API_TRY_CATCH_FAILED "}}, "0x12");
        }
    });
}

TEST_F(OfflineVolume, TheServicesStatusIsPassedOn) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 6064, "status": "0xe5150103"}])");
        EXPECT_EQ(offline(), 0xe5150103u);
        expect_lines(
            {{4, "OfflineVolW: MISCOP_VOLUMEOFFLINE, CsfInvoke failed with error = 0xe5150103."}},
            "0xe5150103");
    });
}

// No failure of the service's, but not 0 either.
TEST_F(OfflineVolume, AnInformationalStatus) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 6064, "status": "0x41000001"}])");
        EXPECT_EQ(offline(), 0x41000001u);
        expect_lines(
            {{4, "OfflineVolW: MISCOP_VOLUMEOFFLINE, CsfInvoke failed with error = 0x41000001."}},
            "0x41000001");
    });
}

TEST_F(OfflineVolume, NoOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 6064, "status": "0xe5150103"}])");
        EXPECT_EQ(offline(), 0xe5150103u);
        expect_lines({}, "0xe5150103");
    });
}

TEST_F(OfflineVolume, AConnectionThatDropsMeanwhileVoidsTheResult) {
    at_every_threshold([&] {
        accept_offline();
        const MethodResults dropping(dll().module(), [&](opal_propset) { disconnect(); });
        EXPECT_EQ(offline(), 20u);
        expect_lines({}, "0x14");
    });
}

TEST_F(OfflineVolume, TheNarrowForm) {
    at_every_threshold([&] {
        accept_offline();
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", "\\Device\\one two", 0x6), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{offline_call(7, "0x0")}));
        expect_lines({}, "0x0");
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", nullptr, 0), 0x80070057u);
        expect_log({{0, "OfflineVolW() failed , NULL Volume Device Name"},
                    {0, "OfflineVolW() failed for volume NULL Volume Device Name, "
                        "error=(0x80070057) "},
                    {2, "Exiting OfflineVolW"}});
        start_watching();
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", std::string(260, 'd').c_str(), 0),
                  0x80070057u);
        expect_calls({});
        expect_log(
            {{0, "OfflineVolA() failed , device string of more than 259 characters or invalid, "
                 "error=(0x80070057)"}});
    });
}

TEST_F(OfflineVolume, TheLongestDeviceNameOfTheNarrowForm) {
    const std::string longest(259, 'd');
    scenario = R"({"node": {"role": 1}, "disk_groups": [
        {"name": "dg1", "dgid": "guid-1", "type": 8, "volumes": [
            {"name": "vol1", "device": ")" +
               longest + R"("}]}]})";
    once([&] {
        accept_offline();
        EXPECT_EQ(FARLO(OfflineVolA)(handle, "guid-1", longest.c_str(), 0x6), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"), (Lines{offline_call(7, "0x0")}));
    });
}

// Success means that the service was asked.
TEST_F(OfflineVolume, EveryAllocationThatFails) {
    const auto run = [&](auto offline_it) {
        auto answers = answers_at_every_allocation([&] {
            accept_offline();
            start_watching();
            const std::uint32_t status = offline_it();
            EXPECT_EQ(calls_of("PrCallDispatch"),
                      status == 0 ? Lines{offline_call(7, "0x0")} : Lines{});
            return status;
        });
        // Without its query's text the volume is not found; all else is an exception.
        EXPECT_EQ(std::erase(answers, 0x80070057u), 1u);
        EXPECT_THAT(answers, testing::Not(testing::IsEmpty()));
        EXPECT_THAT(answers, testing::Each(18u));
    };
    run([&] { return offline(); });
    run([&] { return FARLO(OfflineVolA)(handle, "guid-1", "\\Device\\one two", 0x6); });
}

}  // namespace
