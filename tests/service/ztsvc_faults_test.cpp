// The fault plan of the service process.
#include "service/service_fixture.h"

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

}  // namespace
