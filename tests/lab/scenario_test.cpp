// Scenarios: the effect of each key, and the reports of errors.
#include "lab/store_fixture.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

using Scenario = lab_tests::StoreTest;

// The error of a bad scenario: "line: reason".
std::string error_of(const std::string& json) {
    try {
        lab::build_scenario(json);
    } catch (const std::exception& error) {
        return error.what();
    }
    return "accepted";
}

TEST_F(Scenario, CreatesServiceAndMiscObjectByDefault) {
    load("{}");
    EXPECT_THAT(of_type(ZTTYPE_CLUSTER_SERVICE), ElementsAre("service"));
    EXPECT_EQ(property("service", "node"), "WSTR \"node1\"");
    EXPECT_EQ(property("misc", "nodeRole"), "UINT32 0");
    EXPECT_EQ(property("misc", "nodeStatus"), "UINT32 0");
    EXPECT_THAT(of_type(ZTTYPE_DISK_GROUP), IsEmpty());
}

TEST_F(Scenario, SetsPropertiesOfTheNode) {
    load(R"({"node": {"name": "n7", "role": 2, "status": 3, "start_seconds": 4,
                      "start_fails": true, "without": ["nodeStatus"],
                      "cluster_service": {"properties": {"x": {"type": "STR", "value": "y"}}}}})");
    EXPECT_EQ(property("service", "node"), "WSTR \"n7\"");
    EXPECT_EQ(property("service", "x"), "STR \"y\"");
    EXPECT_EQ(property("misc", "nodeRole"), "UINT32 2");
    EXPECT_EQ(property("misc", "nodeStatus"), "");
    EXPECT_EQ(property("misc", "startSeconds"), "UINT32 4");
    EXPECT_EQ(property("misc", "startFails"), "BOOLEAN true");
    EXPECT_EQ(property("misc", "startRole"), "UINT32 1");
    EXPECT_EQ(property("misc", "stopSeconds"), "UINT32 0");
    EXPECT_EQ(property("service", "reservation key"), "UINT64 1");

    load(R"({"node": {"cluster_service": false, "misc": false}})");
    EXPECT_THAT(of_type(ZTTYPE_CLUSTER_SERVICE), IsEmpty());
    EXPECT_THAT(of_type(ZTTYPE_MISC), IsEmpty());
}

TEST_F(Scenario, CreatesDiskGroups) {
    load(R"({"disk_groups": [
        {"name": "a", "dgid": "id-a"},
        {"name": "Same", "id": "b", "dgid": "id-b", "type": 8, "imported": true},
        {"name": "Same", "id": "c", "dgid": "id-c", "type": 1, "cluster_resource": true,
         "cluster_shared": true}]})");
    EXPECT_EQ(property("a", "Name"), "WSTR \"a\"");
    EXPECT_EQ(property("a", "dgid"), "STR \"id-a\"");
    EXPECT_EQ(property("a", "LDM DG TYPE"), "UINT32 2");
    EXPECT_EQ(property("a", "imported"), "BOOLEAN false");
    EXPECT_EQ(property("a", "cluster resource"), "BOOLEAN true");
    EXPECT_EQ(property("a", "cluster shared"), "BOOLEAN false");
    EXPECT_EQ(property("b", "Name"), "WSTR \"Same\"");
    EXPECT_EQ(property("b", "LDM DG TYPE"), "UINT32 8");
    EXPECT_EQ(property("b", "imported"), "BOOLEAN true");
    EXPECT_EQ(property("b", "cluster resource"), "BOOLEAN false");
    EXPECT_EQ(property("b", "cluster shared"), "BOOLEAN true");
    EXPECT_EQ(property("c", "cluster resource"), "BOOLEAN true");
    EXPECT_EQ(property("c", "cluster shared"), "BOOLEAN true");
}

TEST_F(Scenario, CreatesDisksAndVolumes) {
    load(R"({"disk_groups": [{"name": "dg", "dgid": "g",
        "disks": [{"name": "d", "device": "\\D", "signature": 4294967295, "disk_id": "1a-2",
                   "disk_guid": "{0}", "port": 1, "target": 2, "lun": 3, "state": 4}],
        "volumes": [{"name": "v", "device": "\\V", "volume_name": "\\\\?\\Volume{1}\\",
                     "drive_letter": "E:", "guid": "vg", "type": 3, "state": 5,
                     "size": 18446744073709551615, "data_change_object": true,
                     "file_system": {"label": "Data"},
                     "plexes": [{"name": "p", "state": 6}]},
                    {"name": "w", "device": "\\W"}]}]})");
    EXPECT_EQ(property("d", "Name"), "WSTR \"d\"");
    EXPECT_EQ(property("d", "DEVICE NAME"), "WSTR \"\\\\D\"");
    EXPECT_EQ(property("d", "SIGNATURE"), "UINT32 4294967295");
    EXPECT_EQ(property("d", "DISKID"), "STR \"1a-2\"");
    EXPECT_EQ(property("d", "DISKGUID"), "STR \"{0}\"");
    EXPECT_EQ(property("d", "PORT"), "UINT32 1");
    EXPECT_EQ(property("d", "DISK TARGET ID"), "UINT32 2");
    EXPECT_EQ(property("d", "LUN ID"), "UINT32 3");
    EXPECT_EQ(property("d", "ztvmstate"), "UINT32 4");
    EXPECT_EQ(property("v", "DEVICE NAME"), "WSTR \"\\\\V\"");
    EXPECT_EQ(property("v", "volumename"), "WSTR \"\\\\\\\\?\\\\Volume{1}\\\\\"");
    EXPECT_EQ(property("v", "DRIVE LETTER"), "WSTR \"E:\"");
    EXPECT_EQ(property("v", "volguid"), "STR \"vg\"");
    EXPECT_EQ(property("v", "type"), "UINT32 3");
    EXPECT_EQ(property("v", "ztvmstate"), "UINT32 5");
    EXPECT_EQ(property("v", "size"), "UINT64 18446744073709551615");
    EXPECT_EQ(property("v", "isdco"), "BOOLEAN true");
    EXPECT_EQ(property("v file system", "type of file system"), "WSTR \"NTFS\"");
    EXPECT_EQ(property("v file system", "label"), "WSTR \"Data\"");
    EXPECT_EQ(property("p", "ztvmstate"), "UINT32 6");
    EXPECT_EQ(property("w", "volguid"), "");
    EXPECT_EQ(property("w", "isdco"), "BOOLEAN false");
}

TEST_F(Scenario, SetsPropertiesOfEveryElementType) {
    load(R"({"objects": [
        {"name": "other", "type": "thing"},
        {"name": "o", "type": "thing", "parents": ["other"], "properties": {
            "1": {"type": "BOOLEAN", "value": true},
            "2": {"type": "INT32", "value": -2147483648},
            "3": {"type": "UINT32", "value": 4294967295},
            "4": {"type": "INT64", "value": -9223372036854775808},
            "5": {"type": "UINT64", "value": 18446744073709551615},
            "6": {"type": "STR", "value": "a\"b\\c\n"},
            "7": {"type": "WSTR", "value": "\u00e9\u65e5"},
            "8": {"type": "BINARY", "value": "00fF7e"},
            "9": {"type": "GUID", "value": "{00112233-4455-6677-8899-AABBCCDDEEFF}"},
            "10": {"type": "PROPSET", "value": {"in": {"type": "PROPSET", "value": {}}}},
            "11": {"type": "ZTOBJID", "value": "other"},
            "16": {"type": "I18N", "value": {"id": 7, "name": "n", "catalog": "c"}},
            "17": {"type": "I18NFORMATSTRING",
                   "value": {"pattern": "%s", "insertions": ["n", {"wide": "w"}]}},
            "18": {"type": "TIME", "value": 132000000000000000}}}]})");
    EXPECT_EQ(property("o", "1"), "BOOLEAN true");
    EXPECT_EQ(property("o", "2"), "INT32 -2147483648");
    EXPECT_EQ(property("o", "3"), "UINT32 4294967295");
    EXPECT_EQ(property("o", "4"), "INT64 -9223372036854775808");
    EXPECT_EQ(property("o", "5"), "UINT64 18446744073709551615");
    EXPECT_EQ(property("o", "6"), R"(STR "a\"b\\c\x0a")");
    EXPECT_EQ(property("o", "7"), R"(WSTR "\u00e9\u65e5")");
    EXPECT_EQ(property("o", "8"), "BINARY 00ff7e");
    EXPECT_EQ(property("o", "9"), "GUID {00112233-4455-6677-8899-aabbccddeeff}");
    EXPECT_EQ(property("o", "10"), "PROPSET {\"in\": PROPSET {}}");
    EXPECT_EQ(property("o", "11"), "ZTOBJID @other");
    EXPECT_EQ(property("o", "16"), "I18N message 7 \"n\" \"c\"");
    EXPECT_EQ(property("o", "17"), "I18NFORMATSTRING format \"%s\" [\"n\" \"w\"]");
    EXPECT_EQ(property("o", "18"), "TIME 132000000000000000");
    EXPECT_THAT(parents("o"), ElementsAre("other"));
}

TEST_F(Scenario, SetsPropertiesOfEveryArrayType) {
    load(R"({"objects": [
        {"name": "o", "type": "thing", "properties": {
            "1Z": {"type": "BOOLEANZ", "value": [true, false]},
            "2Z": {"type": "INT32Z", "value": [-1]},
            "3Z": {"type": "UINT32Z", "value": []},
            "4Z": {"type": "INT64Z", "value": [1, -1]},
            "5Z": {"type": "UINT64Z", "value": [5]},
            "6Z": {"type": "STRZ", "value": ["", "b"]},
            "7Z": {"type": "WSTRZ", "value": ["w"]},
            "9Z": {"type": "GUIDZ", "value": ["{00000000-0000-0000-0000-000000000001}"]},
            "10Z": {"type": "PROPSETZ", "value": [{"a": {"type": "INT32", "value": 1}}, {}]},
            "11Z": {"type": "ZTOBJIDZ", "value": ["null", "o"]},
            "16Z": {"type": "I18NZ", "value": [{"id": 1, "name": "", "catalog": ""}]},
            "17Z": {"type": "I18NFORMATSTRINGZ", "value": [{"pattern": "s"}]},
            "18Z": {"type": "TIMEZ", "value": [0, 1]}}}]})");
    EXPECT_EQ(property("o", "1Z"), "BOOLEANZ [true false]");
    EXPECT_EQ(property("o", "2Z"), "INT32Z [-1]");
    EXPECT_EQ(property("o", "3Z"), "UINT32Z []");
    EXPECT_EQ(property("o", "4Z"), "INT64Z [1 -1]");
    EXPECT_EQ(property("o", "5Z"), "UINT64Z [5]");
    EXPECT_EQ(property("o", "6Z"), "STRZ [\"\" \"b\"]");
    EXPECT_EQ(property("o", "7Z"), "WSTRZ [\"w\"]");
    EXPECT_EQ(property("o", "9Z"), "GUIDZ [{00000000-0000-0000-0000-000000000001}]");
    EXPECT_EQ(property("o", "10Z"), "PROPSETZ [{\"a\": INT32 1} {}]");
    EXPECT_EQ(property("o", "11Z"), "ZTOBJIDZ [@null @o]");
    EXPECT_EQ(property("o", "16Z"), "I18NZ [message 1 \"\" \"\"]");
    EXPECT_EQ(property("o", "17Z"), "I18NFORMATSTRINGZ [format \"s\" []]");
    EXPECT_EQ(property("o", "18Z"), "TIMEZ [0 1]");
}

TEST_F(Scenario, OverridesAndOmitsUsualProperties) {
    load(R"({"disk_groups": [{"name": "dg", "dgid": "g",
        "properties": {"imported": {"type": "UINT32", "value": 1}},
        "without": ["dgid", "LDM DG TYPE"]}]})");
    EXPECT_EQ(property("dg", "imported"), "UINT32 1");
    EXPECT_EQ(property("dg", "dgid"), "");
    EXPECT_EQ(property("dg", "LDM DG TYPE"), "");
    lab::PropertySet all;
    store->get_properties(id("dg"), all);
    EXPECT_EQ(all[1].name, "imported");  // at its usual place
}

TEST_F(Scenario, CreatesGroupsFromPattern) {
    load(R"({"disk_groups": [{"name": "dg#", "dgid": "x-####", "count": 12,
        "disks": [{"name": "d#"}],
        "volumes": [{"name": "v#", "device": "\\V#", "guid": "##", "volume_name": "n#n",
                     "plexes": [{"name": "p#", "subdisks": [{"name": "s#", "disk": "d#"}]}]}]}]})");
    EXPECT_EQ(of_type(ZTTYPE_DISK_GROUP).size(), 12u);
    EXPECT_EQ(of_type(ZTTYPE_SUBDISK).size(), 12u);
    EXPECT_EQ(property("dg7", "dgid"), "STR \"x-0007\"");
    EXPECT_EQ(property("dg12", "dgid"), "STR \"x-0012\"");
    EXPECT_EQ(property("v7", "volguid"), "STR \"07\"");
    EXPECT_EQ(property("v12", "volumename"), "WSTR \"n12n\"");
    EXPECT_THAT(children("dg12"), ElementsAre("d12", "v12"));
    EXPECT_THAT(parents("s12"), ElementsAre("p12", "d12"));

    load(R"({"disk_groups": [{"name": "a#b", "dgid": "#"}]})");
    EXPECT_EQ(property("a#b", "dgid"), "STR \"#\"");
}

TEST_F(Scenario, CreatesDisksAndVolumesFromPattern) {
    load(R"({"disk_groups": [{"name": "dg#", "dgid": "#",
        "disks": [{"name": "d##", "count": 3, "signature": 7}, {"name": "d#"}],
        "volumes": [{"name": "none", "count": 0, "device": ""},
                    {"name": "v#", "count": 2, "device": "\\V#", "file_system": {"label": "L#"},
                     "plexes": [{"name": "p#", "subdisks": [{"name": "s#", "disk": "d0#"}]}]}]}]})");
    EXPECT_THAT(children("dg#"), ElementsAre("d01", "d02", "d03", "d#", "v1", "v2"));
    EXPECT_EQ(property("d03", "SIGNATURE"), "UINT32 7");
    EXPECT_EQ(property("v2", "DEVICE NAME"), "WSTR \"\\\\V2\"");
    EXPECT_EQ(property("v2 file system", "label"), "WSTR \"L2\"");
    EXPECT_THAT(parents("s2"), ElementsAre("p2", "d02"));
}

TEST(ScenarioError, InPatternIsReportedWithLine) {
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"g#\", \"dgid\": \"1\", \"count\": 2,\n"
                       "\"disks\": [{\"name\": \"d#\",\n\"count\": 2}]}]}"),
              "3: a \"count\" inside another \"count\" is not allowed");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"g#\", \"dgid\": \"1\", \"volumes\": [\n"
                       "{\"name\": \"v#\", \"device\": \"\",\n\"count\": 1000001}]}]}"),
              "3: expected an integer from 0 to 1000000");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"g\", \"dgid\": \"1\", \"disks\": [\n"
                       "{\"count\": 2,\n\"name\": \"d\"}]}]}"),
              "3: the name \"d\" is taken; add an \"id\" of its own");
}

TEST(ScenarioError, InJsonIsReportedWithLine) {
    EXPECT_THAT(error_of("{\n\"node\": {\n}\n,,\n}"), testing::StartsWith("4: syntax error"));
    EXPECT_THAT(error_of(""), testing::StartsWith("1: syntax error"));
    EXPECT_THAT(error_of("{\n\n"), testing::StartsWith("2: syntax error"));
    EXPECT_THAT(error_of("{\n\"a\nb\": 1}"), testing::StartsWith("2: syntax error"));
    EXPECT_EQ(error_of("{\n\"node\": {},\n\"node\": {}}"), "3: the key \"node\" is a duplicate");
}

TEST(ScenarioError, InKeysIsReportedWithLine) {
    EXPECT_EQ(error_of("[]"), "1: expected an object");
    EXPECT_EQ(error_of("{\n\"diskgroups\": []}"), "2: unknown key \"diskgroups\"");
    EXPECT_EQ(error_of("{\"node\": {\n\"roll\":\n1}}"), "3: unknown key \"roll\"");
    EXPECT_EQ(error_of("{\"disk_groups\": {}}"), "1: expected an array");
    EXPECT_EQ(error_of("{\"disk_groups\": [\n\n{\"name\": \"a\"}]}"), "3: \"dgid\" is missing");
    EXPECT_EQ(error_of("{\"disk_groups\": [\n{\"dgid\": \"a\"}]}"), "2: \"name\" is missing");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\",\n\"dgid\": 5\n}]}"),
              "2: expected a string");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"\",\n\"type\": -1\n}]}"),
              "2: expected an integer from 0 to 4294967295");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"\",\n\"hidden\": 1\n}]}"),
              "2: expected true or false");
    EXPECT_EQ(error_of("{\"node\": {\"role\":\n4294967296\n}}"),
              "2: expected an integer from 0 to 4294967295");
    EXPECT_EQ(error_of("{\"node\": {\"role\":\n1.5}}"),
              "2: expected an integer from 0 to 4294967295");
}

TEST(ScenarioError, InNamesIsReportedWithLine) {
    const std::string twice = "{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"1\"},\n"
                              "{\"dgid\": \"2\",\n\"name\": \"a\"}]}";
    EXPECT_EQ(error_of(twice), "3: the name \"a\" is taken; add an \"id\" of its own");
    EXPECT_EQ(
        error_of("{\"disk_groups\": [{\"id\":\n\"null\", \"name\": \"a\", \"dgid\": \"1\"}]}"),
        "2: \"null\" cannot be an object's id; add an \"id\"");
    EXPECT_EQ(
        error_of("{\"objects\": [{\"name\": \"a\", \"type\": \"t\",\n\"parents\":\n[\"b\"]}]}"),
        "3: there is no object \"b\"");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"1\", \"volumes\": [\n"
                       "{\"name\": \"v\", \"device\": \"\", \"plexes\": [{\"name\": \"p\",\n"
                       "\"subdisks\": [{\"name\": \"s\", \"disk\":\n\"v\"}]}]}]}]}"),
              "4: \"v\" is not a disk");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"1\", \"volumes\": [\n"
                       "{\"name\": \"v\", \"device\": \"\", \"mount_points\": [\n"
                       "{\"path\": \"p\", \"volume\":\n\"a\"}]}]}]}"),
              "4: \"a\" is not a volume");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"1\", \"volumes\": [\n"
                       "{\"name\": \"v\", \"device\": \"\", \"mount_points\": [\n"
                       "{\"volume\": \"v\"}]}]}]}"),
              "3: \"path\" is missing");
    EXPECT_EQ(error_of("{\"disk_groups\": [{\"name\": \"a\", \"dgid\": \"1\",\n"
                       "\"without\": [\"dgid\",\n\"size\"]}]}"),
              "3: the object has no property \"size\" to remove");
}

// A scenario with one property whose value starts on line 2.
std::string with_property(const std::string& type, const std::string& value) {
    return "{\"objects\": [{\"name\": \"o\", \"type\": \"t\", \"properties\": {\"p\": "
           "{\"type\": \"" +
           type + "\", \"value\":\n" + value + "}}}]}";
}

TEST(ScenarioError, InValuesIsReportedWithLine) {
    EXPECT_EQ(error_of(with_property("INT", "1")), "1: \"INT\" is not a type");
    EXPECT_EQ(error_of(with_property("BINARYZ", "[]")), "1: \"BINARYZ\" is not a type");
    EXPECT_EQ(error_of(with_property("INT32", "2147483648")),
              "2: the number does not fit its type");
    EXPECT_EQ(error_of(with_property("UINT32", "-1")),
              "2: expected an integer from 0 to 4294967295");
    EXPECT_EQ(error_of(with_property("INT64", "9223372036854775808")), "2: expected an integer");
    EXPECT_EQ(error_of(with_property("BOOLEAN", "0")), "2: expected true or false");
    EXPECT_EQ(error_of(with_property("BOOLEANZ", "true")), "2: expected an array");
    EXPECT_EQ(error_of(with_property("BINARY", "\"0\"")),
              "2: expected pairs of hexadecimal digits");
    EXPECT_EQ(error_of(with_property("BINARY", "\"zz\"")),
              "2: expected pairs of hexadecimal digits");
    EXPECT_EQ(error_of(with_property("GUID", "\"{1}\"")),
              "2: expected a GUID like {xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}");
    EXPECT_EQ(error_of(with_property("ZTOBJID", "\"x\"")), "2: there is no object \"x\"");
    EXPECT_EQ(error_of(with_property("I18N", "{\"id\": 1, \"name\": \"n\"}")),
              "2: \"catalog\" is missing");
    EXPECT_EQ(error_of(with_property("I18NFORMATSTRING", "{\"insertions\": []}")),
              "2: \"pattern\" is missing");
    EXPECT_EQ(
        error_of(with_property("I18NFORMATSTRING", "{\"pattern\": \"\", \"insertions\": [5]}")),
        "2: expected an object");
    EXPECT_EQ(error_of(with_property("PROPSET", "{\"a\": {\"type\": \"STR\", \"value\": 1}}")),
              "2: expected a string");
    EXPECT_EQ(error_of("{\"objects\": [{\"name\": \"o\", \"type\": \"t\", \"properties\": {\"p\":\n"
                       "{\"type\": \"INT32\", \"value\": 1, \"x\": 1}}}]}"),
              "2: unknown key \"x\"");
}

TEST(ScenarioError, InNarrowStringsIsReported) {
    if (GetACP() == CP_UTF8) {
        GTEST_SKIP() << "the code page of this node holds every character";
    }
    EXPECT_EQ(error_of(with_property("STR", "\"\\u65e5\"")),
              "2: the ANSI code page lacks a character of the string");
}

using ScenarioFaults = lab_tests::StoreTest;

TEST_F(ScenarioFaults, ReportsErrorsInNodesAndReservationsWithLine) {
    const struct {
        const char* json;
        const char* reason;
    } rows[] = {
        {"{\"node\": {\n\"start_role\": 0}}", "2: the role of a node that runs cannot be 0"},
        {"{\"node\": {\n\"stop_seconds\": -1}}", nullptr},
        {"{\"node\": {\n\"reservation_key\": \"x\"}}", nullptr},
        {"{\"disk_groups\": [{\"name\": \"d\", \"dgid\": \"g\",\n\"reservation\": {}}]}",
         "2: \"owner\" is missing"},
        {"{\"disk_groups\": [{\"name\": \"d\", \"dgid\": \"g\",\n\"reservation\": {\"owner\": "
         "\"\"}}]}",
         "2: the owner of a reservation must be a node's name"},
        {"{\"disk_groups\": [{\"name\": \"d\", \"dgid\": \"g\",\n\"reservation\": {\"owner\": "
         "\"n\", \"lost\": true}}]}",
         "2: unknown key \"lost\""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.json);
        try {
            load(row.json);
            ADD_FAILURE() << "it was taken";
        } catch (const lab::ScenarioError& error) {
            EXPECT_EQ(std::string(error.what()).substr(0, 3), "2: ");
            if (row.reason != nullptr) {
                EXPECT_STREQ(error.what(), row.reason);
            }
        }
    }
}

class ScenarioFile : public lab_tests::StoreTest {
  protected:
    static std::string fault_of_file(const std::wstring& path) {
        try {
            lab::load_scenario(path.c_str());
        } catch (const std::exception& error) {
            return error.what();
        }
        return "accepted";
    }
    void load_shipped(const char* name) {
        const std::filesystem::path path = std::string(LAB_SCENARIOS) + name;
        store = std::make_unique<lab::Store>(lab::load_scenario(path.c_str()));
    }
};

TEST_F(ScenarioFile, ReportsErrorsWithFileAndLine) {
    wchar_t folder[MAX_PATH];
    ASSERT_NE(GetTempPathW(MAX_PATH, folder), 0u);
    const std::filesystem::path path = std::filesystem::path(folder) / L"faulty.json";
    FILE* file = _wfopen(path.c_str(), L"wb");
    ASSERT_NE(file, nullptr);
    std::fputs("{\r\n\"node\": {\r\n\"role\": true\r\n}}\r\n", file);
    std::fclose(file);
    EXPECT_EQ(fault_of_file(path), path.string() + ":3: expected an integer from 0 to 4294967295");
    std::filesystem::remove(path);
    EXPECT_EQ(fault_of_file(path), path.string() + ": No such file or directory");
}

TEST_F(ScenarioFile, SmallHasTheDemosGroups) {
    load_shipped("small.json");
    EXPECT_THAT(of_type(ZTTYPE_DISK_GROUP), ElementsAre("dg_data", "dg_quorum", "dg_local"));
    opal_objid late;
    EXPECT_TRUE(store->find_named("dg_late", late));
    EXPECT_EQ(property("dg_local", "LDM DG TYPE"), "UINT32 1");
    EXPECT_EQ(property("dg_quorum", "imported"), "BOOLEAN true");
    EXPECT_THAT(children("vol_data", ZTTYPE_PLEX), ElementsAre("vol_data-01", "vol_data-02"));
}

TEST_F(ScenarioFile, LargeHasTenThousandGroups) {
    load_shipped("large.json");
    EXPECT_EQ(of_type(ZTTYPE_DISK_GROUP).size(), 10'000u);
    EXPECT_EQ(property("dg_in5000", "dgid"), "STR \"11111111-0000-0000-0000-000000005000\"");
    EXPECT_EQ(property("dg_in5000", "imported"), "BOOLEAN true");
    EXPECT_EQ(property("dg_out1", "imported"), "BOOLEAN false");
    EXPECT_THAT(query(L"SELECT FROM " ZTTYPE_VOLUME L" where \"DEVICE NAME\" EQ "
                      L"\\device\\harddiskdmvolumes\\dg_out77\\VOL"),
                ElementsAre("vol_out77"));
}

TEST_F(ScenarioFile, LargeGroupHasManyDisksAndVolumes) {
    load_shipped("large_group.json");
    EXPECT_THAT(of_type(ZTTYPE_DISK_GROUP), ElementsAre("dg_large"));
    EXPECT_EQ(children("dg_large", ZTTYPE_DISK).size(), 500u);
    EXPECT_EQ(children("dg_large", ZTTYPE_VOLUME).size(), 2000u);
    EXPECT_EQ(property("vol0042", "volguid"), "STR \"c0000000-0000-0000-0001-000000000042\"");
    EXPECT_EQ(property("vol2000 file system", "label"), "WSTR \"Volume 2000\"");
    EXPECT_EQ(property("Harddisk007", "DISKID"), "STR \"c0000007-5e6f\"");
}

TEST_F(ScenarioFile, RecordsHasDrivesMirrorsAndSubdisks) {
    load_shipped("records.json");
    EXPECT_THAT(children("vol_mirror", ZTTYPE_PLEX), ElementsAre("vol_mirror-01", "vol_mirror-02"));
    EXPECT_THAT(children("Harddisk2", ZTTYPE_SUBDISK), ElementsAre("Harddisk2-01"));
    EXPECT_THAT(children("vol_spanned-01"), ElementsAre("Harddisk3-01", "Harddisk3-02"));
    EXPECT_THAT(parents("Harddisk3-02", ZTTYPE_DISK), ElementsAre("Harddisk3"));
    EXPECT_THAT(children("dg_nodisks"), ElementsAre("vol_raw", "vol_bare"));
    EXPECT_THAT(children("vol_raw"), IsEmpty());
    EXPECT_THAT(children("dg_novolumes"), ElementsAre("Harddisk4"));
    EXPECT_THAT(children("dg_empty"), IsEmpty());
    EXPECT_EQ(property("vol_spanned", "DRIVE LETTER"), "WSTR \"N\"");
}

TEST_F(ScenarioFile, EmptyHasNoStorage) {
    load_shipped("empty.json");
    EXPECT_THAT(of_type(ZTTYPE_DISK_GROUP), IsEmpty());
    EXPECT_THAT(of_type(ZTTYPE_CLUSTER_SERVICE), ElementsAre("service"));
}

TEST_F(ScenarioFile, AwkwardHasExcludedTypesAndMistypedProperties) {
    load_shipped("awkward.json");
    EXPECT_EQ(property("dg_type0", "LDM DG TYPE"), "UINT32 0");
    EXPECT_EQ(property("dg_type7", "LDM DG TYPE"), "UINT32 7");
    EXPECT_EQ(property("dg_shared", "LDM DG TYPE"), "UINT32 8");
    EXPECT_EQ(property("dg_nodgid", "dgid"), "");
    EXPECT_EQ(property("dg_notype", "LDM DG TYPE"), "");
    EXPECT_EQ(property("dg_wrongtypes", "imported"), "UINT32 1");
    EXPECT_THAT(query(L"SELECT FROM " ZTTYPE_DISK_GROUP L" where \"Name\" EQ dg_mixed"),
                ElementsAre("DG_Mixed"));
}

}  // namespace
