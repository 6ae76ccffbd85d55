// ImportDg.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

class ImportDg : public FarloTest {
  protected:
    ImportDg() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "up", "dgid": "guid-2", "type": 2, "imported": true},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
    }

    // The method call that imports a group. Both option parameters have the same value.
    static std::string import_group(const std::string& guid, const std::string& new_name,
                                    const std::string& name, std::uint32_t option_bits,
                                    std::uint32_t status, const std::string& output = "{}") {
        return invoke("service", method::import_group,
                      "\"Dgguid\": " + str(guid) + ", \"dgid\": " + str(guid) +
                          ", \"Newdgname\": " + wstr(new_name) + ", \"newname\": " + wstr(name) +
                          ", \"Opflag\": " + uint32(option_bits) +
                          ", \"OnlineFlag\": " + uint32(option_bits),
                      status, output);
    }
};

TEST_F(ImportDg, SetsAllOptionBitsExcept2) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
        expect_calls({cluster_service(), import_group("guid-1", "", "", 0xFFFFFFFD, bus_success)});
        expect_log({{6, "Entering ImportDgW"}, {6, "Exiting ImportDgW"}});
    });
}

TEST_F(ImportDg, KeepsCallersOptionBit2) {
    once([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", L"", 0x2), FARLO_SUCCESS);
        expect_calls({cluster_service(), import_group("guid-1", "", "", 0xFFFFFFFF, bus_success)});
    });
}

// The service expects the present name in "newname", and the new one in "Newdgname".
TEST_F(ImportDg, SendsNameOnlyWithNewName) {
    once([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", L"dg9", FARLO_ONLINE_NO_NAME_CHECK),
                  FARLO_SUCCESS);
        expect_calls(
            {cluster_service(), import_group("guid-1", "dg9", "dg1", 0xFFFFFFFD, bus_success)});
    });
}

// The search by name finds cluster groups only, also with the option SHARED.
TEST_F(ImportDg, ReturnsExcludedTypeForLocalGroupByName) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"local", nullptr, nullptr, FARLO_ONLINE_SHARED),
                  FARLO_EXCLUDED_TYPE);
        expect_calls({groups("@dg1 @up @local"), read_type("dg1", group_type::cluster),
                      read("dg1", "Name", wstr("dg1")), read_type("up", group_type::cluster),
                      read("up", "Name", wstr("up")), read_type("local", group_type::local),
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

TEST_F(ImportDg, DoesNotCheckWhetherNameIsImported) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"up", "guid-2", nullptr, 0), service_already_online);
        expect_calls({cluster_service(),
                      import_group("guid-2", "", "", 0xFFFFFFFD, service_already_online)});
        expect_log({{6, "Entering ImportDgW"},
                    {4, "ImportDgW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "ImportDgW() failed, error=(0xe515007a) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(ImportDg, RejectsNullHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(nullptr, L"dg1", "guid-1", nullptr, 0), FARLO_NULL_HANDLE);
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

TEST_F(ImportDg, ReturnsNotConnectedWithoutConnection) {
    at_every_threshold([&] {
        disconnect();
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed , opal_handle not connected, error=(0x14)"}});
    });
}

TEST_F(ImportDg, RequiresNameOrGuid) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgW)(handle, nullptr, "", nullptr, 0), FARLO_MISSING_ARGUMENT);
        expect_calls({});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():SetDgGuidParam failed, error=(0x13) "},
                    {0, "ImportDgW() failed, error=(0x13) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(ImportDg, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        heap().fail(1);
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_NO_GUID_MEMORY);
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():SetDgGuidParam failed, error=(0x11) "},
                    {0, "ImportDgW() failed, error=(0x11) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// A failed query is not repeated.
TEST_F(ImportDg, FailsWhenClusterServiceCannotBeQueried) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing(querying(object_type::cluster_service))}));
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_NO_CLUSTER_SERVICE);
        expect_calls({objects_failed(object_type::cluster_service, bus_provider_failed)});
        expect_pauses({});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "ImportDgW() failed, error=(0x29) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// The lab has one cluster service at most: three disk groups are returned instead.
TEST_F(ImportDg, SendsImportToFirstOfSeveralClusterServices) {
    once([&] {
        interpose<decltype(DbGetObjects)>(
            "DbGetObjects", [&](opal_connection connection, opal_context context, const char* type,
                                opal_objid** ids, uint32_t* count) {
                EXPECT_STREQ(type, object_type::cluster_service);
                return DbGetObjects(connection, context, object_type::disk_group, ids, count);
            });
        set_faults(fault_plan({methods_return(bus_success)}));
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_SUCCESS);
        const Lines method_calls = calls_of("PrCallDispatch");
        ASSERT_EQ(method_calls.size(), 1u);
        EXPECT_EQ(method_calls[0].substr(0, 19), "PrCallDispatch @dg1");
    });
}

TEST_F(ImportDg, FailsWhenParameterCannotBeAdded) {
    at_every_threshold([&] {
        for (const char* parameter :
             {"Dgguid", "dgid", "Newdgname", "newname", "Opflag", "OnlineFlag"}) {
            SCOPED_TRACE(parameter);
            set_faults(fault_plan({failing(adding(parameter), bus_no_memory)}));
            start_watching();
            EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_EXCEPTION);
            expect_calls({cluster_service()});
            expect_log({{6, "Entering ImportDgW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "ImportDgW() failed, error=(0x12) "},
                        {6, "Exiting ImportDgW"}});
        }
    });
}

TEST_F(ImportDg, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(calling(method::import_group))}));
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed, error=(0x14) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(ImportDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedCall) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {failing_and_dropping(calling(method::import_group), service_already_online)}));
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering ImportDgW"},
                    {4, "ImportDgW: DGOP_IMPORT, CsfInvoke failed with error = 0xe515007a."},
                    {0, "ImportDgW() failed, error=(0x14) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(ImportDg, ReturnsNotConnectedWhenConnectionDropsDuringFailedQuery) {
    at_every_threshold([&] {
        set_faults(fault_plan({failing_and_dropping(querying(object_type::cluster_service))}));
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), FARLO_NOT_CONNECTED);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW():GetClusSvcId() failed, error=(0x29) "},
                    {0, "ImportDgW() failed, error=(0x14) "},
                    {6, "Exiting ImportDgW"}});
    });
}

// Without an output set, the failure is logged without the name of the method.
TEST_F(ImportDg, CallsMethodWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set, failing(calling(method::import_group), service_no_such_group)}));
        EXPECT_EQ(FARLO(ImportDgW)(handle, L"dg1", "guid-1", nullptr, 0), service_no_such_group);
        expect_calls({cluster_service(),
                      import_group("guid-1", "", "", 0xFFFFFFFD, service_no_such_group, "NULL")});
        expect_log({{6, "Entering ImportDgW"},
                    {0, "ImportDgW() failed, error=(0xe5150101) "},
                    {6, "Exiting ImportDgW"}});
    });
}

TEST_F(ImportDg, AcceptsNarrowNamesAndRejectsThoseOf32Characters) {
    at_every_threshold([&] {
        EXPECT_EQ(FARLO(ImportDgA)(handle, "dg1", "guid-1", "dg9", 0x2), FARLO_SUCCESS);
        expect_calls(
            {cluster_service(), import_group("guid-1", "dg9", "dg1", 0xFFFFFFFF, bus_success)});
        const std::string too_long(32, 'n');
        for (const bool new_name : {false, true}) {
            start_watching();
            EXPECT_EQ(FARLO(ImportDgA)(handle, new_name ? nullptr : too_long.c_str(), "guid-1",
                                       new_name ? too_long.c_str() : nullptr, 0),
                      FARLO_INVALID_ARGUMENT);
            expect_calls({});
            expect_log(
                {{0, std::string("ImportDgA() failed , ") + (new_name ? "new_name" : "name") +
                         " string of more than 31 characters or invalid, "
                         "error=(0x80070057)"}});
        }
    });
}

}  // namespace
