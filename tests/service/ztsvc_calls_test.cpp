// Every call of the bus, over a connection to the service.
#include "lab/every_type.h"
#include "service/service_fixture.h"
#include "support/recorded_calls.h"

#include <functional>

namespace {

using namespace support;
using lab_tests::every_type;
using lab_tests::TypeCase;

using Lines = std::vector<std::string>;

class ServiceCalls : public ServiceTest {
  protected:
    void connect_to(const std::string& scenario) {
        start(scenario);
        handle = connect();
        ASSERT_NE(handle, nullptr);
    }
    void TearDown() override {
        release(handle);
        ServiceTest::TearDown();
    }

    opal_objid only(const char* type) {
        std::vector<opal_objid> objects;
        EXPECT_EQ(list(handle, type, objects), ZTSTATUS_OK);
        EXPECT_EQ(objects.size(), 1u) << type;
        return objects.empty() ? opal_objid{} : objects.front();
    }
    void read_ids(const std::function<opal_status(opal_objid**, uint32_t*)>& call) {
        opal_objid* ids = nullptr;
        uint32_t count = 0;
        EXPECT_EQ(call(&ids, &count), ZTSTATUS_OK);
        _ZtFree(ids);
    }

    opal_handle handle = nullptr;
};

// A scenario with an object whose properties are named after their types.
std::string scenario_of_every_type() {
    std::string properties;
    for (const TypeCase& type : every_type()) {
        properties += (properties.empty() ? "\"" : ", \"") + type.type + R"(": {"type": ")" +
                      type.type + R"(", "value": )" + type.json + "}";
    }
    return R"({"objects": [{"name": "o", "type": "sample", "properties": {)" + properties +
           R"(}}, {"name": "copy", "type": "copy"}]})";
}

TEST_F(ServiceCalls, ReadPropertiesOfEveryType) {
    connect_to(scenario_of_every_type());
    const opal_objid object = only("sample");
    for (const TypeCase& type : every_type()) {
        SCOPED_TRACE(type.type);
        opal_property property;
        ASSERT_EQ(ObGetProperty(handle->connection, handle->connection_context, &object,
                                type.type.c_str(), &property),
                  ZTSTATUS_OK);
        EXPECT_EQ(property.name, type.type);
        EXPECT_EQ(property.type, type.tag);
        EXPECT_EQ(property.count, type.count);
        EXPECT_EQ(property.size, type.size);
        type.expect_value(property.value);
        EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
    }
}

TEST_F(ServiceCalls, WritePropertiesOfEveryType) {
    connect_to(scenario_of_every_type());
    const opal_objid object = only("sample");
    const opal_objid copy = only("copy");
    std::string all;
    for (const TypeCase& type : every_type()) {
        SCOPED_TRACE(type.type);
        all += (all.empty() ? "\"" : ", \"") + type.type + "\": " + type.type + " " + type.recorded;
        opal_property property;
        ASSERT_EQ(ObGetProperty(handle->connection, handle->connection_context, &object,
                                type.type.c_str(), &property),
                  ZTSTATUS_OK);
        EXPECT_EQ(ObSetProperty(handle->connection, handle->connection_context, &copy, &property),
                  ZTSTATUS_OK);
        EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
    }
    LabRecorderStart(LAB_RECORD_SERVICE);
    opal_propset set = nullptr;
    ASSERT_EQ(ObGetProperties(handle->connection, handle->connection_context, &copy, &set),
              ZTSTATUS_OK);
    EXPECT_EQ(PsDestroyPropset(set), ZTSTATUS_OK);
    EXPECT_EQ(recorded_calls(), Lines{"ObGetProperties @copy -> 0x0 {" + all + "}"});
}

TEST_F(ServiceCalls, FindObjects) {
    connect_to(R"({"disk_groups": [
        {"name": "dg1", "dgid": "g1", "disks": [{"name": "d1"}, {"name": "d2"}],
         "volumes": [{"name": "v1", "device": "dev1"}]},
        {"name": "dg2", "dgid": "g2"}]})");
    const opal_connection connection = handle->connection;
    const opal_context context = handle->connection_context;
    std::vector<opal_objid> groups;
    ASSERT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    ASSERT_EQ(groups.size(), 2u);
    const opal_objid volume = only(ZTTYPE_VOLUME);
    LabRecorderStart(LAB_RECORD_SERVICE);
    read_ids([&](opal_objid** ids, uint32_t* count) {
        return DbGetObjects(connection, context, ZTTYPE_DISK_GROUP, ids, count);
    });
    read_ids([&](opal_objid** ids, uint32_t* count) {
        return DbGetObjects(connection, context, "nothing", ids, count);
    });
    read_ids([&](opal_objid** ids, uint32_t* count) {
        return DbGetObjectsByQuery(connection, context,
                                   L"SELECT FROM " ZTTYPE_DISK_GROUP L" where \"Name\" EQ dg2", ids,
                                   count);
    });
    read_ids([&](opal_objid** ids, uint32_t* count) {
        return ObGetChildObjects(connection, context, &groups[0], ZTTYPE_DISK, ids, count);
    });
    read_ids([&](opal_objid** ids, uint32_t* count) {
        return ObGetParentObjects(connection, context, &volume, ZTTYPE_DISK_GROUP, ids, count);
    });
    char* type = nullptr;
    EXPECT_EQ(ObGetObjectType(connection, context, &volume, &type), ZTSTATUS_OK);
    EXPECT_STREQ(type, ZTTYPE_VOLUME);
    _ZtFree(type);
    EXPECT_EQ(recorded_calls(), (Lines{"DbGetObjects " ZTTYPE_DISK_GROUP " -> 0x0 [@dg1 @dg2]",
                                       "DbGetObjects nothing -> 0x0 []",
                                       "DbGetObjectsByQuery \"SELECT FROM " ZTTYPE_DISK_GROUP
                                       " where \\\"Name\\\" EQ dg2\""
                                       " -> 0x0 [@dg2]",
                                       "ObGetChildObjects @dg1 " ZTTYPE_DISK " -> 0x0 [@d1 @d2]",
                                       "ObGetParentObjects @v1 " ZTTYPE_DISK_GROUP " -> 0x0 [@dg1]",
                                       "ObGetObjectType @v1 -> 0x0 " ZTTYPE_VOLUME}));
}

TEST_F(ServiceCalls, ReturnStatusesAndResultsOfMethods) {
    connect_to(one_group);
    const opal_objid group = only(ZTTYPE_DISK_GROUP);
    LabRecorderStart(LAB_RECORD_SERVICE);
    EXPECT_EQ(call_group_method(handle, group, import_method), ZTSTATUS_OK);
    opal_property imported;
    ASSERT_EQ(ObGetProperty(handle->connection, handle->connection_context, &group, "imported",
                            &imported),
              ZTSTATUS_OK);
    EXPECT_EQ(PsFreeProperty(&imported), ZTSTATUS_OK);
    // A failure of the method is returned unchanged.
    EXPECT_EQ(call_group_method(handle, group, import_method), ZTERROR_GROUP_ALREADY_ONLINE);
    EXPECT_EQ(call_group_method(handle, group, 9999), ZTERROR_UNKNOWN_METHOD);
    const std::string call = std::string("PrCallDispatch @dg1 ") + volume_manager_methods + " 0.";
    const std::string import = std::to_string(ZTMETHOD_DGOP_IMPORT);
    const std::string input = " {\"dgid\": STR \"g1\", \"Opflag\": UINT32 0} 0,0,0,0 -> ";
    EXPECT_EQ(recorded_calls(),
              (Lines{call + import + input + "0x0 NULL",
                     "ObGetProperty @dg1 \"imported\" -> 0x0 BOOLEAN true",
                     call + import + input + hex(ZTERROR_GROUP_ALREADY_ONLINE) + " NULL",
                     call + "9999" + input + hex(ZTERROR_UNKNOWN_METHOD) + " NULL"}));
}

TEST_F(ServiceCalls, ReturnFailuresOfTheService) {
    connect_to(one_group);
    const opal_connection connection = handle->connection;
    const opal_context context = handle->connection_context;
    const opal_objid group = only(ZTTYPE_DISK_GROUP);
    const opal_objid stranger{{0xee}};
    opal_property property;
    EXPECT_EQ(ObGetProperty(connection, context, &group, "nothing", &property), ZTERROR_PROPERTY);
    EXPECT_EQ(ObGetProperty(connection, context, &stranger, "Name", &property),
              ZTERROR_UNKNOWN_OBJECT);
    opal_objid* ids = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(DbGetObjectsByQuery(connection, context, L"SELECT nonsense", &ids, &count),
              ZTERROR_BAD_QUERY);
    EXPECT_EQ(ObDeleteObject(connection, context, &group), ZTSTATUS_OK);
    EXPECT_EQ(ObDeleteObject(connection, context, &group), ZTERROR_UNKNOWN_OBJECT);
    std::vector<opal_objid> groups;
    EXPECT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    EXPECT_TRUE(groups.empty());
}

TEST_F(ServiceCalls, ReturnLargeResults) {
    connect_to(R"({"disk_groups": [{"name": "dg#", "dgid": "g#", "count": 20000}]})");
    std::vector<opal_objid> groups;
    EXPECT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    EXPECT_EQ(groups.size(), 20000u);
}

// Threads that share a connection each get the results of their own calls.
struct Asker {
    opal_handle handle;
    opal_objid group;
    std::string name;
};
DWORD WINAPI ask_often(void* argument) {
    const auto& asker = *static_cast<const Asker*>(argument);
    for (int i = 0; i < 100; ++i) {
        opal_property property;
        if (ObGetProperty(asker.handle->connection, asker.handle->connection_context, &asker.group,
                          "dgid", &property) != ZTSTATUS_OK) {
            return 1;
        }
        const bool mine = asker.name == static_cast<const char*>(property.value);
        PsFreeProperty(&property);
        if (!mine) {
            return 2;
        }
    }
    return 0;
}

TEST_F(ServiceCalls, ReturnTheirOwnResultsToConcurrentThreads) {
    connect_to(R"({"disk_groups": [{"name": "dg#", "dgid": "g#", "count": 8}]})");
    std::vector<opal_objid> groups;
    ASSERT_EQ(list(handle, ZTTYPE_DISK_GROUP, groups), ZTSTATUS_OK);
    ASSERT_EQ(groups.size(), 8u);
    std::vector<Asker> askers;
    for (std::size_t i = 0; i < groups.size(); ++i) {
        askers.push_back({handle, groups[i], "g" + std::to_string(i + 1)});
    }
    std::vector<HANDLE> threads;
    for (Asker& asker : askers) {
        threads.push_back(CreateThread(nullptr, 0, ask_often, &asker, 0, nullptr));
    }
    for (const HANDLE thread : threads) {
        EXPECT_EQ(WaitForSingleObject(thread, hang_ms), WAIT_OBJECT_0);
        DWORD code = ~0u;
        GetExitCodeThread(thread, &code);
        EXPECT_EQ(code, 0u);
        CloseHandle(thread);
    }
}

}  // namespace
