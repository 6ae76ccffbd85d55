// GetDgNameW.
#include "bus_lines.h"
#include "farlo_test.h"

namespace {

using namespace support;

class DgName : public FarloTest {
  protected:
    DgName() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "shared", "dgid": "guid-8", "type": 8},
            {"name": "local", "dgid": "guid-3", "type": 1}]})";
    }

    std::uint32_t get(const char* guid, std::wstring& text) {
        GuardedBuffer buffer(260 * sizeof(wchar_t));
        const std::uint32_t status = FARLO(GetDgNameW)(handle, guid, buffer.as<wchar_t>());
        text = buffer.untouched() ? L"untouched" : buffer.as<wchar_t>();
        return status;
    }
    std::wstring name;
};

TEST_F(DgName, FindsClusterAndClusterSharedGroups) {
    at_every_threshold([&] {
        EXPECT_EQ(get("GUID-8", name), 0u);
        EXPECT_EQ(name, L"shared");
        expect_calls({groups("@dg1 @shared @local"), read("dg1", "LDM DG TYPE", uint32(2)),
                      read("dg1", "dgid", str("guid-1")), read("shared", "LDM DG TYPE", uint32(8)),
                      read("shared", "dgid", str("guid-8")),
                      read("shared", "Name", wstr("shared"))});
        expect_log({{6, "Entering GetDgNameW"}, {6, "Exiting GetDgNameW"}});
    });
}

TEST_F(DgName, OtherGroupsAreNotFound) {
    const struct {
        const char* guid;
        const char* error;
        std::uint32_t status;
    } rows[] = {{"guid-3", "0x28", 40}, {"nowhere", "0x1", 1}};
    at_every_threshold([&] {
        for (const auto& row : rows) {
            start_watching();
            EXPECT_EQ(get(row.guid, name), row.status);
            EXPECT_EQ(name, L"untouched");
            expect_log({{6, "Entering GetDgNameW"},
                        {0, std::string("GetDgObjIdByGuid() failed , DG_TYPENAME not found in "
                                        "OPAL, error=(") +
                                row.error + ")"},
                        {0, std::string("GetDgNameW():GetDgObjIdByGuid()  failed, error=(") +
                                row.error + ") "}});
        }
    });
}

TEST_F(DgName, NoGroupAtAll) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(get("guid-1", name), 1u);
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

TEST_F(DgName, Checks) {
    at_every_threshold([&] {
        wchar_t buffer[260];
        EXPECT_EQ(FARLO(GetDgNameW)(nullptr, "guid-1", buffer), 0x64u);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed , opal_handle==NULL, error=(0x64)"}});
        for (const char* guid : {static_cast<const char*>(nullptr), ""}) {
            start_watching();
            EXPECT_EQ(FARLO(GetDgNameW)(handle, guid, buffer), 0x13u);
            expect_log({{6, "Entering GetDgNameW"},
                        {0, "GetDgNameW():UseDgGuid()  failed, error=(0x13) "}});
        }
        start_watching();
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", nullptr), 0x13u);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed , pwDgName == NULL, error=(0x13) "}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgNameW)(handle, "guid-1", buffer), 0x14u);
        expect_calls({});
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed , opal_handle not connected, error=(0x14) "}});
    });
}

TEST_F(DgName, ANameThatCannotBeReadOrDoesNotFit) {
    at_every_threshold([&] {
        for (const char* fault : {R"("status": "0xc100003a")", R"("as": "STR")",
                                  R"("lie": "unterminated")", R"("lie": "null")"}) {
            SCOPED_TRACE(fault);
            set_faults(std::string(R"([{"object": "dg1", "property": "Name", )") + fault + "}]");
            start_watching();
            EXPECT_EQ(get("guid-1", name), 0x12u);
            EXPECT_EQ(name, L"untouched");
            expect_log({{6, "Entering GetDgNameW"},
                        {6, "API_TRY_CATCH_FAILED "},
                        {0, "GetDgNameW() failed, error=(0x12) "},
                        {6, "Exiting GetDgNameW"}});
        }
    });
}

TEST_F(DgName, TheLongestNameThatFits) {
    scenario = R"({"disk_groups": [{"name": ")" + std::string(259, 'n') +
               R"(", "dgid": "fits"}, {"name": ")" + std::string(260, 'n') +
               R"(", "dgid": "long"}]})";
    once([&] {
        EXPECT_EQ(get("fits", name), 0u);
        EXPECT_EQ(name, std::wstring(259, L'n'));
        EXPECT_EQ(get("long", name), 0x12u);
        EXPECT_EQ(name, L"untouched");
    });
}

// Whatever it was.
TEST_F(DgName, ADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(
            R"([{"object": "dg1", "property": "Name", "after": "0xc100003a", "drop": true}])");
        EXPECT_EQ(get("guid-1", name), 0x14u);
        expect_log({{6, "Entering GetDgNameW"},
                    {6, "API_TRY_CATCH_FAILED "},
                    {0, "GetDgNameW() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameW"}});
    });
}

// A lookup's failure is told at once.
TEST_F(DgName, ADropDuringTheLookup) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "local", "property": "dgid", "drop": true}])");
        EXPECT_EQ(get("nowhere", name), 1u);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgObjIdByGuid() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgNameW():GetDgObjIdByGuid()  failed, error=(0x1) "}});
    });
}

// Identifiers are compared whole.
TEST_F(DgName, AnIdentifierThatBeginsAnother) {
    scenario = R"({"disk_groups": [{"name": "a", "dgid": "guid-"}, {"name": "b", "dgid": "guid-12"},
                                   {"name": "c", "dgid": "guid-1"}]})";
    once([&] {
        EXPECT_EQ(get("guid-1", name), 0u);
        EXPECT_EQ(name, L"c");
    });
}

TEST_F(DgName, AConnectionThatDropsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "dg1", "property": "Name", "drop": true}])");
        EXPECT_EQ(get("guid-1", name), 0x14u);
        expect_log({{6, "Entering GetDgNameW"},
                    {0, "GetDgNameW() failed, error=(0x14) "},
                    {6, "Exiting GetDgNameW"}});
    });
}

}  // namespace
