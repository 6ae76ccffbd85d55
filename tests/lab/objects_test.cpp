// Objects, queries and methods through the bus.
#include "lab/bus_fixture.h"
#include "lab/every_type.h"

using namespace lab_tests;
using testing::ElementsAre;

namespace {

class Objects : public BusTest {
  protected:
    void SetUp() override {
        BusTest::SetUp();
        load_scenario(R"({"disk_groups": [
            {"name": "dg1", "dgid": "id-1", "disks": [{"name": "d1"}],
             "volumes": [{"name": "v1", "device": "\\Device\\v1"},
                         {"name": "v2", "device": "\\Device\\v2"}]},
            {"name": "dg2", "dgid": "id-2", "imported": true}]})");
        dg1 = object("dg1");
        service = object("service");
    }

    // The objects returned by the bus, by name; the status "0x..." if it fails.
    template <class Call> std::vector<std::string> ids_of(Call&& call) {
        opal_objid nowhere;
        opal_objid* ids = &nowhere;
        std::uint32_t count = 99;
        const opal_status status = call(&ids, &count);
        if (status != ZTSTATUS_OK) {
            EXPECT_EQ(ids, &nowhere);
            EXPECT_EQ(count, 99u);
            char text[16];
            std::snprintf(text, sizeof text, "0x%x", static_cast<unsigned>(status));
            return {text};
        }
        EXPECT_EQ(ids == nullptr, count == 0);
        return names(ids, count);
    }
    std::vector<std::string> of_type(const char* type) {
        return ids_of([&](opal_objid** ids, std::uint32_t* count) {
            return DbGetObjects(connection, context, type, ids, count);
        });
    }
    std::vector<std::string> query(const wchar_t* text) {
        return ids_of([&](opal_objid** ids, std::uint32_t* count) {
            return DbGetObjectsByQuery(connection, context, text, ids, count);
        });
    }
    std::vector<std::string> children(const opal_objid& of, const char* type) {
        return ids_of([&](opal_objid** ids, std::uint32_t* count) {
            return ObGetChildObjects(connection, context, &of, type, ids, count);
        });
    }
    std::vector<std::string> parents(const opal_objid& of, const char* type) {
        return ids_of([&](opal_objid** ids, std::uint32_t* count) {
            return ObGetParentObjects(connection, context, &of, type, ids, count);
        });
    }
    opal_status dispatch(const opal_objid& target, const GUID& interface_id, std::uint32_t minor,
                         opal_propset input, opal_propset output) {
        return PrCallDispatch(connection, &target, &interface_id, 0, minor, input, output, 0, 0, 0,
                              0, nullptr, nullptr);
    }

    opal_objid dg1{};
    opal_objid service{};
    const opal_objid null_id{};
};

TEST_F(Objects, ReturnProperties) {
    for (const TypeCase& type : every_type()) {
        SCOPED_TRACE(type.type);
        load_scenario(scenario_with(type));
        const opal_objid o = object("o");
        opal_property property;
        ASSERT_EQ(ObGetProperty(connection, context, &o, "p", &property), ZTSTATUS_OK);
        EXPECT_STREQ(property.name, "p");
        EXPECT_EQ(property.type, type.tag);
        EXPECT_EQ(property.count, type.count);
        EXPECT_EQ(property.size, type.size);
        type.expect_value(property.value);
        EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
    }
}

TEST_F(Objects, StoreWrittenValuesOfEveryType) {
    for (const TypeCase& type : every_type()) {
        SCOPED_TRACE(type.type);
        load_scenario(scenario_with(type));
        const opal_objid o = object("o");
        const opal_objid misc = object("misc");
        opal_property property;
        ASSERT_EQ(ObGetProperty(connection, context, &o, "p", &property), ZTSTATUS_OK);
        EXPECT_EQ(ObSetProperty(connection, context, &misc, &property), ZTSTATUS_OK);
        PsFreeProperty(&property);
        ASSERT_EQ(ObGetProperty(connection, context, &misc, "p", &property), ZTSTATUS_OK);
        EXPECT_EQ(property.type, type.tag);
        EXPECT_EQ(property.count, type.count);
        type.expect_value(property.value);
        PsFreeProperty(&property);
    }
}

TEST_F(Objects, FailForMissingProperty) {
    opal_property untouched{"name", 1, 2, 3, "value"};
    EXPECT_EQ(ObGetProperty(connection, context, &dg1, "none", &untouched), ZTERROR_PROPERTY);
    EXPECT_STREQ(untouched.name, "name");
    EXPECT_EQ(ObGetProperty(connection, context, &null_id, "Name", &untouched),
              ZTERROR_NULL_OBJECT);
}

TEST_F(Objects, ReturnAllPropertiesAsSet) {
    opal_propset set;
    ASSERT_EQ(ObGetProperties(connection, context, &dg1, &set), ZTSTATUS_OK);
    opal_property property;
    ASSERT_EQ(PsFindProperty(set, "dgid", &property), ZTSTATUS_OK);
    EXPECT_EQ(text_of(property), "id-1");
    PsFreeProperty(&property);
    EXPECT_EQ(PsDestroyPropset(set), ZTSTATUS_OK);
    EXPECT_EQ(ObGetProperties(connection, context, &null_id, &set), ZTERROR_NULL_OBJECT);
}

TEST_F(Objects, ReturnTheirType) {
    char* type = nullptr;
    ASSERT_EQ(ObGetObjectType(connection, context, &dg1, &type), ZTSTATUS_OK);
    EXPECT_STREQ(type, ZTTYPE_DISK_GROUP);
    EXPECT_EQ(live().blocks, 1u);
    _ZtFree(type);
    EXPECT_EQ(ObGetObjectType(connection, context, &null_id, &type), ZTERROR_NULL_OBJECT);
}

TEST_F(Objects, MatchTypeAndQuery) {
    EXPECT_THAT(of_type(ZTTYPE_DISK_GROUP), ElementsAre("dg1", "dg2"));
    EXPECT_THAT(of_type("nothing"), ElementsAre());
    EXPECT_THAT(query(L"SELECT FROM " ZTTYPE_VOLUME L" where \"DEVICE NAME\" EQ \\DEVICE\\V2"),
                ElementsAre("v2"));
    EXPECT_THAT(query(L"SELECT FROM " ZTTYPE_VOLUME L" where \"DEVICE NAME\" EQ v2"),
                ElementsAre());
    EXPECT_THAT(query(L""), ElementsAre(hex(ZTERROR_BAD_QUERY)));
}

TEST_F(Objects, ReturnParentsAndChildren) {
    EXPECT_THAT(children(dg1, nullptr), ElementsAre("d1", "v1", "v2"));
    EXPECT_THAT(children(dg1, ZTTYPE_VOLUME), ElementsAre("v1", "v2"));
    EXPECT_THAT(children(service, nullptr), ElementsAre());
    EXPECT_THAT(parents(object("v2"), ZTTYPE_DISK_GROUP), ElementsAre("dg1"));
    EXPECT_THAT(parents(object("v2"), ZTTYPE_DISK), ElementsAre());
    EXPECT_THAT(parents(null_id, ZTTYPE_DISK), ElementsAre(hex(ZTERROR_NULL_OBJECT)));
}

TEST_F(Objects, DisappearWhenDeleted) {
    const opal_objid volume = object("v1");
    EXPECT_EQ(ObDeleteObject(connection, context, &volume), ZTSTATUS_OK);
    EXPECT_EQ(ObDeleteObject(connection, context, &volume), ZTERROR_UNKNOWN_OBJECT);
    EXPECT_EQ(ObDeleteObject(connection, context, &null_id), ZTERROR_NULL_OBJECT);
    EXPECT_THAT(children(dg1, nullptr), ElementsAre("d1", "v2"));
}

TEST_F(Objects, CompareById) {
    const opal_objid same = object("dg1");
    const opal_objid other = object("dg2");
    EXPECT_EQ(ObCompareId(&dg1, &same), 0);
    EXPECT_NE(ObCompareId(&dg1, &other), 0);
    EXPECT_NE(ObCompareId(&dg1, &null_id), 0);
    EXPECT_NE(ObCompareId(&dg1, nullptr), 0);
}

TEST_F(Objects, RunMethods) {
    opal_propset input;
    opal_propset output;
    PsCreatePropset(&input);
    PsCreatePropset(&output);
    const opal_property name = wide_property("Dgname", L"DG2");
    PsAddProperty(input, &name);
    std::uint64_t task = 0;
    std::uint64_t result = 99;
    EXPECT_EQ(PrCallDispatch(connection, &service, &zt_cluster_service_interface, 0,
                             ZTMETHOD_CLUSSVCOP_GETDGGUID, input, output, 0, 0, 0, 0, &task,
                             &result),
              ZTSTATUS_OK);
    EXPECT_NE(task, 0u);
    EXPECT_EQ(result, 0u);
    opal_property guid;
    ASSERT_EQ(PsFindProperty(output, "Dgguid", &guid), ZTSTATUS_OK);
    EXPECT_EQ(text_of(guid), "id-2");
    PsFreeProperty(&guid);

    // Without an output set, and with an output set that has old results.
    EXPECT_EQ(dispatch(service, zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID, input,
                       nullptr),
              ZTSTATUS_OK);
    const opal_property other_name = wide_property("Dgname", L"dg1");
    PsSetProperty(input, &other_name);
    EXPECT_EQ(dispatch(service, zt_cluster_service_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID, input,
                       output),
              ZTSTATUS_OK);
    ASSERT_EQ(PsFindProperty(output, "Dgguid", &guid), ZTSTATUS_OK);
    EXPECT_EQ(text_of(guid), "id-1");
    PsFreeProperty(&guid);
    PsDestroyPropset(input);
    PsDestroyPropset(output);
}

TEST_F(Objects, FailForUnknownMethods) {
    EXPECT_EQ(dispatch(service, zt_volume_manager_interface, ZTMETHOD_CLUSSVCOP_GETDGGUID, nullptr,
                       nullptr),
              ZTERROR_UNKNOWN_METHOD);
    EXPECT_EQ(
        dispatch(null_id, zt_volume_manager_interface, ZTMETHOD_DGOP_IMPORT, nullptr, nullptr),
        ZTERROR_NULL_OBJECT);
    std::uint64_t result = 0;
    EXPECT_EQ(PrCallDispatch(connection, &service, &zt_cluster_service_interface, 0,
                             ZTMETHOD_CLUSSVCOP_GETDGGUID, nullptr, nullptr, 0, 0, 0, 0, nullptr,
                             &result),
              lab::status_missing_parameter);
    EXPECT_EQ(result, lab::status_missing_parameter);
}

TEST_F(Objects, RejectNullArguments) {
    opal_property property{};
    opal_propset set;
    char* type;
    opal_objid* ids;
    std::uint32_t count;
    EXPECT_EQ(ObGetProperty(connection, context, nullptr, "n", &property),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetProperty(connection, context, &dg1, nullptr, &property),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetProperty(connection, context, &dg1, "n", nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObSetProperty(connection, context, &dg1, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetProperties(connection, context, nullptr, &set), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetObjectType(connection, context, &dg1, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetObjectType(connection, context, nullptr, &type), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetChildObjects(connection, context, nullptr, nullptr, &ids, &count),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObGetParentObjects(connection, context, &dg1, "t", nullptr, &count),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(ObDeleteObject(connection, context, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(DbGetObjects(connection, context, nullptr, &ids, &count), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(DbGetObjects(connection, context, "t", &ids, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(DbGetObjectsByQuery(connection, context, nullptr, &ids, &count),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PrCallDispatch(connection, nullptr, &zt_cluster_service_interface, 0,
                             ZTMETHOD_CLUSSVCOP_GETDGGUID, nullptr, nullptr, 0, 0, 0, 0, nullptr,
                             nullptr),
              ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PrCallDispatch(connection, &service, nullptr, 0, ZTMETHOD_CLUSSVCOP_GETDGGUID,
                             nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr),
              ZTERROR_INVALID_ARGUMENT);
}

TEST_F(Objects, FailWithoutConnectionAndItsContext) {
    opal_connection other_connection;
    opal_context other_context;
    ASSERT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, &other_connection, &other_context),
              ZTSTATUS_OK);
    char* type;
    char nothing = 0;
    const auto unknown = reinterpret_cast<opal_connection>(&nothing);
    EXPECT_EQ(ObGetObjectType(unknown, context, &dg1, &type), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(ObGetObjectType(nullptr, nullptr, &dg1, &type), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(ObGetObjectType(connection, other_context, &dg1, &type), ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(PrCallDispatch(unknown, &service, &zt_cluster_service_interface, 0,
                             ZTMETHOD_CLUSSVCOP_GETDGGUID, nullptr, nullptr, 0, 0, 0, 0, nullptr,
                             nullptr),
              ZTERROR_NOT_CONNECTED);
    EXPECT_EQ(LabCloseConnection(other_connection), ZTSTATUS_OK);
    EXPECT_EQ(ObGetObjectType(other_connection, other_context, &dg1, &type), ZTERROR_NOT_CONNECTED);
}

}  // namespace
