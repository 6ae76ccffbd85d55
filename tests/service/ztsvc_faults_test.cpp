// The fault plan of the service process.
#include "service/service_fixture.h"
#include "support/recorded_calls.h"

#include <gmock/gmock.h>

namespace {

using namespace support;

using ServiceFaults = ServiceTest;

opal_status list_groups(opal_handle handle) {
    std::vector<opal_objid> groups;
    return list(handle, ZTTYPE_DISK_GROUP, groups);
}

bool is_imported(opal_handle handle) {
    std::vector<opal_objid> groups;
    EXPECT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    opal_property property;
    EXPECT_EQ(ObGetProperty(handle->connection, handle->connection_context, &groups.front(),
                            "imported", &property),
              ZTSTATUS_OK);
    const bool imported = *static_cast<const opal_bool*>(property.value) == opal_true;
    EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
    return imported;
}

TEST_F(ServiceFaults, ReturnsStatusInsteadOfMethod) {
    start(one_group, fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), R"("call": 2, "times": 2)",
                                  returns(ZTERROR_PROVIDER)}}));
    const opal_handle handle = connect();
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    EXPECT_EQ(call_group_method(handle, deport_method), ZTSTATUS_OK);  // not counted
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_PROVIDER);
    EXPECT_FALSE(is_imported(handle));
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_PROVIDER);
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    EXPECT_TRUE(is_imported(handle));
    release(handle);
}

TEST_F(ServiceFaults, ReturnsStatusForFunction) {
    start(one_group,
          fault_plan({{R"("function": "DbGetObjects", "call": 3)", returns(ZTERROR_NO_MEMORY)}}));
    const opal_handle handle = connect();
    EXPECT_EQ(list_groups(handle), ZTSTATUS_OK);
    EXPECT_EQ(call_group_method(handle, import_method),
              ZTSTATUS_OK);  // looks for the group first
    EXPECT_EQ(list_groups(handle), ZTERROR_NO_MEMORY);
    EXPECT_EQ(list_groups(handle), ZTSTATUS_OK);
    release(handle);
}

TEST_F(ServiceFaults, ReturnsStatusForAnyRequest) {
    start(one_group, fault_plan({{R"("call": 1)", returns(ZTERROR_PROVIDER)}}));
    const opal_handle handle = connect();
    EXPECT_EQ(list_groups(handle), ZTERROR_PROVIDER);
    EXPECT_EQ(list_groups(handle), ZTSTATUS_OK);
    release(handle);
}

TEST_F(ServiceFaults, AppliesFirstRuleAndCountsForAll) {
    start(one_group,
          fault_plan(
              {{of_method(ZTMETHOD_DGOP_IMPORT), R"("call": 1)", returns(ZTERROR_PROVIDER)},
               {of_method(ZTMETHOD_DGOP_IMPORT), R"("call": 2)", returns(ZTERROR_NO_MEMORY)}}));
    const opal_handle handle = connect();
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_PROVIDER);
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_NO_MEMORY);
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    release(handle);
}

TEST_F(ServiceFaults, DelaysMethod) {
    start(one_group, fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), R"("delay": 700)"}}));
    const opal_handle handle = connect();
    const ULONGLONG begin = GetTickCount64();
    EXPECT_EQ(call_group_method(handle, import_method), ZTSTATUS_OK);
    EXPECT_GE(GetTickCount64() - begin, 650u);
    release(handle);
}

TEST_F(ServiceFaults, DropsClientAfterTheWork) {
    start(one_group, fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), R"("drop": true)"}}));
    const opal_handle handle = connect();
    const opal_handle bystander = connect();
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_NOT_CONNECTED);
    EXPECT_TRUE(eventually([&] { return connected_of(handle) == 0; }));
    EXPECT_EQ(connected_of(bystander), 1);
    EXPECT_TRUE(is_imported(bystander));
    EXPECT_THAT(service->log(), testing::ContainsRegex(
                                    "client 1 .ztsvc_test.exe, pid .*: dropped by the fault plan"));
    release(handle);
    release(bystander);
}

// ------------------------------------------- what calls refer to, and results

class ServiceResults : public ServiceTest {
  protected:
    void start_with(const std::string& plan) {
        start(R"({"disk_groups": [{"name": "dg1", "dgid": "g1", "volumes": [
                      {"name": "v1", "device": "d1"}]}, {"name": "dg2", "dgid": "g2"}]})",
              plan);
        handle = connect();
        std::vector<opal_objid> groups;
        ASSERT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
        ASSERT_EQ(groups.size(), 2u);
        dg1 = groups[0];
        dg2 = groups[1];
    }
    void TearDown() override {
        release(handle);
        ServiceTest::TearDown();
    }

    opal_status read(const opal_objid& object, const char* name, opal_property& property) {
        property = {"x", 1, 1, 1, "x"};
        return ObGetProperty(handle->connection, handle->connection_context, &object, name,
                             &property);
    }
    // The status of reading a property, which is freed.
    opal_status read(const opal_objid& object, const char* name) {
        opal_property property;
        const opal_status status = read(object, name, property);
        if (status == ZTSTATUS_OK && property.name != nullptr) {
            EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
        }
        return status;
    }
    opal_status children(const opal_objid& object, const char* type, uint32_t& count) {
        opal_objid* ids = nullptr;
        count = 99;
        const opal_status status = ObGetChildObjects(handle->connection, handle->connection_context,
                                                     &object, type, &ids, &count);
        if (status == ZTSTATUS_OK) {
            _ZtFree(ids);
        }
        return status;
    }

    opal_handle handle = nullptr;
    opal_objid dg1{};
    opal_objid dg2{};
};

TEST_F(ServiceResults, AreSelectedByObjectPropertyAndType) {
    start_with(R"([{"object": "dg2", "property": "Name", "status": "1"},
                   {"type": ")" ZTTYPE_VOLUME R"(", "status": "2"}])");
    EXPECT_EQ(read(dg1, "Name"), ZTSTATUS_OK);
    EXPECT_EQ(read(dg2, "dgid"), ZTSTATUS_OK);
    EXPECT_EQ(read(dg2, "Name"), 1u);
    uint32_t count = 0;
    EXPECT_EQ(children(dg1, ZTTYPE_DISK, count), ZTSTATUS_OK);
    EXPECT_EQ(children(dg1, ZTTYPE_VOLUME, count), 2u);
}

TEST_F(ServiceResults, AreLostWithAFailureAfterTheWork) {
    start_with(fault_plan({{of_method(ZTMETHOD_DGOP_IMPORT), returns_after(ZTERROR_PROVIDER)},
                           {R"("property": "Name")", returns_after(ZTERROR_PROVIDER)},
                           {R"("property": "dgid")", returns_after(ZTSTATUS_SAME_VALUE)}}));
    EXPECT_EQ(call_group_method(handle, import_method), ZTERROR_PROVIDER);
    EXPECT_TRUE(is_imported(handle));
    EXPECT_EQ(read(dg1, "Name"), ZTERROR_PROVIDER);
    opal_property property;
    EXPECT_EQ(read(dg1, "dgid", property), ZTSTATUS_SAME_VALUE);
    EXPECT_STREQ(static_cast<const char*>(property.value), "g1");
    PsFreeProperty(&property);
}

TEST_F(ServiceResults, AreWithheld) {
    start_with(R"([{"call": 2, "times": 100, "nothing": true}])");
    opal_property property;
    EXPECT_EQ(read(dg1, "Name", property), ZTSTATUS_OK);
    EXPECT_EQ(property.name, nullptr);
    EXPECT_EQ(property.value, nullptr);
    EXPECT_EQ(read(dg1, "no such property", property), ZTSTATUS_OK);
    EXPECT_EQ(property.name, nullptr);
    uint32_t count = 0;
    EXPECT_EQ(children(dg1, ZTTYPE_VOLUME, count), ZTSTATUS_OK);
    EXPECT_EQ(count, 0u);
    char text[] = "x";
    char* type = text;
    EXPECT_EQ(ObGetObjectType(handle->connection, handle->connection_context, &dg1, &type),
              ZTSTATUS_OK);
    EXPECT_EQ(type, nullptr);
    opal_propset set = nullptr;
    EXPECT_EQ(ObGetProperties(handle->connection, handle->connection_context, &dg1, &set),
              ZTSTATUS_OK);
    EXPECT_EQ(PsFindNextProperty(set, &property), ZTERROR_END_OF_SET);
    PsDestroyPropset(set);
    EXPECT_EQ(call_group_method(handle, dg1, 4711), ZTSTATUS_OK);
}

TEST_F(ServiceResults, AreWithheldWithAStatusThatIsNoFailure) {
    start_with(fault_plan({{R"("property": "Name")", returns(ZTSTATUS_OK)},
                           {R"("property": "dgid")", returns(ZTSTATUS_SAME_VALUE)}}));
    opal_property property;
    EXPECT_EQ(read(dg1, "Name", property), ZTSTATUS_OK);
    EXPECT_EQ(property.name, nullptr);
    EXPECT_EQ(read(dg1, "dgid", property), ZTSTATUS_SAME_VALUE);
    EXPECT_EQ(property.name, nullptr);
}

TEST_F(ServiceResults, HaveAnotherTypeOrAWrongValue) {
    start_with(R"([{"property": "dgid", "call": 1, "as": "UINT32"},
                   {"property": "dgid", "call": 2, "lie": "unterminated"},
                   {"property": "dgid", "call": 3, "lie": "long"},
                   {"property": "dgid", "call": 4, "lie": "null", "as": "WSTR"}])");
    opal_property property;
    LabRecorderStart(LAB_RECORD_SERVICE);
    EXPECT_EQ(read(dg1, "dgid", property), ZTSTATUS_OK);
    EXPECT_EQ(property.type, TYPE_UINT32);
    EXPECT_STREQ(static_cast<const char*>(property.value), "g1");
    PsFreeProperty(&property);
    EXPECT_EQ(read(dg1, "dgid", property), ZTSTATUS_OK);
    EXPECT_EQ(property.size, 2u);
    EXPECT_EQ(std::string(static_cast<const char*>(property.value), 3), "g1X");
    PsFreeProperty(&property);
    EXPECT_EQ(read(dg1, "dgid", property), ZTSTATUS_OK);
    EXPECT_STREQ(static_cast<const char*>(property.value), "g1g1g1g1g1g1g1g1g1g1");
    PsFreeProperty(&property);
    EXPECT_EQ(read(dg1, "dgid", property), ZTSTATUS_OK);
    EXPECT_EQ(property.type, TYPE_WSTR);
    EXPECT_EQ(property.value, nullptr);
    PsFreeProperty(&property);
    LabRecorderStop();
    EXPECT_THAT(support::recorded_calls(),
                testing::ElementsAre(
                    R"(ObGetProperty @dg1 "dgid" -> 0x0 UINT32 with the bytes of STR "g1")",
                    R"(ObGetProperty @dg1 "dgid" -> 0x0 STR "g1" unterminated)",
                    R"(ObGetProperty @dg1 "dgid" -> 0x0 STR "g1g1g1g1g1g1g1g1g1g1")",
                    R"(ObGetProperty @dg1 "dgid" -> 0x0 WSTR with the bytes of STR NULL)"));
    EXPECT_EQ(read(dg1, "dgid"), ZTSTATUS_OK);
}

}  // namespace
