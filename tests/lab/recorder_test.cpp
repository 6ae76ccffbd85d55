// The recorder: each function's line.
#include "bus_fixture.h"
#include "every_type.h"

using namespace lab_tests;
using testing::ElementsAre;

namespace {

const GUID volume_manager = {
    0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};

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
};

TEST_F(Recorder, WritesCallsThatReachTheService) {
    LabRecorderStart(LAB_RECORD_SERVICE);
    opal_objid* ids;
    std::uint32_t count;
    opal_property property;
    opal_propset set;
    char* type;

    DbGetObjects(connection, context, "tamo_ztvm_diskgroup", &ids, &count);
    _ZtFree(ids);
    DbGetObjects(connection, context, "none", &ids, &count);
    DbGetObjectsByQuery(connection, context,
                        L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ \\v", &ids, &count);
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
    ObGetChildObjects(connection, context, &dg1, "tamo_ztvm_volume", &ids, &count);
    _ZtFree(ids);
    ObGetChildObjects(connection, context, &dg1, nullptr, &ids, &count);
    _ZtFree(ids);
    ObGetParentObjects(connection, context, &v1, "tamo_ztvm_diskgroup", &ids, &count);
    _ZtFree(ids);
    ObDeleteObject(connection, context, &v1);
    ObDeleteObject(connection, context, &null_id);

    EXPECT_THAT(
        recorded(),
        ElementsAre(
            "DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@dg1]", "DbGetObjects none -> 0x0 []",
            R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ \\v")"
            " -> 0x0 [@v1]",
            R"(DbGetObjectsByQuery "what" -> 0xc1000106)",
            R"(ObGetProperty @dg1 "Name" -> 0x0 WSTR "dg1")",
            R"(ObGetProperty @dg1 "none" -> 0xc100003a)",
            R"(ObGetProperty @null "Name" -> 0xc1000010)",
            R"(ObGetProperty @ab000000000000000000000000000000 "Name" -> 0xc1000104)",
            R"(ObSetProperty @dg1 "x" UINT32 1 -> 0x0)",
            R"(ObGetProperties @dg1 -> 0x0 {"Name": WSTR "dg1", "dgid": STR "g", )"
            R"("LDM DG TYPE": UINT32 2, "x": UINT32 1})",
            "ObGetObjectType @dg1 -> 0x0 tamo_ztvm_diskgroup",
            "ObGetChildObjects @dg1 tamo_ztvm_volume -> 0x0 [@v1]",
            "ObGetChildObjects @dg1 * -> 0x0 [@v1]",
            "ObGetParentObjects @v1 tamo_ztvm_diskgroup -> 0x0 [@dg1]", "ObDeleteObject @v1 -> 0x0",
            "ObDeleteObject @null -> 0xc1000010"));
}

TEST_F(Recorder, WritesMethodsWithTheirSets) {
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
    PrCallDispatch(connection, &service, &volume_manager, 0, 2003, input, output, 1, 2, 3, 4,
                   nullptr, nullptr);
    PrCallDispatch(connection, &dg1, &volume_manager, 5, 2003, nullptr, nullptr, 0, 0, 0, 0,
                   nullptr, nullptr);
    PsDestroyPropset(input);
    PsDestroyPropset(output);
    EXPECT_THAT(recorded(),
                ElementsAre("PrCallDispatch @service {61678c9a-1dd2-11b2-9623-0800209ead9c} 0.2003 "
                            R"({"dgid": STR "g", "Opflag": UINT32 1} 1,2,3,4 -> 0x0 )"
                            R"({"before": UINT32 1})",
                            "PrCallDispatch @dg1 {61678c9a-1dd2-11b2-9623-0800209ead9c} 5.2003 "
                            "NULL 0,0,0,0 -> 0xc1000105 NULL"));
}

TEST_F(Recorder, WritesValuesOfEveryType) {
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
        EXPECT_THAT(recorded(), ElementsAre("ObGetProperty @o \"p\" -> 0x0 " + value,
                                            "ObSetProperty @o \"p\" " + value + " -> 0x0"));
    }
}

TEST_F(Recorder, WritesTheClientSideWhenAsked) {
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
        recorded(),
        ElementsAre("PsCreatePropset -> 0x0 #1", "PsAddProperty #1 \"Opflag\" UINT32 7 -> 0x0",
                    "PsAddProperty #1 \"Opflag\" UINT32 7 -> 0xc1000108",
                    "PsAddProperty #1 \"bad\" malformed -> 0xc1000101",
                    "PsSetProperty #1 \"Opflag\" UINT32 7 -> 0x41000012",
                    "PsFindProperty #1 \"Opflag\" -> 0x0 \"Opflag\" UINT32 7",
                    "PsFreeProperty \"Opflag\" -> 0x0", "PsFindProperty #1 \"x\" -> 0xc100003a",
                    "PsOpenPropset #1 -> 0x0", "PsFindNextProperty #1 -> 0x0 \"Opflag\" UINT32 7",
                    "PsFreeProperty \"Opflag\" -> 0x0", "PsFreeProperty NULL -> 0x0",
                    "PsFindNextProperty #1 -> 0xc1000107", "PsCopyPropset #1 -> 0x0 #2",
                    "PsDestroyPropset #1 -> 0x0", "PsDestroyPropset #2 -> 0x0",
                    "PsDestroyPropset NULL -> 0xc1000101",
                    R"(ZtTrace 4 "clusapiprov: \"ERROR\"\x0a")", "ZtSleep 1"));
}

TEST_F(Recorder, TellsAWrongConnection) {
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
    EXPECT_THAT(recorded(), ElementsAre("ObGetObjectType @dg1 -> 0xc1000103 !connection",
                                        "ObGetObjectType @dg1 -> 0xc1000103 !connection",
                                        "ObGetObjectType @dg1 -> 0xc1000103"));
}

TEST_F(Recorder, BeginsAnewAndStops) {
    char* type;
    const auto ask = [&] {
        ASSERT_EQ(ObGetObjectType(connection, context, &dg1, &type), ZTSTATUS_OK);
        _ZtFree(type);
    };
    LabRecorderStart(LAB_RECORD_SERVICE);
    ask();
    ask();
    EXPECT_EQ(recorded().size(), 2u);
    LabRecorderStart(LAB_RECORD_SERVICE);
    EXPECT_EQ(LabRecorderText(nullptr, 0), 1u);
    ask();
    LabRecorderStop();
    ask();
    EXPECT_EQ(recorded().size(), 1u);
}

TEST_F(Recorder, TellsTheSizeThatItsTextNeeds) {
    LabRecorderStart(LAB_RECORD_SERVICE);
    opal_property property;
    ObGetProperty(connection, context, &null_id, "a", &property);
    const std::string line = "ObGetProperty @null \"a\" -> 0xc1000010\n";
    EXPECT_EQ(LabRecorderText(nullptr, 0), line.size() + 1);
    char text[8] = "zzzzzzz";
    EXPECT_EQ(LabRecorderText(text, 5), line.size() + 1);
    EXPECT_STREQ(text, "ObGe");
    EXPECT_EQ(text[5], 'z');
    EXPECT_EQ(LabRecorderText(text, 0), line.size() + 1);
    EXPECT_STREQ(text, "ObGe");
}

}  // namespace
