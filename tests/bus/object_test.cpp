// CZtObject and CZtDatabase.
#include "bus/database.h"
#include "bus/object.h"
#include "bus/traces.h"
#include "support/interposer.h"

#include <cstring>

namespace {

using namespace farlo;
using namespace bus_test;
using namespace support;

class Object : public ClassLayer {
  protected:
    void SetUp() override {
        ClassLayer::SetUp();
        char error[256];
        ASSERT_EQ(LabLoadScenarioText(R"({"disk_groups": [
                      {"name": "dg1", "dgid": "g1",
                       "properties": {"NameI18N": {"type": "I18N", "value": {"id": 1, "name": "n", "catalog": "c"}},
                                      "State": {"type": "UINT32", "value": 9},
                                      "StateDescription": {"type": "I18N", "value": {"id": 2, "name": "s", "catalog": "d"}}},
                       "disks": [{"name": "disk1"}],
                       "volumes": [{"name": "v1", "device": "dev 1"}, {"name": "v2", "device": "dev2"}]},
                      {"name": "dg2", "dgid": "g2"}]})",
                                      error, sizeof error),
                  0)
            << error;
        ASSERT_EQ(LabOpenConnection(nullptr, nullptr, nullptr, &m_pair.connection, &m_pair.context),
                  0u);
    }
    void TearDown() override {
        LabCloseConnection(m_pair.connection);
        ClassLayer::TearDown();
    }
    CZtObject object(const char* name) const {
        opal_objid id{};
        EXPECT_EQ(LabFindObject(name, &id), 0);
        return CZtObject(m_pair, id);
    }
    static std::vector<std::wstring> names(const std::vector<CZtObject>& objects) {
        std::vector<std::wstring> result;
        for (const CZtObject& one : objects) {
            result.push_back(one.Name());
        }
        return result;
    }
    void expect_connected(const std::vector<CZtObject>& objects) const {
        for (const CZtObject& one : objects) {
            EXPECT_EQ(one.pair().connection, m_pair.connection);
            EXPECT_EQ(one.pair().context, m_pair.context);
        }
    }
    using Names = std::vector<std::wstring>;
    ConnectionPair m_pair;
};

TEST_F(Object, GetObjectsAppendsObjectsOfTypeInOrderOfService) {
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), bus_success);
    EXPECT_EQ(names(found), (Names{L"dg1", L"dg2"}));
    expect_connected(found);
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK, found), bus_success);
    EXPECT_EQ(names(found), (Names{L"dg1", L"dg2", L"disk1"}));
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_PLEX, found), bus_success);
    EXPECT_EQ(found.size(), 3u);
}

TEST_F(Object, GetObjectsTracesAndReturnsFailure) {
    std::vector<CZtObject> found;
    found.push_back(object("v1"));
    set_faults({{.function = "DbGetObjects", .returns = bus_provider_failed}});
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), bus_provider_failed);
    EXPECT_EQ(names(found), Names{L"v1"});
    EXPECT_EQ(traces,
              Strings{"5 WARNING: c1000001 in CZtDatabase::GetObjects() call to DbGetObjects "
                      "for all objects of type tamo_ztvm_diskgroup failed"});
    // An informational status is a success.
    set_faults({{.function = "DbGetObjects", .returns_after_work = bus_same_value}});
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), bus_same_value);
    EXPECT_EQ(names(found), (Names{L"v1", L"dg1", L"dg2"}));
}

TEST_F(Object, GetObjectsByQueryReturnsFailureWithoutTrace) {
    std::vector<CZtObject> found;
    found.push_back(object("v1"));
    const wchar_t query[] = L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ dev2";
    set_faults({{.function = "DbGetObjectsByQuery", .returns = bus_bad_query}});
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, query, found), bus_bad_query);
    EXPECT_EQ(names(found), Names{L"v1"});
    EXPECT_EQ(traces, Strings{});
    set_faults({{.function = "DbGetObjectsByQuery", .returns_after_work = bus_same_value}});
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, query, found), bus_same_value);
    EXPECT_EQ(names(found), (Names{L"v1", L"v2"}));
}

TEST_F(Object, QueryStringInsertsValueWithoutQuotes) {
    QueryString query;
    ASSERT_TRUE(query);
    EXPECT_TRUE(query.format(ZTTYPE_VOLUME, "DEVICE NAME", L"dev 1"));
    EXPECT_STREQ(query.c_str(), L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ dev 1");
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, query.c_str(), found), bus_success);
    EXPECT_EQ(names(found), Names{L"v1"});
    expect_connected(found);
    EXPECT_TRUE(query.format("t", "p", L"a \"quoted\" value"));
    EXPECT_STREQ(query.c_str(), L"SELECT FROM t where \"p\" EQ a \"quoted\" value");
}

TEST_F(Object, SendsQuotesInValueToService) {
    object("v1").AddProperty(CZtProperty("DEVICE NAME", L"a \"b\" c"));
    QueryString query;
    ASSERT_TRUE(query.format(ZTTYPE_VOLUME, "DEVICE NAME", L"a \"b\" c"));
    std::vector<CZtObject> found;
    EXPECT_EQ(calls_of(
                  [&] {
                      EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, query.c_str(), found),
                                bus_success);
                  },
                  LAB_RECORD_SERVICE),
              Strings{R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" )"
                      R"(EQ a \"b\" c" -> 0x0 [@v1])"});
    EXPECT_EQ(found.size(), 1u);
}

TEST_F(Object, QueryStringRejectsValueThatDoesNotFit) {
    QueryString query;
    const std::size_t front = std::wcslen(L"SELECT FROM t where \"p\" EQ ");
    EXPECT_TRUE(query.format("t", "p", std::wstring(2047 - front, L'v').c_str()));
    EXPECT_EQ(std::wcslen(query.c_str()), 2047u);
    EXPECT_FALSE(query.format("t", "p", std::wstring(2048 - front, L'v').c_str()));
    EXPECT_STREQ(query.c_str(), L"");
    // The capacity includes the terminator.
    EXPECT_EQ(QueryString::value_capacity("t", "p"), 2048 - front);
    set_faults({{.function = "_ZtAlloc", .succeeds_empty = true}});
    EXPECT_FALSE(QueryString());
}

TEST_F(Object, ReadsAndWritesProperties) {
    CZtObject group = object("dg1");
    std::uint32_t type = 0;
    EXPECT_TRUE(group.GetProp("LDM DG TYPE", type));
    EXPECT_EQ(type, 2u);
    group.AddProperty(CZtProperty("own", std::uint32_t{5}));
    EXPECT_TRUE(group.GetProp("own", type));
    EXPECT_EQ(type, 5u);
    const opal_property raw = {"raw", TYPE_STR, 1, 2, "x"};
    group.AddProperty(raw);
    std::string value;
    EXPECT_TRUE(group.GetProp("raw", value));
    EXPECT_EQ(value, "x");
}

TEST_F(Object, ThrowsForMissingAndMistypedProperties) {
    const CZtObject group = object("dg1");
    std::uint32_t value = 42;
    EXPECT_FALSE(group.GetProp("missing", value, true));
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(traces, Strings{});
    EXPECT_EQ(thrown_by([&] { group.GetProp("missing", value); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { group.GetProp("Name", value); }), bus_no_property);
    EXPECT_EQ(
        traces,
        (Strings{"4 clusapiprov: ERROR: CZtObject::GetProp() : Unable to find property missing",
                 "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property Name is not of "
                 "TYPE_UINT32"}));
}

TEST_F(Object, TracesMalformedValueAsWrongType) {
    const CZtObject group = object("dg1");
    std::wstring name = L"as it was";
    WideString in_place;
    std::uint32_t type = 42;
    set_faults({{.function = "ObGetProperty", .lie = "unterminated"}});
    EXPECT_EQ(thrown_by([&] { group.GetProp("Name", name, true); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { group.GetProp("Name", in_place); }), bus_no_property);
    set_faults({{.function = "ObGetProperty", .lie = "null"}});
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", type); }), bus_no_property);
    EXPECT_EQ(name, L"as it was");
    EXPECT_EQ(type, 42u);
    const std::string not_a_string =
        "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property Name is not of TYPE_WSTR";
    EXPECT_EQ(traces, (Strings{not_a_string, not_a_string,
                               "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property LDM DG "
                               "TYPE is not of TYPE_UINT32"}));
}

TEST_F(Object, ThrowsStatusOfFailedRead) {
    const CZtObject group = object("dg1");
    std::uint32_t value = 42;
    BusProperty property;
    set_faults({{.function = "ObGetProperty", .returns = bus_provider_failed}});
    EXPECT_FALSE(group.GetProp("LDM DG TYPE", property, true));
    EXPECT_FALSE(group.GetProp("LDM DG TYPE", value, true));
    EXPECT_EQ(traces, Strings{});
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", property); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", value); }), bus_provider_failed);
    EXPECT_EQ(value, 42u);
    const std::string line =
        "4 clusapiprov: ERROR: CZtObject::GetProp() : Unable to find property LDM DG TYPE";
    EXPECT_EQ(traces, (Strings{line, line}));
    traces.clear();
    set_faults({{.function = "ObGetProperty", .returns_after_work = bus_same_value}});
    EXPECT_TRUE(group.GetProp("LDM DG TYPE", value));
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(traces, Strings{});
}

TEST_F(Object, NamedGettersReturnProperties) {
    const CZtObject group = object("dg1");
    EXPECT_EQ(group.Name(), L"dg1");
    EXPECT_EQ(group.State(), 9u);
    const ZtI18n name = group.NameI18N();
    EXPECT_EQ(name.message_id, 1u);
    EXPECT_EQ(name.name, "n");
    EXPECT_EQ(name.catalog, "c");
    const ZtI18n description = group.StateDescription();
    EXPECT_EQ(description.message_id, 2u);
    EXPECT_EQ(description.name, "s");
    EXPECT_EQ(description.catalog, "d");
}

TEST_F(Object, NamedGettersThrowForMissingProperties) {
    const CZtObject group = object("dg1");
    set_faults({{.function = "ObGetProperty", .returns = bus_no_property}});
    EXPECT_EQ(thrown_by([&] { group.Name(); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { group.NameI18N(); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { group.State(); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { group.StateDescription(); }), bus_no_property);
    const std::string line =
        "4 clusapiprov: ERROR: CZtObject::GetProp() : Unable to find property ";
    EXPECT_EQ(traces, (Strings{line + "Name", line + "NameI18N", line + "State",
                               line + "StateDescription"}));
}

TEST_F(Object, ReturnsTypePropertiesChildrenAndParents) {
    const CZtObject group = object("dg1");
    std::string type;
    group.GetType(type);
    EXPECT_EQ(type, "tamo_ztvm_diskgroup");
    CZtTempPropertySet properties;
    group.GetProperties(properties);
    std::string dgid;
    properties.GetProp("dgid", dgid);
    EXPECT_EQ(dgid, "g1");
    std::vector<CZtObject> children;
    group.GetChildObjects(children);
    EXPECT_EQ(names(children), (Names{L"disk1", L"v1", L"v2"}));
    children.clear();
    group.GetChildObjects(children, ZTTYPE_VOLUME);
    EXPECT_EQ(names(children), (Names{L"v1", L"v2"}));
    expect_connected(children);
    std::vector<CZtObject> parents;
    children[0].GetParentObjects(ZTTYPE_DISK_GROUP, parents);
    EXPECT_EQ(names(parents), Names{L"dg1"});
    expect_connected(parents);
    children[0].GetParentObjects(ZTTYPE_DISK, parents);
    EXPECT_EQ(parents.size(), 1u);
}

TEST_F(Object, TracesAndThrowsFailedCalls) {
    CZtObject group = object("dg1");
    std::vector<CZtObject> found;
    found.push_back(object("v1"));
    std::string type = "as it was";
    CZtTempPropertySet properties;
    properties.AddProp("own", "as it was");
    const opal_property raw = {"raw", TYPE_STR, 1, 2, "x"};
    set_faults({{.returns = bus_provider_failed}});
    EXPECT_EQ(thrown_by([&] { group.AddProperty(CZtProperty("p", true)); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.AddProperty(raw); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.Destroy(); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.GetProperties(properties); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.GetType(type); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.GetChildObjects(found); }), bus_provider_failed);
    EXPECT_EQ(thrown_by([&] { group.GetParentObjects(ZTTYPE_DISK, found); }), bus_provider_failed);
    EXPECT_EQ(
        traces,
        (Strings{"4 clusapiprov: ERROR: CZtObject::AddProperty(const CZtProperty &property): "
                 "ObSetProperty failed",
                 "4 clusapiprov: ERROR: CZtObject::AddProperty(const opal_property &property): "
                 "ObSetProperty failed",
                 "4 clusapiprov: ERROR: in CZtObject::Destroy() ObDeleteObject() failed",
                 "4 clusapiprov: ERROR: in CZtObject::GetProperties() ObGetProperties() failed",
                 "4 clusapiprov: ERROR: in CZtObject::GetType() ObGetObjectType() failed",
                 "4 clusapiprov: ERROR: in CZtObject::GetChildObjects() ObGetChildObjects() failed",
                 "4 clusapiprov: ERROR: in CZtObject::GetParentObjects(tamo_ztvm_disk) "
                 "ObGetParentObjects() failed"}));
    set_faults({});
    EXPECT_EQ(type, "as it was");
    Strings keys;
    properties.GetKeys(keys);
    EXPECT_EQ(keys, Strings{"own"});
    EXPECT_EQ(names(found), Names{L"v1"});
}

TEST_F(Object, TreatsSuccessWithoutResultAsEmptyOrMissing) {
    const CZtObject group = object("dg1");
    std::vector<CZtObject> found;
    std::string type = "as it was";
    std::uint32_t value = 42;
    set_faults({{.succeeds_empty = true}});
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), bus_success);
    group.GetChildObjects(found);
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(thrown_by([&] { group.GetType(type); }), bus_no_property);
    EXPECT_EQ(type, "as it was");
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", value); }), bus_no_property);
    EXPECT_EQ(value, 42u);
}

TEST_F(Object, DestroyDeletesObject) {
    CZtObject group = object("dg2");
    EXPECT_EQ(group.Destroy(), bus_success);
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), bus_success);
    EXPECT_EQ(names(found), Names{L"dg1"});
}

TEST_F(Object, DestroyRejectsNullObject) {
    CZtObject null_object;
    std::uint32_t thrown = 0;
    EXPECT_EQ(
        calls_of([&] { thrown = thrown_by([&] { null_object.Destroy(); }); }, LAB_RECORD_SERVICE),
        Strings{});
    EXPECT_EQ(thrown, bus_null_object);
    EXPECT_EQ(traces,
              Strings{"6 clusapiprov: ERROR: in CZtObject::Destroy(), Cannot destroy a null "
                      "object."});
}

// Only the bus knows which id is the null id.
TEST_F(Object, DestroyComparesIdWithNullIdThroughBus) {
    const opal_objid null_id{};
    const auto same = [](const opal_objid* left, const opal_objid& right) {
        return std::memcmp(left, &right, sizeof right) == 0;
    };
    CZtObject group = object("dg2");
    CZtObject null_object(m_pair, null_id);
    std::uint32_t thrown = 0;
    {
        StandIn<decltype(ObCompareId)> compare(
            class_layer(), "ObCompareId", [&](const opal_objid* left, const opal_objid* right) {
                EXPECT_TRUE((same(left, group.id()) && same(right, null_id)) ||
                            (same(right, group.id()) && same(left, null_id)));
                return 0;
            });
        EXPECT_EQ(
            calls_of([&] { thrown = thrown_by([&] { group.Destroy(); }); }, LAB_RECORD_SERVICE),
            Strings{});
        EXPECT_EQ(compare.calls(), 1u);
    }
    EXPECT_EQ(thrown, bus_null_object);
    EXPECT_EQ(traces,
              Strings{"6 clusapiprov: ERROR: in CZtObject::Destroy(), Cannot destroy a null "
                      "object."});
    // Any value except 0 means that the ids differ.
    for (const std::int32_t other : {1, -1}) {
        StandIn<decltype(ObCompareId)> compare(class_layer(), "ObCompareId",
                                               [other](auto...) { return other; });
        set_faults({{.function = "ObDeleteObject", .returns = bus_unknown_object}});
        EXPECT_EQ(calls_of([&] { thrown = thrown_by([&] { null_object.Destroy(); }); },
                           LAB_RECORD_SERVICE),
                  Strings{"ObDeleteObject @null -> 0xc1000104"});
        EXPECT_EQ(thrown, bus_unknown_object);
    }
}

TEST_F(Object, DestroyReturnsInformationalStatus) {
    CZtObject group = object("dg2");
    set_faults({{.function = "ObDeleteObject", .returns_after_work = bus_same_value}});
    EXPECT_EQ(group.Destroy(), bus_same_value);
    EXPECT_EQ(traces, Strings{});
}

TEST_F(Object, DestroysTransactionWithObject) {
    {
        CZtObject group = object("dg1");
        group.transaction().Create();
        const CZtObject moved = std::move(group);
    }
    EXPECT_EQ(traces, Strings{});
    opal_propset kept = nullptr;
    {
        CZtObject group = object("dg1");
        group.transaction().Create();
        kept = group.transaction().handle();
        set_faults({{.function = "PsDestroyPropset", .call = 1, .returns = bus_invalid_argument}});
    }
    EXPECT_EQ(traces.back(), "4 ERROR: ~CZtObject(): __m_transaction.Destroy() failed");
    PsDestroyPropset(kept);
}

}  // namespace
