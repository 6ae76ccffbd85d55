// The bus's fault plan: the calls that a rule selects, and its effects.
#include "lab/bus_fixture.h"
#include "lab/every_type.h"

using namespace lab_tests;
using testing::ElementsAre;

namespace {

const GUID cluster_service = {
    0x375EC58D, 0x475E, 0x4658, {0x3B, 0xCD, 0x61, 0xC7, 0x48, 0x3A, 0x4F, 0xC6}};

class FaultPlan : public BusTest {
  protected:
    void SetUp() override {
        BusTest::SetUp();
        load_scenario(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1"},
                                          {"name": "dg2", "dgid": "id-2"}],
            "objects": [{"name": "o", "type": "thing", "properties": {
                "text": {"type": "STR", "value": "abc"},
                "wide": {"type": "WSTR", "value": "abc"},
                "bytes": {"type": "BINARY", "value": "010203"},
                "number": {"type": "UINT32", "value": 5},
                "texts": {"type": "STRZ", "value": ["a", "b"]},
                "guid": {"type": "GUID", "value": "{00112233-4455-6677-8899-aabbccddeeff}"}}}]})");
        dg1 = object("dg1");
        dg2 = object("dg2");
        o = object("o");
        service = object("service");
    }

    opal_status get(const opal_objid& of, const char* name) {
        opal_property property;
        const opal_status status = ObGetProperty(connection, context, &of, name, &property);
        if (status == ZTSTATUS_OK) {
            PsFreeProperty(&property);
        }
        return status;
    }
    opal_status get_type(const opal_objid& of) {
        char* type = nullptr;
        const opal_status status = ObGetObjectType(connection, context, &of, &type);
        _ZtFree(type);
        return status;
    }
    opal_status of_type(const char* type) {
        opal_objid* ids = nullptr;
        std::uint32_t count = 0;
        const opal_status status = DbGetObjects(connection, context, type, &ids, &count);
        _ZtFree(ids);
        return status;
    }
    opal_status dispatch(std::uint32_t minor, opal_propset output = nullptr) {
        opal_propset input;
        PsCreatePropset(&input);
        const opal_property name = wide_property("Dgname", L"dg1");
        PsAddProperty(input, &name);
        const opal_status status = PrCallDispatch(connection, &service, &cluster_service, 0, minor,
                                                  input, output, 0, 0, 0, 0, nullptr, nullptr);
        PsDestroyPropset(input);
        return status;
    }
    // Reads a property of "o" with a fault. The caller frees it.
    opal_property lied(const char* name, const std::string& fault) {
        plan(R"([{"property": ")" + std::string(name) + "\", " + fault + "}]");
        opal_property property{};
        EXPECT_EQ(ObGetProperty(connection, context, &o, name, &property), ZTSTATUS_OK);
        return property;
    }
    static std::string error_of(const char* rules) {
        char error[200];
        return LabSetFaultPlan(rules, error, sizeof error) == 0 ? "accepted" : error;
    }

    opal_objid dg1{};
    opal_objid dg2{};
    opal_objid o{};
    opal_objid service{};
};

TEST_F(FaultPlan, SelectsByFunction) {
    plan(fault_plan({{R"("function": "ObGetObjectType")", returns(ZTERROR_PROVIDER)}}));
    EXPECT_EQ(get_type(dg1), ZTERROR_PROVIDER);
    EXPECT_EQ(get_type(dg2), ZTERROR_PROVIDER);
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    plan("[]");
    EXPECT_EQ(get_type(dg1), ZTSTATUS_OK);
}

TEST_F(FaultPlan, SelectsAllServiceCallsWithoutFunction) {
    plan(R"([{"status": 3238002689}])");
    EXPECT_EQ(get_type(dg1), ZTERROR_PROVIDER);
    EXPECT_EQ(of_type(ZTTYPE_DISK), ZTERROR_PROVIDER);
    opal_propset set;
    EXPECT_EQ(PsCreatePropset(&set), ZTSTATUS_OK);
    EXPECT_EQ(PsDestroyPropset(set), ZTSTATUS_OK);
}

TEST_F(FaultPlan, SelectsNthCall) {
    plan(R"([{"function": "ObGetProperty", "call": 2, "status": "7"}])");
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_EQ(get_type(dg1), ZTSTATUS_OK);  // not counted
    EXPECT_EQ(get(dg1, "Name"), 7u);
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    plan(R"([{"function": "ObGetProperty", "call": 2, "times": 2, "status": "7"}])");
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_EQ(get(dg1, "Name"), 7u);
    EXPECT_EQ(get(dg1, "Name"), 7u);
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    plan(R"([{"function": "ObGetProperty", "times": 1, "status": "7"}])");
    EXPECT_EQ(get(dg1, "Name"), 7u);
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
}

// Each rule returns a status without a meaning, which shows that this rule applied.
TEST_F(FaultPlan, SelectsByObjectPropertyTypeAndMethod) {
    plan(R"([{"object": "dg2", "property": "Name", "status": "1"},
             {"type": ")" ZTTYPE_VOLUME R"(", "status": "2"},
             {"minor": 11, "status": "3"},
             {"function": "PsAddProperty", "property": "x", "status": "4"}])");
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_EQ(get(dg2, "dgid"), ZTSTATUS_OK);
    EXPECT_EQ(get(dg2, "Name"), 1u);
    EXPECT_EQ(of_type(ZTTYPE_DISK), ZTSTATUS_OK);
    EXPECT_EQ(of_type(ZTTYPE_VOLUME), 2u);
    EXPECT_EQ(dispatch(1), ZTSTATUS_OK);
    EXPECT_EQ(dispatch(11), 3u);
    const std::uint32_t one = 1;
    const opal_property x = number_property("x", one);
    const opal_property y = number_property("y", one);
    opal_propset set;
    PsCreatePropset(&set);
    EXPECT_EQ(PsAddProperty(set, &x), 4u);
    EXPECT_EQ(PsAddProperty(set, &y), ZTSTATUS_OK);
    PsDestroyPropset(set);
}

TEST_F(FaultPlan, CountsCallsForEveryRuleAndAppliesTheFirst) {
    plan(R"([{"function": "ObGetProperty", "call": 1, "status": "1"},
             {"function": "ObGetProperty", "call": 2, "status": "2"},
             {"function": "ObGetProperty", "call": 2, "status": "3"}])");
    EXPECT_EQ(get(dg1, "Name"), 1u);
    EXPECT_EQ(get(dg1, "Name"), 2u);  // the first rule that applies
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
}

TEST_F(FaultPlan, ReturnsStatusInsteadOfOrAfterTheWork) {
    const std::uint32_t one = 1;
    const opal_property written = number_property("new", one);
    plan(R"([{"function": "ObSetProperty", "status": "5"}])");
    EXPECT_EQ(ObSetProperty(connection, context, &dg1, &written), 5u);
    plan(R"([{"function": "ObSetProperty", "after": "5"}])");
    EXPECT_EQ(get(dg1, "new"), ZTERROR_PROPERTY);
    EXPECT_EQ(ObSetProperty(connection, context, &dg1, &written), 5u);
    EXPECT_EQ(get(dg1, "new"), ZTSTATUS_OK);
}

// A client that sees a failure frees nothing.
TEST_F(FaultPlan, ReturnsNoResultsWithFailureAfterTheWork) {
    plan(
        R"([{"function": "ObGetProperty", "after": "5"}, {"function": "DbGetObjects", "after": "5"},
             {"function": "ObGetProperties", "after": "5"},
             {"function": "PsCreatePropset", "after": "5"},
             {"function": "PsFindProperty", "property": "x", "after": "5"}])");
    const lab_live before = live();
    opal_propset set = nullptr;
    EXPECT_EQ(get(dg1, "Name"), 5u);
    EXPECT_EQ(of_type(ZTTYPE_DISK_GROUP), 5u);
    EXPECT_EQ(ObGetProperties(connection, context, &dg1, &set), 5u);
    EXPECT_EQ(PsCreatePropset(&set), 5u);
    EXPECT_EQ(set, nullptr);
    const lab_live after = live();
    EXPECT_EQ(after.properties, before.properties);
    EXPECT_EQ(after.blocks, before.blocks);
    EXPECT_EQ(after.property_sets, before.property_sets);
}

TEST_F(FaultPlan, ReturnsResultsWithInformationalStatusAfterTheWork) {
    plan(fault_plan({{R"("function": "ObGetProperty")", returns_after(ZTSTATUS_SAME_VALUE)}}));
    opal_property property;
    EXPECT_EQ(ObGetProperty(connection, context, &dg1, "dgid", &property), ZTSTATUS_SAME_VALUE);
    EXPECT_EQ(text_of(property), "id-1");
    PsFreeProperty(&property);
    plan(fault_plan({{R"("function": "ObGetProperty")", returns(ZTSTATUS_SAME_VALUE)}}));
    EXPECT_EQ(ObGetProperty(connection, context, &dg1, "dgid", &property), ZTSTATUS_SAME_VALUE);
    EXPECT_EQ(property.name, nullptr);
    EXPECT_EQ(property.value, nullptr);
}

TEST_F(FaultPlan, ReturnsSuccessWithoutResults) {
    plan(R"([{"nothing": true}, {"function": "PsCreatePropset", "call": 1, "nothing": true},
             {"function": "_ZtAlloc", "nothing": true},
             {"function": "ZtGUIDToString", "nothing": true}])");
    opal_property property{"x", 1, 1, 1, "x"};
    EXPECT_EQ(ObGetProperty(connection, context, &dg1, "Name", &property), ZTSTATUS_OK);
    EXPECT_EQ(property.name, nullptr);
    EXPECT_EQ(property.value, nullptr);
    char type_text[] = "x";
    char* type = type_text;
    EXPECT_EQ(ObGetObjectType(connection, context, &dg1, &type), ZTSTATUS_OK);
    EXPECT_EQ(type, nullptr);
    opal_objid* ids = &dg1;
    std::uint32_t count = 9;
    EXPECT_EQ(DbGetObjects(connection, context, ZTTYPE_DISK_GROUP, &ids, &count), ZTSTATUS_OK);
    EXPECT_EQ(ids, nullptr);
    EXPECT_EQ(count, 0u);
    opal_propset set;
    EXPECT_EQ(PsCreatePropset(&set), ZTSTATUS_OK);
    EXPECT_EQ(set, nullptr);
    EXPECT_EQ(ObGetProperties(connection, context, &dg1, &set), ZTSTATUS_OK);
    EXPECT_EQ(dispatch(1, set), ZTSTATUS_OK);
    EXPECT_EQ(dispatch(4711, set), ZTSTATUS_OK);  // succeeds although the method does not exist
    EXPECT_EQ(PsFindNextProperty(set, &property), ZTERROR_END_OF_SET);
    PsDestroyPropset(set);
    EXPECT_EQ(_ZtAlloc(1), nullptr);
    EXPECT_EQ(ZtGUIDToString(&cluster_service), nullptr);
}

TEST_F(FaultPlan, DropsConnectionsAfterTheWork) {
    const std::uint32_t one = 1;
    const opal_property written = number_property("new", one);
    plan(R"([{"function": "ObSetProperty", "drop": true}])");
    EXPECT_EQ(ObSetProperty(connection, context, &dg1, &written), ZTSTATUS_OK);
    EXPECT_THAT(events, ElementsAre(std::pair<int, std::string>(LAB_EVENT_DISCONNECTED, "NULL")));
    EXPECT_EQ(get(dg1, "new"), ZTERROR_NOT_CONNECTED);
    ASSERT_EQ(LabCloseConnection(connection), ZTSTATUS_OK);
    open();
    EXPECT_EQ(get(dg1, "new"), ZTSTATUS_OK);
}

TEST_F(FaultPlan, DropsConnectionsInLocalCalls) {
    plan(R"([{"function": "PsDestroyPropset", "call": 1, "drop": true}])");
    opal_propset set;
    PsCreatePropset(&set);
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_EQ(PsDestroyPropset(set), ZTSTATUS_OK);
    EXPECT_EQ(get(dg1, "Name"), ZTERROR_NOT_CONNECTED);
}

TEST_F(FaultPlan, DelaysCalls) {
    plan(R"([{"function": "ObGetProperty", "call": 1, "delay": 60}])");
    const std::int64_t before = microseconds();
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_GE(microseconds() - before, 59'000);
}

TEST_F(FaultPlan, ReturnsPropertyWithAnotherType) {
    opal_property property = lied("text", R"("as": "UINT32")");
    EXPECT_EQ(property.type, TYPE_UINT32);
    EXPECT_EQ(property.size, 4u);
    EXPECT_STREQ(static_cast<const char*>(property.value), "abc");  // the bytes are unchanged
    PsFreeProperty(&property);

    opal_propset set;
    PsCreatePropset(&set);
    const opal_property text = text_property("text", "abc");
    PsAddProperty(set, &text);
    ASSERT_EQ(PsFindProperty(set, "text", &property), ZTSTATUS_OK);  // also from a property set
    EXPECT_EQ(property.type, TYPE_UINT32);
    PsFreeProperty(&property);
    PsDestroyPropset(set);
}

TEST_F(FaultPlan, IgnoresWritesInRulesForReading) {
    plan(R"([{"property": "text", "call": 1, "as": "UINT32"}])");
    const opal_property written = text_property("text", "new");
    EXPECT_EQ(ObSetProperty(connection, context, &o, &written), ZTSTATUS_OK);  // not counted
    opal_property property;
    ASSERT_EQ(ObGetProperty(connection, context, &o, "text", &property), ZTSTATUS_OK);
    EXPECT_EQ(property.type, TYPE_UINT32);
    PsFreeProperty(&property);
}

TEST_F(FaultPlan, ReturnsWrongValuesOfEveryTypeThatCanBeFreed) {
    for (const TypeCase& type : every_type()) {
        load_scenario(scenario_with(type));
        const opal_objid object_id = object("o");
        for (const char* lie : {"empty", "long", "unterminated", "short", "null"}) {
            SCOPED_TRACE(type.type + " " + lie);
            plan(R"([{"lie": ")" + std::string(lie) + R"("}])");
            opal_property property;
            ASSERT_EQ(ObGetProperty(connection, context, &object_id, "p", &property), ZTSTATUS_OK);
            EXPECT_EQ(property.type, type.tag);
            EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
        }
    }
}

TEST_F(FaultPlan, ReturnsEmptyValues) {
    opal_property property = lied("text", R"("lie": "empty")");
    EXPECT_EQ(property.size, 1u);
    EXPECT_EQ(text_of(property), "");
    PsFreeProperty(&property);
    property = lied("texts", R"("lie": "empty")");
    EXPECT_EQ(property.count, 0u);
    EXPECT_EQ(property.size, 0u);
    PsFreeProperty(&property);
    property = lied("bytes", R"("lie": "empty")");
    EXPECT_EQ(property.size, 0u);
    PsFreeProperty(&property);
    property = lied("number", R"("lie": "empty")");
    EXPECT_EQ(property.size, 0u);
    EXPECT_NE(property.value, nullptr);
    PsFreeProperty(&property);
}

TEST_F(FaultPlan, ReturnsValuesTenTimesAsLong) {
    opal_property property = lied("text", R"("lie": "long")");
    EXPECT_EQ(property.size, 31u);
    EXPECT_EQ(text_of(property), "abcabcabcabcabcabcabcabcabcabc");
    PsFreeProperty(&property);
    property = lied("texts", R"("lie": "long")");
    EXPECT_EQ(property.count, 20u);
    EXPECT_EQ(property.size, 20u * sizeof(char*));
    EXPECT_STREQ(static_cast<const char* const*>(property.value)[19], "b");
    PsFreeProperty(&property);
    property = lied("bytes", R"("lie": "long")");
    EXPECT_EQ(property.size, 30u);
    PsFreeProperty(&property);
}

TEST_F(FaultPlan, ReturnsStringsWithoutTerminator) {
    opal_property property = lied("text", R"("lie": "unterminated")");
    EXPECT_EQ(property.size, 3u);
    EXPECT_EQ(std::string(static_cast<const char*>(property.value), 4), "abcX");
    PsFreeProperty(&property);
    property = lied("wide", R"("lie": "unterminated")");
    EXPECT_EQ(property.size, 6u);
    const auto* wide = static_cast<const wchar_t*>(property.value);
    EXPECT_EQ(std::wstring(wide, 3), L"abc");
    EXPECT_NE(wide[3], L'\0');
    PsFreeProperty(&property);
}

TEST_F(FaultPlan, ReturnsValuesWithOneElementLess) {
    opal_property property = lied("text", R"("lie": "short")");
    EXPECT_EQ(text_of(property), "ab");
    PsFreeProperty(&property);
    property = lied("texts", R"("lie": "short")");
    EXPECT_EQ(property.count, 1u);
    EXPECT_EQ(property.size, sizeof(char*));
    PsFreeProperty(&property);
    property = lied("guid", R"("lie": "short")");
    EXPECT_EQ(property.size, 0u);
    PsFreeProperty(&property);
}

TEST_F(FaultPlan, ReturnsNullValues) {
    opal_property property = lied("text", R"("lie": "null")");
    EXPECT_EQ(property.type, TYPE_STR);
    EXPECT_EQ(property.value, nullptr);
    EXPECT_EQ(property.size, 0u);
    EXPECT_STREQ(property.name, "text");
    EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
}

TEST_F(FaultPlan, RecordsWhatWasHandedOut) {
    const struct {
        const char* property;
        const char* fault;
        const char* value;
    } rows[] = {
        {"text", R"("as": "STRZ")", R"(STRZ with the bytes of STR "abc")"},
        {"text", R"("as": "STR")", R"(STR "abc")"},
        {"text", R"("lie": "empty")", R"(STR "")"},
        {"text", R"("lie": "short")", R"(STR "ab")"},
        {"text", R"("lie": "long")", R"(STR "abcabcabcabcabcabcabcabcabcabc")"},
        {"text", R"("lie": "unterminated")", R"(STR "abc" unterminated)"},
        {"text", R"("lie": "null")", "STR NULL"},
        {"text", R"("lie": "short", "as": "WSTR")", R"(WSTR with the bytes of STR "ab")"},
        {"wide", R"("lie": "unterminated")", R"(WSTR "abc" unterminated)"},
        {"bytes", R"("lie": "short")", "BINARY 0102"},
        {"texts", R"("lie": "empty")", "STRZ []"},
        {"texts", R"("lie": "unterminated")", R"(STRZ ["a" "b"])"},
        {"number", R"("lie": "empty")", "UINT32 5 of size 0"},
        {"number", R"("lie": "long")", "UINT32 5"},
        {"number", R"("lie": "null")", "UINT32 NULL"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.property) + " " + row.fault);
        LabRecorderStart(LAB_RECORD_SERVICE);
        opal_property property = lied(row.property, row.fault);
        LabRecorderStop();
        PsFreeProperty(&property);
        EXPECT_THAT(support::recorded_calls(),
                    ElementsAre("ObGetProperty @o \"" + std::string(row.property) + "\" -> 0x0 " +
                                row.value));
    }
}

TEST_F(FaultPlan, RecordsWhatWasHandedOutFromSets) {
    opal_propset set;
    PsCreatePropset(&set);
    const opal_property text = text_property("text", "a string of some length");
    PsAddProperty(set, &text);
    plan(R"([{"as": "STRZ"}, {"function": "PsFindNextProperty", "call": 1, "lie": "null"},
             {"function": "PsFindNextProperty", "call": 2, "nothing": true}])");
    LabRecorderStart(LAB_RECORD_ALL);
    opal_property property;
    ASSERT_EQ(PsFindProperty(set, "text", &property), ZTSTATUS_OK);
    PsFreeProperty(&property);
    ASSERT_EQ(PsFindNextProperty(set, &property), ZTSTATUS_OK);
    PsFreeProperty(&property);
    PsOpenPropset(set);
    ASSERT_EQ(PsFindNextProperty(set, &property), ZTSTATUS_OK);
    LabRecorderStop();
    PsDestroyPropset(set);
    EXPECT_THAT(
        support::recorded_calls(),
        ElementsAre(
            R"(PsFindProperty #1 "text" -> 0x0 "text" STRZ with the bytes of STR "a string of some length")",
            R"(PsFreeProperty "text" -> 0x0)", R"(PsFindNextProperty #1 -> 0x0 "text" STR NULL)",
            R"(PsFreeProperty "text" -> 0x0)", "PsOpenPropset #1 -> 0x0",
            "PsFindNextProperty #1 -> 0x0"));
}

TEST_F(FaultPlan, RejectsInvalidRules) {
    EXPECT_THAT(error_of("["), testing::StartsWith("1: syntax error"));
    EXPECT_EQ(error_of("{}"), "1: expected an array");
    EXPECT_EQ(error_of("[\n5]"), "2: expected an object");
    EXPECT_EQ(error_of("[{\n\"functions\": \"x\", \"nothing\": true}]"),
              "2: unknown key \"functions\"");
    EXPECT_EQ(error_of(R"([{"function": "ObGetPropertie", "nothing": true}])"),
              "1: \"ObGetPropertie\" is not a function of the bus");
    EXPECT_EQ(error_of(R"([{"function": "ObGetProperty"}])"), "1: the rule does nothing");
    EXPECT_EQ(error_of(R"([{"nothing": false}])"), "1: the rule does nothing");
    EXPECT_EQ(error_of(R"([{"call": 0, "nothing": true}])"), "1: calls are counted from 1");
    EXPECT_EQ(error_of(R"([{"status": "much"}])"), "1: \"much\" is not a valid status");
    EXPECT_EQ(error_of(R"([{"status": "0x1ffffffff"}])"),
              "1: \"0x1ffffffff\" is not a valid status");
    EXPECT_EQ(error_of(R"([{"status": "1", "drop": true}])"),
              "1: \"status\" and \"drop\" exclude each other");
    EXPECT_EQ(error_of(R"([{"status": "1", "after": "1"}])"),
              "1: \"status\" and \"after\" exclude each other");
    EXPECT_EQ(error_of(R"([{"status": "1", "nothing": true}])"),
              "1: \"status\" and \"nothing\" exclude each other");
    EXPECT_EQ(error_of(R"([{"status": "1", "as": "STR"}])"),
              "1: \"status\" and \"as\" exclude each other");
    EXPECT_EQ(error_of(R"([{"status": "1", "lie": "null"}])"),
              "1: \"status\" and \"lie\" exclude each other");
    EXPECT_EQ(error_of(R"([{"as": "LONG"}])"), "1: \"LONG\" is not a type");
    EXPECT_EQ(error_of(R"([{"lie": "big"}])"), "1: \"big\" is not a lie");
    EXPECT_EQ(error_of(R"([{"function": "DbGetObjects", "lie": "empty"}])"),
              "1: the function returns no property");
    EXPECT_EQ(error_of(R"([{"function": "ZtSleep", "status": "1"}])"),
              "1: the function cannot do that");
    EXPECT_EQ(error_of(R"([{"function": "_ZtAlloc", "status": "1"}])"),
              "1: the function cannot do that");
    EXPECT_EQ(error_of(nullptr), "accepted");
}

TEST_F(FaultPlan, RejectsRulesThatNeverApply) {
    const auto never = [](const std::string& reason) {
        return "1: the rule never applies: " + reason;
    };
    EXPECT_EQ(error_of(R"([{"times": 0, "nothing": true}])"), never("\"times\" is 0"));
    EXPECT_EQ(error_of(R"([{"function": "DbGetObjects", "object": "dg1", "drop": true}])"),
              never("calls of DbGetObjects have no \"object\""));
    EXPECT_EQ(error_of(R"([{"function": "ObGetProperty", "type": "thing", "drop": true}])"),
              never("calls of ObGetProperty have no \"type\""));
    EXPECT_EQ(
        error_of(R"([{"function": "DbGetObjectsByQuery", "object": "a", "property": "b",
                            "type": "c", "drop": true}])"),
        never("calls of DbGetObjectsByQuery have no \"object\" and \"property\" and \"type\""));
    EXPECT_EQ(error_of(R"([{"function": "PsFindProperty", "object": "a", "drop": true}])"),
              never("calls of PsFindProperty have no \"object\""));
    EXPECT_EQ(error_of(R"([{"function": "PsFindNextProperty", "property": "a", "drop": true}])"),
              never("calls of PsFindNextProperty have no \"property\""));
    EXPECT_EQ(error_of(R"([{"minor": 1, "property": "a", "drop": true}])"),
              never("no call that it could change has \"property\" and \"minor\""));
    EXPECT_EQ(error_of(R"([{"type": "thing", "lie": "null"}])"),
              never("no call that it could change has \"type\""));
    EXPECT_EQ(error_of(R"([{"function": "DbGetObjects", "minor": 1, "drop": true}])"),
              "1: only PrCallDispatch has a \"minor\"");
}

// A method whose number is 0 is not every call without a number.
TEST_F(FaultPlan, SelectsOnlyMethodsByMinor) {
    plan(R"([{"minor": 0, "status": "5"}, {"object": "", "status": "6"}])");
    EXPECT_EQ(get(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_EQ(of_type(ZTTYPE_DISK), ZTSTATUS_OK);
    EXPECT_EQ(dispatch(0), 5u);
}

TEST_F(FaultPlan, KeepsOldPlanWhenNewOneIsInvalid) {
    plan(R"([{"function": "ObGetProperty", "status": "5"}])");
    EXPECT_NE(error_of("[5]"), "accepted");
    EXPECT_EQ(get(dg1, "Name"), 5u);
}

}  // namespace
