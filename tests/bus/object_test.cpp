#include "bus/database.h"
#include "bus/object.h"
#include "bus/traces.h"
#include "support/interposer.h"

#include <cstring>

namespace {

using namespace farlo;
using namespace bus_test;

class Objects : public ClassLayer {
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
    // Every object carries both words of the connection.
    void expect_connected(const std::vector<CZtObject>& objects) const {
        for (const CZtObject& one : objects) {
            EXPECT_EQ(one.pair().connection, m_pair.connection);
            EXPECT_EQ(one.pair().context, m_pair.context);
        }
    }
    using Names = std::vector<std::wstring>;
    ConnectionPair m_pair;
};

TEST_F(Objects, AllOfATypeInTheServicesOrder) {
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), 0u);
    EXPECT_EQ(names(found), (Names{L"dg1", L"dg2"}));
    expect_connected(found);
    // Appended.
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK, found), 0u);
    EXPECT_EQ(names(found), (Names{L"dg1", L"dg2", L"disk1"}));
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_PLEX, found), 0u);
    EXPECT_EQ(found.size(), 3u);
}

TEST_F(Objects, AFailedQueryIsTracedAndReturned) {
    std::vector<CZtObject> found;
    found.push_back(object("v1"));
    faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), 0xc1000001u);
    EXPECT_EQ(names(found), Names{L"v1"});
    EXPECT_EQ(traces, Texts{"5 WARNING: c1000001 in CZtDatabase::GetObjects() call to DbGetObjects "
                            "for all objects of type tamo_ztvm_diskgroup failed"});
    // Informational statuses are successes.
    faults(R"([{"function": "DbGetObjects", "after": "0x41000012"}])");
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), 0x41000012u);
    EXPECT_EQ(names(found), (Names{L"v1", L"dg1", L"dg2"}));
}

TEST_F(Objects, AFailedQueryByTextIsReturnedOnly) {
    std::vector<CZtObject> found;
    found.push_back(object("v1"));
    const wchar_t query[] = L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ dev2";
    faults(R"([{"function": "DbGetObjectsByQuery", "status": "0xc1000106"}])");
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, query, found), 0xc1000106u);
    EXPECT_EQ(names(found), Names{L"v1"});
    EXPECT_EQ(traces, Texts{});
    faults(R"([{"function": "DbGetObjectsByQuery", "after": "0x41000012"}])");
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, query, found), 0x41000012u);
    EXPECT_EQ(names(found), (Names{L"v1", L"v2"}));
}

TEST_F(Objects, QueriesInsertTheValueBare) {
    QueryText text;
    ASSERT_TRUE(text);
    EXPECT_TRUE(text.format(ZTTYPE_VOLUME, "DEVICE NAME", L"dev 1"));
    EXPECT_STREQ(text.c_str(), L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ dev 1");
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, text.c_str(), found), 0u);
    EXPECT_EQ(names(found), Names{L"v1"});
    expect_connected(found);
    EXPECT_TRUE(text.format("t", "p", L"a \"quoted\" value"));
    EXPECT_STREQ(text.c_str(), L"SELECT FROM t where \"p\" EQ a \"quoted\" value");
}

TEST_F(Objects, QuotesInAValueReachTheService) {
    object("v1").AddProperty(CZtProperty("DEVICE NAME", L"a \"b\" c"));
    QueryText text;
    ASSERT_TRUE(text.format(ZTTYPE_VOLUME, "DEVICE NAME", L"a \"b\" c"));
    std::vector<CZtObject> found;
    EXPECT_EQ(
        calls_of(
            [&] { EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, text.c_str(), found), 0u); },
            LAB_RECORD_SERVICE),
        Texts{R"(DbGetObjectsByQuery "SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" )"
              R"(EQ a \"b\" c" -> 0x0 [@v1])"});
    EXPECT_EQ(found.size(), 1u);
}

TEST_F(Objects, AQueryThatDoesNotFitIsRefused) {
    QueryText text;
    const std::size_t front = std::wcslen(L"SELECT FROM t where \"p\" EQ ");
    EXPECT_TRUE(text.format("t", "p", std::wstring(2047 - front, L'v').c_str()));
    EXPECT_EQ(std::wcslen(text.c_str()), 2047u);
    EXPECT_FALSE(text.format("t", "p", std::wstring(2048 - front, L'v').c_str()));
    EXPECT_STREQ(text.c_str(), L"");
    // The terminator counts.
    EXPECT_EQ(QueryText::value_capacity("t", "p"), 2048 - front);
    faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
    EXPECT_FALSE(QueryText());
}

TEST_F(Objects, PropertiesAreReadAndWritten) {
    CZtObject group = object("dg1");
    std::uint32_t type = 0;
    EXPECT_TRUE(group.GetProp("LDM DG TYPE", type));
    EXPECT_EQ(type, 2u);
    group.AddProperty(CZtProperty("own", std::uint32_t{5}));
    EXPECT_TRUE(group.GetProp("own", type));
    EXPECT_EQ(type, 5u);
    const opal_property raw = {"raw", TYPE_STR, 1, 2, "x"};
    group.AddProperty(raw);
    std::string text;
    EXPECT_TRUE(group.GetProp("raw", text));
    EXPECT_EQ(text, "x");
}

TEST_F(Objects, AbsentAndMistypedProperties) {
    const CZtObject group = object("dg1");
    std::uint32_t value = 42;
    EXPECT_FALSE(group.GetProp("none", value, true));
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(traces, Texts{});
    EXPECT_EQ(thrown_by([&] { group.GetProp("none", value); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { group.GetProp("Name", value); }), 0xc100003au);
    EXPECT_EQ(traces,
              (Texts{"4 clusapiprov: ERROR: CZtObject::GetProp() : Unable to find property none",
                     "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property Name is not of "
                     "TYPE_UINT32"}));
}

TEST_F(Objects, TracesAMalformedValueAsOneOfAnotherType) {
    const CZtObject group = object("dg1");
    std::wstring name = L"as it was";
    WideText in_place;
    std::uint32_t type = 42;
    faults(R"([{"function": "ObGetProperty", "lie": "unterminated"}])");
    EXPECT_EQ(thrown_by([&] { group.GetProp("Name", name, true); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { group.GetProp("Name", in_place); }), 0xc100003au);
    faults(R"([{"function": "ObGetProperty", "lie": "null"}])");
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", type); }), 0xc100003au);
    EXPECT_EQ(name, L"as it was");
    EXPECT_EQ(type, 42u);
    const std::string not_a_string =
        "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property Name is not of TYPE_WSTR";
    EXPECT_EQ(traces, (Texts{not_a_string, not_a_string,
                             "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property LDM DG "
                             "TYPE is not of TYPE_UINT32"}));
}

TEST_F(Objects, APropertyThatFailsForAnotherReason) {
    const CZtObject group = object("dg1");
    std::uint32_t value = 42;
    BusProperty property;
    faults(R"([{"function": "ObGetProperty", "status": "0xc1000001"}])");
    EXPECT_FALSE(group.GetProp("LDM DG TYPE", property, true));
    EXPECT_FALSE(group.GetProp("LDM DG TYPE", value, true));
    EXPECT_EQ(traces, Texts{});
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", property); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", value); }), 0xc1000001u);
    EXPECT_EQ(value, 42u);
    const std::string line =
        "4 clusapiprov: ERROR: CZtObject::GetProp() : Unable to find property LDM DG TYPE";
    EXPECT_EQ(traces, (Texts{line, line}));
    traces.clear();
    faults(R"([{"function": "ObGetProperty", "after": "0x41000012"}])");
    EXPECT_TRUE(group.GetProp("LDM DG TYPE", value));
    EXPECT_EQ(value, 2u);
    EXPECT_EQ(traces, Texts{});
}

TEST_F(Objects, Shortcuts) {
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

TEST_F(Objects, ShortcutsToWhatIsAbsent) {
    const CZtObject group = object("dg1");
    faults(R"([{"function": "ObGetProperty", "status": "0xc100003a"}])");
    EXPECT_EQ(thrown_by([&] { group.Name(); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { group.NameI18N(); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { group.State(); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { group.StateDescription(); }), 0xc100003au);
    const std::string line =
        "4 clusapiprov: ERROR: CZtObject::GetProp() : Unable to find property ";
    EXPECT_EQ(traces,
              (Texts{line + "Name", line + "NameI18N", line + "State", line + "StateDescription"}));
}

TEST_F(Objects, TypePropertiesChildrenAndParents) {
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

TEST_F(Objects, CallsThatFailAreTracedAndThrown) {
    CZtObject group = object("dg1");
    std::vector<CZtObject> found;
    found.push_back(object("v1"));
    std::string type = "as it was";
    CZtTempPropertySet properties;
    properties.AddProp("own", "as it was");
    const opal_property raw = {"raw", TYPE_STR, 1, 2, "x"};
    faults(R"([{"status": "0xc1000001"}])");
    EXPECT_EQ(thrown_by([&] { group.AddProperty(CZtProperty("p", true)); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.AddProperty(raw); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.Destroy(); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetProperties(properties); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetType(type); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetChildObjects(found); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetParentObjects(ZTTYPE_DISK, found); }), 0xc1000001u);
    EXPECT_EQ(
        traces,
        (Texts{"4 clusapiprov: ERROR: CZtObject::AddProperty(const CZtProperty &property): "
               "ObSetProperty failed",
               "4 clusapiprov: ERROR: CZtObject::AddProperty(const opal_property &property): "
               "ObSetProperty failed",
               "4 clusapiprov: ERROR: in CZtObject::Destroy() ObDeleteObject() failed",
               "4 clusapiprov: ERROR: in CZtObject::GetProperties() ObGetProperties() failed",
               "4 clusapiprov: ERROR: in CZtObject::GetType() ObGetObjectType() failed",
               "4 clusapiprov: ERROR: in CZtObject::GetChildObjects() ObGetChildObjects() failed",
               "4 clusapiprov: ERROR: in CZtObject::GetParentObjects(tamo_ztvm_disk) "
               "ObGetParentObjects() failed"}));
    faults(nullptr);
    EXPECT_EQ(type, "as it was");
    Texts keys;
    properties.GetKeys(keys);
    EXPECT_EQ(keys, Texts{"own"});
    EXPECT_EQ(names(found), Names{L"v1"});
}

TEST_F(Objects, ASuccessThatHandsOutNothing) {
    const CZtObject group = object("dg1");
    std::vector<CZtObject> found;
    std::string type = "as it was";
    std::uint32_t value = 42;
    faults(R"([{"nothing": true}])");
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), 0u);
    group.GetChildObjects(found);
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(thrown_by([&] { group.GetType(type); }), 0xc100003au);
    EXPECT_EQ(type, "as it was");
    EXPECT_EQ(thrown_by([&] { group.GetProp("LDM DG TYPE", value); }), 0xc100003au);
    EXPECT_EQ(value, 42u);
}

TEST_F(Objects, Deletion) {
    CZtObject group = object("dg2");
    EXPECT_EQ(group.Destroy(), 0u);
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, ZTTYPE_DISK_GROUP, found), 0u);
    EXPECT_EQ(names(found), Names{L"dg1"});
}

TEST_F(Objects, TheNullObjectIsNotDeleted) {
    CZtObject none;
    std::uint32_t thrown = 0;
    EXPECT_EQ(calls_of([&] { thrown = thrown_by([&] { none.Destroy(); }); }, LAB_RECORD_SERVICE),
              Texts{});
    EXPECT_EQ(thrown, 0xc1000010u);
    EXPECT_EQ(traces, Texts{"6 clusapiprov: ERROR: in CZtObject::Destroy(), Cannot destroy a null "
                            "object."});
}

// What the null id is, only the bus knows.
TEST_F(Objects, TheBusTellsTheNullObject) {
    const opal_objid null_id{};
    const auto same = [](const opal_objid* left, const opal_objid& right) {
        return std::memcmp(left, &right, sizeof right) == 0;
    };
    CZtObject group = object("dg2");
    CZtObject none(m_pair, null_id);
    std::uint32_t thrown = 0;
    {
        support::StandIn<decltype(ObCompareId)> compare(
            class_layer(), "ObCompareId", [&](const opal_objid* left, const opal_objid* right) {
                EXPECT_TRUE((same(left, group.id()) && same(right, null_id)) ||
                            (same(right, group.id()) && same(left, null_id)));
                return 0;
            });
        EXPECT_EQ(
            calls_of([&] { thrown = thrown_by([&] { group.Destroy(); }); }, LAB_RECORD_SERVICE),
            Texts{});
        EXPECT_EQ(compare.calls(), 1u);
    }
    EXPECT_EQ(thrown, 0xc1000010u);
    EXPECT_EQ(traces, Texts{"6 clusapiprov: ERROR: in CZtObject::Destroy(), Cannot destroy a null "
                            "object."});
    // Any value but 0 tells that the ids differ.
    for (const std::int32_t other : {1, -1}) {
        support::StandIn<decltype(ObCompareId)> compare(class_layer(), "ObCompareId",
                                                        [other](auto...) { return other; });
        faults(R"([{"function": "ObDeleteObject", "status": "0xc1000104"}])");
        EXPECT_EQ(
            calls_of([&] { thrown = thrown_by([&] { none.Destroy(); }); }, LAB_RECORD_SERVICE),
            Texts{"ObDeleteObject @null -> 0xc1000104"});
        EXPECT_EQ(thrown, 0xc1000104u);
    }
}

TEST_F(Objects, DeletionReturnsAnInformationalStatus) {
    CZtObject group = object("dg2");
    faults(R"([{"function": "ObDeleteObject", "after": "0x41000012"}])");
    EXPECT_EQ(group.Destroy(), 0x41000012u);
    EXPECT_EQ(traces, Texts{});
}

TEST_F(Objects, TheTransactionGoesWithTheObject) {
    {
        CZtObject group = object("dg1");
        group.transaction().Create();
        const CZtObject moved = std::move(group);
    }
    EXPECT_EQ(traces, Texts{});
    opal_propset kept = nullptr;
    {
        CZtObject group = object("dg1");
        group.transaction().Create();
        kept = group.transaction().handle();
        faults(R"([{"function": "PsDestroyPropset", "call": 1, "status": "0xc1000101"}])");
    }
    EXPECT_EQ(traces.back(), "4 ERROR: ~CZtObject(): __m_transaction.Destroy() failed");
    PsDestroyPropset(kept);
}

}  // namespace
