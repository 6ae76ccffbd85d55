// GetDgNameW.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

class GetDgName : public FarloTest {
  protected:
    GetDgName() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "shared", "dgid": "guid-8", "type": 8},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
    }

    std::uint32_t get_name(const char* guid, std::wstring& received) {
        GuardedBuffer buffer(FARLO_NAME_SIZE * sizeof(wchar_t));
        const std::uint32_t status = FARLO(GetDgNameW)(handle, guid, buffer.as<wchar_t>());
        received = buffer.untouched() ? L"untouched" : buffer.as<wchar_t>();
        return status;
    }
    std::wstring name;
};

TEST_F(GetDgName, FindsClusterAndClusterSharedGroups) {
    at_every_threshold([&] {
        EXPECT_EQ(get_name("GUID-8", name), FARLO_SUCCESS);
        EXPECT_EQ(name, L"shared");
        expect_calls(
            {groups("@dg1 @shared @local"), read_type("dg1", group_type::cluster),
             read("dg1", "dgid", str("guid-1")), read_type("shared", group_type::cluster_shared),
             read("shared", "dgid", str("guid-8")), read("shared", "Name", wstr("shared"))});
        expect_log({{6, "Entering GetDgNameW"}, {6, "Exiting GetDgNameW"}});
    });
}

TEST_F(GetDgName, FailsForLocalAndUnknownGroups) {
    const struct {
        const char* guid;
        std::uint32_t status;
        const char* logged;
    } rows[] = {{"guid-3", FARLO_EXCLUDED_TYPE, "0x28"}, {"nowhere", FARLO_NOT_FOUND, "0x1"}};
    at_every_threshold([&] {
        for (const auto& row : rows) {
            start_watching();
            EXPECT_EQ(get_name(row.guid, name), row.status);
            EXPECT_EQ(name, L"untouched");
            expect_log({{6, "Entering GetDgNameW"},
                        {0, std::string("GetDgObjIdByGuid() failed , DG_TYPENAME not found in "
                                        "OPAL, error=(") +
                                row.logged + ")"},
                        {0, std::string("GetDgNameW():GetDgObjIdByGuid()  failed, error=(") +
                                row.logged + ") "}});
        }
    });
}

TEST_F(GetDgName, ReturnsNotFoundAfterFiveQueriesWithoutGroups) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(get_name("guid-1", name), FARLO_NOT_FOUND);
        expect_calls({groups(""), groups(""), groups(""), groups(""), groups("")});
        expect_pauses(
            {{"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}, {"Sleep", 5000}});
        expect_log({{6, "Entering GetDgNameW"},
                    {6, "GetDgObjIdByGuid: Sleeping for 5 secs"},
                    {6, "GetDgObjIdByGuid: Sleeping for 5 secs"},
                    {6, "GetDgObjIdByGuid: Sleeping for 5 secs"},
                    {6, "GetDgObjIdByGuid: Sleeping for 5 secs"},
                    {6, "GetDgObjIdByGuid: Sleeping for 5 secs"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgNameW():GetDgObjIdByGuid()  failed, error=(0x1) "}});
    });
}

TEST_F(GetDgName, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        wchar_t buffer[FARLO_NAME_SIZE];
        EXPECT_EQ(FARLO(GetDgNameW)(nullptr, "guid-1", buffer), FARLO_NULL_HANDLE);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed , opal_handle==NULL, error=(0x64)"}});
        for (const char* guid : {static_cast<const char*>(nullptr), ""}) {
            start_watching();
            EXPECT_EQ(FARLO(GetDgNameW)(handle, guid, buffer), FARLO_MISSING_ARGUMENT);
            expect_log({{6, "Entering GetDgNameW"},
                        {0, "GetDgNameW():UseDgGuid()  failed, error=(0x13) "}});
        }
        start_watching();
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", nullptr), FARLO_MISSING_ARGUMENT);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed , pwDgName == NULL, error=(0x13) "}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", buffer), FARLO_NOT_CONNECTED);
        expect_calls({});
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed , opal_handle not connected, error=(0x14) "}});
    });
}

TEST_F(GetDgName, FailsWhenNameCannotBeRead) {
    at_every_threshold([&] {
        const FaultRule reading_name = reading("dg1", "Name");
        for (const FaultRule& fault :
             {failing(reading_name, bus_no_property), with_type(reading_name, "STR"),
              lying(reading_name, "unterminated"), lying(reading_name, "null")}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(get_name("guid-1", name), FARLO_EXCEPTION);
            EXPECT_EQ(name, L"untouched");
            expect_log({{6, "Entering GetDgNameW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgNameW() failed, error=(0x12) "},
                        {6, "Exiting GetDgNameW"}});
        }
    });
}

TEST_F(GetDgName, ProvidesNameOf259CharactersAndRejects260) {
    scenario = R"({"disk_groups": [{"name": ")" + std::string(259, 'n') +
               R"(", "dgid": "fits"}, {"name": ")" + std::string(260, 'n') +
               R"(", "dgid": "long"}]})";
    once([&] {
        EXPECT_EQ(get_name("fits", name), FARLO_SUCCESS);
        EXPECT_EQ(name, std::wstring(259, L'n'));
        EXPECT_EQ(get_name("long", name), FARLO_EXCEPTION);
        EXPECT_EQ(name, L"untouched");
    });
}

TEST_F(GetDgName, ReturnsNotConnectedWhenConnectionDropsDuringFailedRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({{.object = "dg1",
                                .property = "Name",
                                .returns_after_work = bus_no_property,
                                .drops = true}}));
        EXPECT_EQ(get_name("guid-1", name), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering GetDgNameW"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameW() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameW"}});
    });
}

// The connection is checked only after a successful search.
TEST_F(GetDgName, ReturnsNotFoundWhenConnectionDropsDuringFailedSearch) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("local", "dgid"))}));
        EXPECT_EQ(get_name("nowhere", name), FARLO_NOT_FOUND);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgNameW():GetDgObjIdByGuid()  failed, error=(0x1) "}});
    });
}

// One GUID is the beginning of another.
TEST_F(GetDgName, ComparesWholeGuids) {
    scenario = R"({"disk_groups": [{"name": "a", "dgid": "guid-"}, {"name": "b", "dgid": "guid-12"},
                                   {"name": "c", "dgid": "guid-1"}]})";
    once([&] {
        EXPECT_EQ(get_name("guid-1", name), FARLO_SUCCESS);
        EXPECT_EQ(name, L"c");
    });
}

TEST_F(GetDgName, ReturnsNotConnectedWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("dg1", "Name"))}));
        EXPECT_EQ(get_name("guid-1", name), FARLO_NOT_CONNECTED);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameW"}});
    });
}

}  // namespace
