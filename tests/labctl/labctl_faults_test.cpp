// labctl.exe: the fault plan and the record of calls.
#include "labctl/labctl_fixture.h"

namespace {

using namespace support;

class LabctlFaults : public LabctlTest {
  protected:
    void SetUp() override {
        start(one_group);
        handle = connect();
    }
    void TearDown() override {
        release(handle);
        ServiceTest::TearDown();
    }
    opal_status list_groups() {
        std::vector<opal_objid> groups;
        return list(handle, ZTTYPE_DISK_GROUP, groups);
    }
    // The process as the record names it.
    static std::string this_client() {
        return "client 1 (labctl_test.exe, pid " + std::to_string(GetCurrentProcessId()) + "): ";
    }

    opal_handle handle = nullptr;
};

TEST_F(LabctlFaults, AreAddedListedAndCleared) {
    expect_printed(L"faults add " +
                       json(LR"({"function": "DbGetObjects", "call": 2, "status": "0x7"})"),
                   "1\n");
    expect_printed(L"faults add " +
                       json(LR"([{"minor": 2003, "drop": true}, {"minor": 1, "delay": 5}])"),
                   "2\n3\n");
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    EXPECT_EQ(list_groups(), 7u);
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    expect_printed(
        L"faults list",
        "RULE  SELECTED  DUE  RULE AS JSON\n"
        "1     3         1    {\"function\":\"DbGetObjects\",\"call\":2,\"status\":\"0x7\"}\n"
        "2     0         0    {\"minor\":2003,\"drop\":true}\n"
        "3     0         0    {\"minor\":1,\"delay\":5}\n");
    expect_done(L"faults clear 2");
    expect_printed(L"faults list --json", "[\n"
                                          "  {\n"
                                          "    \"number\": 1,\n"
                                          "    \"rule\": {\n"
                                          "      \"function\": \"DbGetObjects\",\n"
                                          "      \"call\": 2,\n"
                                          "      \"status\": \"0x7\"\n"
                                          "    },\n"
                                          "    \"selected\": 3,\n"
                                          "    \"due\": 1\n"
                                          "  },\n"
                                          "  {\n"
                                          "    \"number\": 3,\n"
                                          "    \"rule\": {\n"
                                          "      \"minor\": 1,\n"
                                          "      \"delay\": 5\n"
                                          "    },\n"
                                          "    \"selected\": 0,\n"
                                          "    \"due\": 0\n"
                                          "  }\n"
                                          "]\n");
    expect_refused(L"faults clear 2", "there is no rule 2");
    expect_done(L"faults clear");
    expect_printed(L"faults list", "RULE  SELECTED  DUE  RULE AS JSON\n");
    // Numbers are not used again.
    expect_printed(L"faults add " + json(LR"({"minor": 1, "delay": 5})"), "4\n");
}

TEST_F(LabctlFaults, AreRefusedAsAWhole) {
    expect_refused(L"faults add " + json(LR"([{"drop": true}, {"minor": 1, "delay": 5}])"),
                   "1: the rule never applies: an earlier one applies to all of its calls: "
                   "{\"drop\":true}");
    expect_refused(L"faults add " + json(LR"({"object": "dg9", "drop": true})"),
                   "1: there is no object \"dg9\"");
    expect_refused(L"faults add " +
                       json(LR"({"function": "DbGetObjects", "property": "a", "drop": true})"),
                   "1: the rule never applies: calls of DbGetObjects have no \"property\"");
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    for (const wchar_t* accepted : {LR"([{"object": "dg1", "delay": 1}, {"delay": 2}])",
                                    LR"([{"call": 1, "delay": 1}, {"delay": 2}])",
                                    LR"([{"times": 3, "delay": 1}, {"delay": 2}])"}) {
        EXPECT_EQ(labctl(L"faults add " + json(accepted)), 0u) << errors;
        expect_done(L"faults clear");
    }
    // A rule that was added before counts.
    expect_printed(L"faults add " + json(LR"({"minor": 1, "delay": 5})"), "7\n");
    expect_refused(L"faults add " + json(LR"({"minor": 1, "status": 7})"),
                   "1: the rule never applies: an earlier one applies to all of its calls: "
                   "{\"minor\":1,\"delay\":5}");
}

TEST_F(LabctlFaults, ApplyToObjectsThatWereAdded) {
    expect_done(L"group add " + json(LR"({"name": "dg2", "dgid": "g2"})"));
    expect_printed(
        L"faults add " + json(LR"({"object": "dg2", "property": "dgid", "lie": "null"})"), "1\n");
    std::vector<opal_objid> groups;
    EXPECT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    ASSERT_EQ(groups.size(), 2u);
    opal_property property;
    EXPECT_EQ(ObGetProperty(handle->connection, handle->connection_context, &groups[1], "dgid",
                            &property),
              ZTSTATUS_OK);
    EXPECT_EQ(property.value, nullptr);
    PsFreeProperty(&property);
}

TEST_F(LabctlFaults, AreInTheRecord) {
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    expect_done(L"record start");
    expect_printed(L"faults add " + json(LR"([{"property": "Name", "call": 1, "as": "UINT32"},
                                              {"function": "DbGetObjects", "nothing": true}])"),
                   "1\n2\n");
    std::vector<opal_objid> groups;
    const opal_objid unknown{};
    opal_property property;
    expect_done(L"faults clear 2");
    EXPECT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(ObGetProperty(handle->connection, handle->connection_context, &groups.front(),
                                "Name", &property),
                  ZTSTATUS_OK);
        PsFreeProperty(&property);
    }
    EXPECT_EQ(
        ObGetProperty(handle->connection, handle->connection_context, &unknown, "Name", &property),
        ZTERROR_NULL_OBJECT);
    EXPECT_EQ(call_group_method(handle, groups.front(), import_method), ZTSTATUS_OK);
    expect_printed(L"faults add " + json(LR"({"function": "DbGetObjects", "nothing": true})"),
                   "3\n");
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    expect_done(L"record stop");
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    expect_printed(
        L"record show",
        this_client() + "DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@dg1]\n" + this_client() +
            "ObGetProperty @dg1 \"Name\" -> 0x0 UINT32 with the bytes of WSTR \"dg1\"\n" +
            this_client() + "ObGetProperty @dg1 \"Name\" -> 0x0 WSTR \"dg1\"\n" + this_client() +
            "ObGetProperty @null \"Name\" -> " + hex(ZTERROR_NULL_OBJECT) + "\n" + this_client() +
            "PrCallDispatch @dg1 {61678c9a-1dd2-11b2-9623-0800209ead9c} 0.2003 {\"dgid\": STR "
            "\"g1\", \"Opflag\": UINT32 0} -> 0x0 {}\n" +
            this_client() + "DbGetObjects tamo_ztvm_diskgroup -> 0x0 []\n");
}

TEST_F(LabctlFaults, RecordBeginsAnew) {
    expect_done(L"record show");
    expect_done(L"record start");
    EXPECT_EQ(list_groups(), ZTSTATUS_OK);
    expect_done(L"record start");
    expect_done(L"record show");
    EXPECT_EQ(labctl(L"status"), 0u);
    EXPECT_THAT(output, testing::HasSubstr(", recording\n"));
}

}  // namespace
