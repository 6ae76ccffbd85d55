// The recorder: the line of each function.
#include "lab/bus_fixture.h"
#include "lab/every_type.h"

using namespace lab_tests;
using testing::ElementsAre;

namespace {

class Recorder : public BusTest {
  protected:
    void SetUp() override {
        BusTest::SetUp();
        load_scenario(R"({"disk_groups": [{"name": "dg1", "dgid": "g",
            "volumes": [{"name": "v1", "device": "\\V"}],
            "without": ["imported", "cluster resource", "cluster shared"]}]})");
        dg1 = object("dg1");
        v1 = object("v1");
        unknown.bytes[0] = 0xab;
    }
    opal_objid dg1{};
    opal_objid v1{};
    opal_objid unknown{};
    const opal_objid null_id{};
    const std::uint32_t one = 1;

    // The beginning of the line of a call of DGOP_IMPORT.
    static std::string method_call(const std::string& target, int major) {
        return "PrCallDispatch " + target + " " + support::volume_manager_methods + " " +
               std::to_string(major) + "." + std::to_string(ZTMETHOD_DGOP_IMPORT) + " ";
    }
};

TEST_F(Recorder, RecordsCallsToTheService) {
    LabRecorderStart(LAB_RECORD_SERVICE);
    opal_objid* ids;
    std::uint32_t count;
    opal_property property;
    opal_propset set;
    char* type;

    DbGetObjects(connection, context, ZTTYPE_DISK_GROUP, &ids, &count);
    _ZtFree(ids);
    DbGetObjects(connection, context, "none", &ids, &count);
    DbGetObjectsByQuery(connection, context,
                        L"SELECT FROM " ZTTYPE_VOLUME L" where \"DEVICE NAME\" EQ \\v", &ids,
                        &count);
    _ZtFree(ids);
    DbGetObjectsByQuery(connection, context, L"what", &ids, &count);
    ObGetProperty(connection, context, &dg1, "Name", &property);
    PsFreeProperty(&property);
    ObGetProperty(connection, context, &dg1, "none", &property);
    ObGetProperty(connection, context, &null_id, "Name", &property);
    ObGetProperty(connection, context, &unknown, "Name", &property);
    const opal_property written = number_property("x", one);
    ObSetProperty(connection, context, &dg1, &written);
    ObGetProperties(connection, context, &dg1, &set);
    PsDestroyPropset(set);
    ObGetObjectType(connection, context, &dg1, &type);
    _ZtFree(type);
    ObGetChildObjects(connection, context, &dg1, ZTTYPE_VOLUME, &ids, &count);
    _ZtFree(ids);
    ObGetChildObjects(connection, context, &dg1, nullptr, &ids, &count);
    _ZtFree(ids);
    ObGetParentObjects(connection, context, &v1, ZTTYPE_DISK_GROUP, &ids, &count);
    _ZtFree(ids);
    ObDeleteObject(connection, context, &v1);
    ObDeleteObject(connection, context, &null_id);

    EXPECT_THAT(
        support::recorded_calls(),
        ElementsAre(
            "DbGetObjects " ZTTYPE_DISK_GROUP " -> 0x0 [@dg1]", "DbGetObjects none -> 0x0 []",
            R"(DbGetObjectsByQuery "SELECT FROM )" ZTTYPE_VOLUME R"( where \"DEVICE NAME\" EQ \\v")"
            " -> 0x0 [@v1]",
            R"(DbGetObjectsByQuery "what" -> )" + hex(ZTERROR_BAD_QUERY),
            R"(ObGetProperty @dg1 "Name" -> 0x0 WSTR "dg1")",
            R"(ObGetProperty @dg1 "none" -> )" + hex(ZTERROR_PROPERTY),
            R"(ObGetProperty @null "Name" -> )" + hex(ZTERROR_NULL_OBJECT),
            R"(ObGetProperty @ab000000000000000000000000000000 "Name" -> )" +
                hex(ZTERROR_UNKNOWN_OBJECT),
            R"(ObSetProperty @dg1 "x" UINT32 1 -> 0x0)",
            R"(ObGetProperties @dg1 -> 0x0 {"Name": WSTR "dg1", "dgid": STR "g", )"
            R"("LDM DG TYPE": UINT32 2, "x": UINT32 1})",
            "ObGetObjectType @dg1 -> 0x0 " ZTTYPE_DISK_GROUP,
            "ObGetChildObjects @dg1 " ZTTYPE_VOLUME " -> 0x0 [@v1]",
            "ObGetChildObjects @dg1 * -> 0x0 [@v1]",
            "ObGetParentObjects @v1 " ZTTYPE_DISK_GROUP " -> 0x0 [@dg1]",
            "ObDeleteObject @v1 -> 0x0", "ObDeleteObject @null -> " + hex(ZTERROR_NULL_OBJECT)));
}

TEST_F(Recorder, RecordsMethodsWithTheirSets) {
    const opal_objid service = object("service");
    opal_propset input;
    opal_propset output;
    PsCreatePropset(&input);
    PsCreatePropset(&output);
    const opal_property guid = text_property("dgid", "g");
    const opal_property options = number_property("Opflag", one);
    PsAddProperty(input, &guid);
    PsAddProperty(input, &options);
    const opal_property before = number_property("before", one);
    PsAddProperty(output, &before);
    LabRecorderStart(LAB_RECORD_SERVICE);
    PrCallDispatch(connection, &service, &zt_volume_manager_interface, 0, ZTMETHOD_DGOP_IMPORT,
                   input, output, 1, 2, 3, 4, nullptr, nullptr);
    PrCallDispatch(connection, &dg1, &zt_volume_manager_interface, 5, ZTMETHOD_DGOP_IMPORT, nullptr,
                   nullptr, 0, 0, 0, 0, nullptr, nullptr);
    PsDestroyPropset(input);
    PsDestroyPropset(output);
    EXPECT_THAT(support::recorded_calls(),
                ElementsAre(method_call("@service", 0) +
                                R"({"dgid": STR "g", "Opflag": UINT32 1} 1,2,3,4 -> 0x0 )"
                                R"({"before": UINT32 1})",
                            method_call("@dg1", 5) + "NULL 0,0,0,0 -> " +
                                hex(ZTERROR_UNKNOWN_METHOD) + " NULL"));
}

TEST_F(Recorder, RecordsValuesOfEveryType) {
    for (const TypeCase& type : every_type()) {
        load_scenario(scenario_with(type));
        const opal_objid o = object("o");
        opal_property property;
        LabRecorderStart(LAB_RECORD_SERVICE);
        ObGetProperty(connection, context, &o, "p", &property);
        ObSetProperty(connection, context, &o, &property);
        LabRecorderStop();
        PsFreeProperty(&property);
        const std::string value = type.type + " " + type.recorded;
        EXPECT_THAT(support::recorded_calls(),
                    ElementsAre("ObGetProperty @o \"p\" -> 0x0 " + value,
                                "ObSetProperty @o \"p\" " + value + " -> 0x0"));
    }
}

TEST_F(Recorder, RecordsLocalCallsOnRequest) {
    LabRecorderStart(LAB_RECORD_ALL);
    opal_propset set;
    opal_propset copy;
    opal_property property;
    const std::uint32_t seven = 7;
    const opal_property options = number_property("Opflag", seven);
    const opal_property malformed{"bad", TYPE_UINT32, 1, 3, &seven};
    PsCreatePropset(&set);
    PsAddProperty(set, &options);
    PsAddProperty(set, &options);
    PsAddProperty(set, &malformed);
    PsSetProperty(set, &options);
    PsFindProperty(set, "Opflag", &property);
    PsFreeProperty(&property);
    PsFindProperty(set, "x", &property);
    PsOpenPropset(set);
    PsFindNextProperty(set, &property);
    PsFreeProperty(&property);
    PsFreeProperty(&property);
    PsFindNextProperty(set, &property);
    PsCopyPropset(set, &copy);
    PsDestroyPropset(set);
    PsDestroyPropset(copy);
    PsDestroyPropset(nullptr);
    ZtTrace(4, "%S: \"%s\"\n", L"clusapiprov", "ERROR");
    ZtSleep(1);
    EvMatch("a", "b");
    EXPECT_THAT(
        support::recorded_calls(),
        ElementsAre("PsCreatePropset -> 0x0 #1", "PsAddProperty #1 \"Opflag\" UINT32 7 -> 0x0",
                    "PsAddProperty #1 \"Opflag\" UINT32 7 -> " + hex(ZTERROR_DUPLICATE),
                    "PsAddProperty #1 \"bad\" malformed -> " + hex(ZTERROR_INVALID_ARGUMENT),
                    "PsSetProperty #1 \"Opflag\" UINT32 7 -> " + hex(ZTSTATUS_SAME_VALUE),
                    "PsFindProperty #1 \"Opflag\" -> 0x0 \"Opflag\" UINT32 7",
                    "PsFreeProperty \"Opflag\" -> 0x0",
                    "PsFindProperty #1 \"x\" -> " + hex(ZTERROR_PROPERTY),
                    "PsOpenPropset #1 -> 0x0", "PsFindNextProperty #1 -> 0x0 \"Opflag\" UINT32 7",
                    "PsFreeProperty \"Opflag\" -> 0x0", "PsFreeProperty NULL -> 0x0",
                    "PsFindNextProperty #1 -> " + hex(ZTERROR_END_OF_SET),
                    "PsCopyPropset #1 -> 0x0 #2", "PsDestroyPropset #1 -> 0x0",
                    "PsDestroyPropset #2 -> 0x0",
                    "PsDestroyPropset NULL -> " + hex(ZTERROR_INVALID_ARGUMENT),
                    R"(ZtTrace 4 "clusapiprov: \"ERROR\"\x0a")", "ZtSleep 1"));
}

TEST_F(Recorder, MarksCallsWithWrongConnection) {
    opal_connection other;
    opal_context other_context;
    LabOpenConnection(nullptr, nullptr, nullptr, &other, &other_context);
    LabRecorderStart(LAB_RECORD_SERVICE);
    char* type;
    ObGetObjectType(connection, other_context, &dg1, &type);
    ObGetObjectType(nullptr, nullptr, &dg1, &type);
    LabDropConnections();
    ObGetObjectType(connection, context, &dg1, &type);
    LabCloseConnection(other);
    EXPECT_THAT(
        support::recorded_calls(),
        ElementsAre("ObGetObjectType @dg1 -> " + hex(ZTERROR_NOT_CONNECTED) + " !connection",
                    "ObGetObjectType @dg1 -> " + hex(ZTERROR_NOT_CONNECTED) + " !connection",
                    "ObGetObjectType @dg1 -> " + hex(ZTERROR_NOT_CONNECTED)));
}

TEST_F(Recorder, DiscardsOldLinesOnStart) {
    char* type;
    const auto ask = [&] {
        ASSERT_EQ(ObGetObjectType(connection, context, &dg1, &type), ZTSTATUS_OK);
        _ZtFree(type);
    };
    LabRecorderStart(LAB_RECORD_SERVICE);
    ask();
    ask();
    EXPECT_EQ(support::recorded_calls().size(), 2u);
    LabRecorderStart(LAB_RECORD_SERVICE);
    EXPECT_EQ(LabRecordedCalls(nullptr, 0), 1u);
    ask();
    LabRecorderStop();
    ask();
    EXPECT_EQ(support::recorded_calls().size(), 1u);
}

TEST_F(Recorder, ReturnsRequiredSize) {
    LabRecorderStart(LAB_RECORD_SERVICE);
    opal_property property;
    ObGetProperty(connection, context, &null_id, "a", &property);
    const std::string line = "ObGetProperty @null \"a\" -> " + hex(ZTERROR_NULL_OBJECT) + "\n";
    EXPECT_EQ(LabRecordedCalls(nullptr, 0), line.size() + 1);
    char text[8] = "zzzzzzz";
    EXPECT_EQ(LabRecordedCalls(text, 5), line.size() + 1);
    EXPECT_STREQ(text, "ObGe");
    EXPECT_EQ(text[5], 'z');
    EXPECT_EQ(LabRecordedCalls(text, 0), line.size() + 1);
    EXPECT_STREQ(text, "ObGe");
}

}  // namespace
