// GetDgVolumeGuid.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

// The method call.
std::string query(const std::string& name, const std::string& guid, const std::string& device,
                  std::uint32_t status, const std::string& output = "{}") {
    return invoke("service", method::get_volume_guid,
                  "\"Dgname\": " + wstr(name) + ", \"Dgguid\": " + str(guid) +
                      ", \"Voldevname\": " + wstr(device),
                  status, output);
}
const std::string volume_guid_output = "{\"Volguid\": " + str("volume-1") + "}";

class GetDgVolumeGuid : public FarloTest {
  protected:
    GetDgVolumeGuid() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 1, "imported": true,
             "volumes": [{"name": "v1", "device": "dev1", "guid": "volume-1"}]},
            {"name": "gone", "dgid": "guid-2", "type": 2}]})";
    }

    std::uint32_t get_guid(const wchar_t* name, const char* group, const wchar_t* device,
                           std::string& received) {
        GuardedBuffer buffer(FARLO_GUID_TEXT_SIZE);
        const std::uint32_t status =
            FARLO(GetDgVolumeGuidW)(handle, name, group, device, buffer.as<char>());
        received = buffer.untouched() ? "untouched" : buffer.as<char>();
        return status;
    }
    std::string guid;

    // The search for dg1 by its name.
    static Lines search() {
        return {groups("@dg1 @gone"), read_type("dg1", group_type::local),
                read("dg1", "Name", wstr("dg1"))};
    }
};

TEST_F(GetDgVolumeGuid, ProvidesGuidForGroupGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "volume-1");
        expect_calls(
            {cluster_service(), query("", "guid-1", "dev1", bus_success, volume_guid_output)});
        expect_log({{6, "Entering GetVolumeGuidW"}, {6, "Exiting GetVolumeGuidW"}});
    });
}

// The group may be of any type, but must be imported.
TEST_F(GetDgVolumeGuid, ProvidesGuidForNameOfImportedGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"DG1", "", L"DEV1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "volume-1");
        expect_calls(search() +
                     Lines{read("dg1", "imported", boolean(true)),
                           read("dg1", "dgid", str("guid-1")), cluster_service(),
                           query("DG1", "guid-1", "DEV1", bus_success, volume_guid_output)});
    });
}

// The connection is not checked by the search for the group, but at the end of the call.
TEST_F(GetDgVolumeGuid, ReturnsNotConnectedWhenConnectionDropsBeforeSearch) {
    at_every_threshold([&] {
        // The handle's check comes before this allocation, the search after it.
        interpose<decltype(calloc)>("calloc", [&](std::size_t number, std::size_t size) {
            handle->connected = 0;
            return std::calloc(number, size);
        });
        EXPECT_EQ(get_guid(L"dg1", nullptr, L"dev1", guid), FARLO_NOT_CONNECTED);
        expect_calls(search() +
                     Lines{read("dg1", "imported", boolean(true)),
                           read("dg1", "dgid", str("guid-1")), cluster_service(),
                           query("dg1", "guid-1", "dev1", bus_success, volume_guid_output)});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, error=(0x14)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

TEST_F(GetDgVolumeGuid, ReturnsNotFoundForGroupThatIsNotImported) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"gone", nullptr, L"dev1", guid), FARLO_NOT_FOUND);
        EXPECT_EQ(guid, "untouched");
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x1)"}});
    });
}

TEST_F(GetDgVolumeGuid, ReturnsNotFoundForUnknownGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"nowhere", nullptr, L"dev1", guid), FARLO_NOT_FOUND);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=(0x1)"},
                    {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x1)"}});
    });
}

TEST_F(GetDgVolumeGuid, FailsWhenGroupCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& fault : {failing(reading("dg1", "imported"), bus_no_property),
                                       with_type(reading("dg1", "dgid"), "WSTR"),
                                       lying(reading("dg1", "dgid"), "unterminated"),
                                       lying(reading("dg1", "dgid"), "long")}) {
            SCOPED_TRACE(fault_plan({fault}));
            load_scenario(
                R"({"disk_groups": [{"name": "dg1", "dgid": "1234567", "type": 1, "imported": true}]})");
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(get_guid(L"dg1", nullptr, L"dev1", guid), FARLO_EXCEPTION);
            expect_log({{6, "Entering GetVolumeGuidW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x12)"}});
        }
    });
}

TEST_F(GetDgVolumeGuid, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        char buffer[FARLO_GUID_TEXT_SIZE];
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(nullptr, L"dg1", "g", L"d", buffer), FARLO_NULL_HANDLE);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW failed(), NULL opal_conn, error=(0x64) "}});
        start_watching();
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"", nullptr, L"d", buffer),
                  FARLO_MISSING_ARGUMENT);
        expect_log(
            {{6, "Entering GetVolumeGuidW"},
             {0, "GetDgVolumeGuidW() failed , pDgGuid and pwDgName are invalid, error=(0x13) "}});
        for (const bool without_device : {true, false}) {
            start_watching();
            EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg1", "g", without_device ? nullptr : L"d",
                                              without_device ? buffer : nullptr),
                      FARLO_MISSING_ARGUMENT);
            expect_log({{6, "Entering GetVolumeGuidW"},
                        {0, "GetDgVolumeGuidW() failed , pwVolName or pVolGuid == NULL, "
                            "error=(0x13)"}});
        }
        start_watching();
        EXPECT_EQ(
            FARLO(GetDgVolumeGuidW)(handle, L"dg1", std::string(65, 'g').c_str(), L"d", buffer),
            FARLO_INVALID_ARGUMENT);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed , guid string of more than 64 characters, "
                        "error=(0x80070057)"}});
        start_watching();
        heap().fail(1);
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg1", "g", L"d", buffer), FARLO_NO_GUID_MEMORY);
        heap().fail_no_more();
        expect_log({{6, "Entering GetVolumeGuidW"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgVolumeGuidW)(handle, L"dg1", "g", L"d", buffer), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, opal_conn not connected, error=(0x14)"}});
    });
}

TEST_F(GetDgVolumeGuid, FailsWithoutClusterService) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({{.type = object_type::cluster_service, .returns = bus_provider_failed}}));
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), FARLO_NO_CLUSTER_SERVICE);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW():GetClusSvcId() failed, error=(0x29)"},
                    {0, "GetDgVolumeGuidW() failed, error=(0x29)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

// Every failure of the service becomes that status.
TEST_F(GetDgVolumeGuid, ReturnsVolumeNotFoundWhenServiceFails) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"nowhere", guid), FARLO_VOLUME_NOT_FOUND);
        expect_calls({cluster_service(), query("", "guid-1", "nowhere", service_no_such_volume)});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {4, "GetDgVolumeGuidW: CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID, CsfInvoke failed "
                        "with error = 0xe5150103."},
                    {0, "GetDgVolumeGuidW() failed, error=(0x63)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

TEST_F(GetDgVolumeGuid, FailsWhenParameterOrResultCannotBeUsed) {
    at_every_threshold([&] {
        const FaultRule reading_guid{.function = "PsFindProperty", .property = "Volguid"};
        for (const FaultRule& fault :
             {no_input_set, failing(adding("Dgname"), bus_no_memory),
              failing(adding("Dgguid"), bus_no_memory),
              failing(adding("Voldevname"), bus_no_memory), failing(reading_guid, bus_no_property),
              with_type(reading_guid, "WSTR"), lying(reading_guid, "long")}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), FARLO_EXCEPTION);
            EXPECT_EQ(guid, "untouched");
            expect_log({{6, "Entering GetVolumeGuidW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgVolumeGuidW() failed, error=(0x12)"},
                        {6, "Exiting GetVolumeGuidW"}});
        }
    });
}

TEST_F(GetDgVolumeGuid, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.function = "PrCallDispatch", .drops = true}}));
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, error=(0x14)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

TEST_F(GetDgVolumeGuid, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.method = method::get_volume_guid,
                                .returns_after_work = service_no_such_volume,
                                .drops = true}}));
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {4, "GetDgVolumeGuidW: CLUSTER_MTHD_CLUSSVCOP_GETVOLUMEGUID, CsfInvoke failed "
                        "with error = 0xe5150103."},
                    {0, "GetDgVolumeGuidW() failed, error=(0x14)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
}

// The connection is checked only after a successful search.
TEST_F(GetDgVolumeGuid, ReturnsNotFoundWhenConnectionDropsDuringFailedSearch) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("gone", "Name"))}));
        EXPECT_EQ(get_guid(L"nowhere", nullptr, L"dev1", guid), FARLO_NOT_FOUND);
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgGuidfromOpal(): GetDgObjIdByName() failed, error=(0x1)"},
                    {6, "GetDgVolumeGuidW():GetDgGuidfromOpal failed, error=(0x1)"}});
    });
}

// Without an output set, the service's failure is returned as it is and is logged without the
// name of the method; a success provides nothing.
TEST_F(GetDgVolumeGuid, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_return(service_no_such_volume)}));
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), service_no_such_volume);
        expect_calls(
            {cluster_service(), query("", "guid-1", "dev1", service_no_such_volume, "NULL")});
        expect_log({{6, "Entering GetVolumeGuidW"},
                    {0, "GetDgVolumeGuidW() failed, error=(0xe5150103)"},
                    {6, "Exiting GetVolumeGuidW"}});
    });
    at_every_threshold([&] {
        set_faults(fault_plan({no_output_set, methods_return(bus_success)}));
        EXPECT_EQ(get_guid(nullptr, "guid-1", L"dev1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "untouched");
        expect_log({{6, "Entering GetVolumeGuidW"}, {6, "Exiting GetVolumeGuidW"}});
    });
}

// That limit is the same for the group's GUID and the volume's.
TEST_F(GetDgVolumeGuid, AcceptsGuidsOf64Characters) {
    const std::string group(64, 'g');
    const std::string fits(64, 'f');
    const std::string too_long(65, 'l');
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": ")" + group +
               R"(", "type": 1, "imported": true, "volumes": [
                   {"name": "v1", "device": "dev1", "guid": ")" +
               fits + R"("}, {"name": "v2", "device": "dev2", "guid": ")" + too_long + R"("}]}]})";
    once([&] {
        for (const char* group_guid : {group.c_str(), static_cast<const char*>(nullptr)}) {
            EXPECT_EQ(get_guid(L"dg1", group_guid, L"dev1", guid), FARLO_SUCCESS);
            EXPECT_EQ(guid, fits);
            EXPECT_EQ(get_guid(L"dg1", group_guid, L"dev2", guid), FARLO_EXCEPTION);
            EXPECT_EQ(guid, "untouched");
        }
    });
}

TEST_F(GetDgVolumeGuid, ReturnsOneStatusForEveryFailureOfNarrowForm) {
    at_every_threshold([&] {
        GuardedBuffer buffer(9);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, "dev1", buffer.as<char>()),
                  FARLO_SUCCESS);
        EXPECT_STREQ(buffer.as<char>(), "volume-1");
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, nullptr, "guid-1", "dev1", buffer.as<char>()),
                  FARLO_SUCCESS);
        EXPECT_STREQ(buffer.as<char>(), "volume-1");
        // Every failure of the wide form becomes one status.
        char received[FARLO_GUID_TEXT_SIZE];
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "gone", nullptr, "dev1", received),
                  FARLO_NO_VOLUME_GUID);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, "nowhere", received),
                  FARLO_NO_VOLUME_GUID);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(nullptr, "dg1", nullptr, "dev1", received),
                  FARLO_NO_VOLUME_GUID);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, nullptr, nullptr, "dev1", received),
                  FARLO_NO_VOLUME_GUID);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, nullptr, received),
                  FARLO_NO_VOLUME_GUID);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, "dg1", nullptr, "dev1", nullptr),
                  FARLO_NO_VOLUME_GUID);
        start_watching();
        const std::string too_long(32, 'n');
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, too_long.c_str(), "g", "d", received),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgVolumeGuidA)(handle, nullptr, "g", too_long.c_str(), received),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{0, "GetDgVolumeGuidA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"},
                    {0, "GetDgVolumeGuidA() failed , device string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
