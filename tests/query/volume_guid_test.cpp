// GetDgVolumeGuid.
#include "bus_lines.h"
#include "farlo_test.h"

namespace {

using namespace support;

std::string ask(const std::string& name, const std::string& guid, const std::string& device,
                const std::string& status, const std::string& output = "{}") {
    return invoke("service", cluster_methods, 11,
                  "\"Dgname\": " + wstr(name) + ", \"Dgguid\": " + str(guid) +
                      ", \"Voldevname\": " + wstr(device),
                  status, output);
}
constexpr char answer[] = "{\"Volguid\": STR \"volume-1\"}";

class VolumeGuid : public FarloTest {
  protected:
    VolumeGuid() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 1, "imported": true,
             "volumes": [{"name": "v1", "device": "dev1", "guid": "volume-1"}]},
            {"name": "gone", "dgid": "guid-2", "type": 2}]})";
    }

    std::uint32_t get(const wchar_t* name, const char* group, const wchar_t* device,
                      std::string& text) {
        GuardedBuffer buffer(65);
        const std::uint32_t status =
            FARLO(GetDgVolumeGuidW)(handle, name, group, device, buffer.as<char>());
        text = buffer.untouched() ? "untouched" : buffer.as<char>();
        return status;
    }
    std::string guid;

    static Lines lookup() {
        return {groups("@dg1 @gone"), read("dg1", "LDM DG TYPE", uint32(1)),
                read("dg1", "Name", wstr("dg1"))};
    }
};

TEST_F(VolumeGuid, ByGroupGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0u);
        EXPECT_EQ(guid, "volume-1");
        expect_calls({cluster_service(), ask("", "guid-1", "dev1", "0x0", answer)});
        expect_log({{6, "Entering GetVolumeGuidW"}, {6, "Exiting GetVolumeGuidW"}});
    });
}

// Any kind of group will do, as long as it is imported.
TEST_F(VolumeGuid, ByGroupName) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"DG1", "", L"DEV1", guid), 0u);
        EXPECT_EQ(guid, "volume-1");
        expect_calls(lookup() + Lines{read("dg1", "imported", "BOOLEAN true"),
                                      read("dg1", "dgid", str("guid-1")), cluster_service(),
                                      ask("DG1", "guid-1", "DEV1", "0x0", answer)});
    });
}

// The search for the group does not look at the connection; the end of the call does.
TEST_F(VolumeGuid, AHandleThatIsMarkedBeforeTheGroupIsLookedFor) {
    at_every_threshold([&] {
        // The buffer for the group's identifier is made between the two.
        interpose<decltype(calloc)>("calloc", [&](std::size_t number, std::size_t size) {
            handle->connected = 0;
            return std::calloc(number, size);
        });
        EXPECT_EQ(get(L"dg1", nullptr, L"dev1", guid), 0x14u);
        expect_calls(lookup() + Lines{read("dg1", "imported", "BOOLEAN true"),
                                      read("dg1", "dgid", str("guid-1")), cluster_service(),
                                      ask("dg1", "guid-1", "dev1", "0x0", answer)});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, error=(0x14)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

TEST_F(VolumeGuid, AGroupThatIsNotImported) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"gone", nullptr, L"dev1", guid), 1u);
        EXPECT_EQ(guid, "untouched");
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x1)"}});
    });
}

TEST_F(VolumeGuid, AnUnknownGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"nowhere", nullptr, L"dev1", guid), 1u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=(0x1)"},
                    {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x1)"}});
    });
}

TEST_F(VolumeGuid, AGroupThatCannotBeRead) {
    at_every_threshold([&] {
        for (const char* fault :
             {R"("property": "imported", "status": "0xc100003a")",
              R"("property": "dgid", "as": "WSTR")", R"("property": "dgid", "lie": "unterminated")",
              R"("property": "dgid", "lie": "long")"}) {
            SCOPED_TRACE(fault);
            load_scenario(
                R"({"disk_groups": [{"name": "dg1", "dgid": "1234567", "type": 1, "imported": true}]})");
            set_faults(std::string(R"([{"object": "dg1", )") + fault + "}]");
            start_watching();
            EXPECT_EQ(get(L"dg1", nullptr, L"dev1", guid), 0x12u);
            expect_log({{6, "Entering GetVolumeGuidW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x12)"}});
        }
    });
}

TEST_F(VolumeGuid, Checks) {
    at_every_threshold([&] {
        char buffer[65];
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(nullptr, L"dg1", "g", L"d", buffer), 0x64u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW failed(), NULL opal_conn, error=(0x64) "}});
        start_watching();
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"", nullptr, L"d", buffer), 0x13u);
        expect_log(
            {{6, "Entering GetVolumeGuidW"},
             {0, "GetDgVolumeGuidW() failed , pDgGuid and pwDgName are invalid, error=(0x13) "}});
        for (const bool without_device : {true, false}) {
            start_watching();
            EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg1", "g", without_device ? nullptr : L"d",
                                              without_device ? buffer : nullptr),
                      0x13u);
            expect_log({{6, "Entering GetVolumeGuidW"},
                        {0, "GetDgVolumeGuidW() failed , pwVolName or pVolGuid == NULL, "
                            "error=(0x13)"}});
        }
        start_watching();
        EXPECT_EQ(
            FARLO(GetDgVolumeGuidW)(handle, L"dg1", std::string(65, 'g').c_str(), L"d", buffer),
            0x80070057u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"}});
        start_watching();
        heap().fail(1);
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg1", "g", L"d", buffer), 0x11u);
        heap().fail_no_more();
        expect_log({{6, "Entering GetVolumeGuidW"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg1", "g", L"d", buffer), 0x14u);
        expect_calls({});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, opal_conn not connected, error=(0x14)"}});
    });
}

TEST_F(VolumeGuid, NoClusterService) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "status": "0xc1000001"}])");
        EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0x29u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "GetDgVolumeGuidW() failed, error=(0x29)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

// Whatever the service answers becomes one status.
TEST_F(VolumeGuid, AServiceThatRefuses) {
    at_every_threshold([&] {
        EXPECT_EQ(get(nullptr, "guid-1", L"nowhere", guid), 0x63u);
        expect_calls({cluster_service(), ask("", "guid-1", "nowhere", "0xe5150103")});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {4, "GetDgVolumeGuidW: CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID, CsfInvoke failed "
                        "with error = 0xe5150103."},
                    {0, "GetDgVolumeGuidW() failed, error=(0x63)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

TEST_F(VolumeGuid, SetsThatFail) {
    at_every_threshold([&] {
        for (const char* fault :
             {R"("function": "PsCreatePropset", "call": 1, "status": "0xc1000102")",
              R"("function": "PsAddProperty", "property": "Dgname", "status": "0xc1000102")",
              R"("function": "PsAddProperty", "property": "Dgguid", "status": "0xc1000102")",
              R"("function": "PsAddProperty", "property": "Voldevname", "status": "0xc1000102")",
              R"("function": "PsFindProperty", "property": "Volguid", "status": "0xc100003a")",
              R"("function": "PsFindProperty", "property": "Volguid", "as": "WSTR")",
              R"("function": "PsFindProperty", "property": "Volguid", "lie": "long")"}) {
            SCOPED_TRACE(fault);
            set_faults(std::string("[{") + fault + "}]");
            start_watching();
            EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0x12u);
            EXPECT_EQ(guid, "untouched");
            expect_log({{6, "Entering GetVolumeGuidW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgVolumeGuidW() failed, error=(0x12)"},
                        {6, "Exiting GetVolumeGuidW"}});
        }
    });
}

TEST_F(VolumeGuid, AConnectionThatDropsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PrCallDispatch", "drop": true}])");
        EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0x14u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, error=(0x14)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

// Whatever it was.
TEST_F(VolumeGuid, ADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 11, "after": "0xe5150103", "drop": true}])");
        EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0x14u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {4, "GetDgVolumeGuidW: CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID, CsfInvoke failed "
                        "with error = 0xe5150103."},
                    {0, "GetDgVolumeGuidW() failed, error=(0x14)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

// A lookup's failure is told at once.
TEST_F(VolumeGuid, ADropDuringTheLookup) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "gone", "property": "Name", "drop": true}])");
        EXPECT_EQ(get(L"nowhere", nullptr, L"dev1", guid), 1u);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=(0x1)"},
                    {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x1)"}});
    });
}

// Without an output set the service is asked all the same. Its failure then stays
// what it is and has no line of its own, and its success hands nothing out.
TEST_F(VolumeGuid, NoOutputSet) {
    const std::string no_set =
        R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"})";
    at_every_threshold([&] {
        set_faults(no_set + R"(, {"minor": 11, "status": "0xe5150103"}])");
        EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0xe5150103u);
        expect_calls({cluster_service(), ask("", "guid-1", "dev1", "0xe5150103", "NULL")});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, error=(0xe5150103)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
    at_every_threshold([&] {
        set_faults(no_set + R"(, {"minor": 11, "status": 0}])");
        EXPECT_EQ(get(nullptr, "guid-1", L"dev1", guid), 0u);
        EXPECT_EQ(guid, "untouched");
        expect_log({{6, "Entering GetVolumeGuidW"}, {6, "Exiting GetVolumeGuidW"}});
    });
}

// 64 characters fit, of the group's identifier and of the volume's.
TEST_F(VolumeGuid, TheLongestIdentifiers) {
    const std::string group(64, 'g');
    const std::string fits(64, 'f');
    const std::string too_long(65, 'l');
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": ")" + group +
               R"(", "type": 1, "imported": true, "volumes": [
                   {"name": "v1", "device": "dev1", "guid": ")" +
               fits + R"("}, {"name": "v2", "device": "dev2", "guid": ")" + too_long + R"("}]}]})";
    once([&] {
        for (const char* identifier : {group.c_str(), static_cast<const char*>(nullptr)}) {
            EXPECT_EQ(get(L"dg1", identifier, L"dev1", guid), 0u);
            EXPECT_EQ(guid, fits);
            EXPECT_EQ(get(L"dg1", identifier, L"dev2", guid), 0x12u);
            EXPECT_EQ(guid, "untouched");
        }
    });
}

TEST_F(VolumeGuid, NarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer buffer(9);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, "dev1", buffer.as<char>()), 0u);
        EXPECT_STREQ(buffer.as<char>(), "volume-1");
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, nullptr, "guid-1", "dev1", buffer.as<char>()),
                  0u);
        EXPECT_STREQ(buffer.as<char>(), "volume-1");
        // Any failure of the wide form is one status.
        char room[65];
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "gone", nullptr, "dev1", room), 0x62u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, "nowhere", room), 0x62u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(nullptr, "dg1", nullptr, "dev1", room), 0x62u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, nullptr, nullptr, "dev1", room), 0x62u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, nullptr, room), 0x62u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, "dev1", nullptr), 0x62u);
        start_watching();
        const std::string too_long(32, 'n');
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, too_long.c_str(), "g", "d", room), 0x80070057u);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, nullptr, "g", too_long.c_str(), room),
                  0x80070057u);
        expect_calls({});
        expect_log({{0, "GetDgVolumeGuidA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"},
                    {0, "GetDgVolumeGuidA() failed , device string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
