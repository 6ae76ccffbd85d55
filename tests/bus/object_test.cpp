#include "object.h"

#include "database.h"
#include "traces.h"

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
    using Names = std::vector<std::wstring>;
    ConnectionPair m_pair;
};

TEST_F(Objects, AllOfATypeInTheServicesOrder) {
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, disk_group_type, found), 0u);
    EXPECT_EQ(names(found), (Names{L"dg1", L"dg2"}));
    EXPECT_EQ(found[0].pair().connection, m_pair.connection);
    EXPECT_EQ(found[0].pair().context, m_pair.context);
    // Appended.
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, disk_type, found), 0u);
    EXPECT_EQ(names(found), (Names{L"dg1", L"dg2", L"disk1"}));
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, plex_type, found), 0u);
    EXPECT_EQ(found.size(), 3u);
}

TEST_F(Objects, AFailedQueryIsTracedAndReturned) {
    std::vector<CZtObject> found;
    faults(R"([{"function": "DbGetObjects", "status": "0xc1000001"}])");
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, disk_group_type, found), 0xc1000001u);
    EXPECT_TRUE(found.empty());
    EXPECT_EQ(traces, Texts{"5 WARNING: c1000001 in CZtDatabase::GetObjects() call to DbGetObjects "
                            "for all objects of type tamo_ztvm_diskgroup failed"});
    // Informational statuses are successes.
    faults(R"([{"function": "DbGetObjects", "after": "0x41000012"}])");
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, disk_group_type, found), 0x41000012u);
}

TEST_F(Objects, QueriesInsertTheValueBare) {
    QueryText text;
    ASSERT_TRUE(text);
    EXPECT_TRUE(text.format(volume_type, "DEVICE NAME", L"dev 1"));
    EXPECT_STREQ(text.c_str(), L"SELECT FROM tamo_ztvm_volume where \"DEVICE NAME\" EQ dev 1");
    std::vector<CZtObject> found;
    EXPECT_EQ(CZtDatabase::GetObjectsByQuery(m_pair, text.c_str(), found), 0u);
    EXPECT_EQ(names(found), Names{L"v1"});
    EXPECT_TRUE(text.format("t", "p", L"a \"quoted\" value"));
    EXPECT_STREQ(text.c_str(), L"SELECT FROM t where \"p\" EQ a \"quoted\" value");
}

TEST_F(Objects, AQueryThatDoesNotFitIsRefused) {
    QueryText text;
    const std::size_t front = std::wcslen(L"SELECT FROM t where \"p\" EQ ");
    EXPECT_TRUE(text.format("t", "p", std::wstring(2047 - front, L'v').c_str()));
    EXPECT_EQ(std::wcslen(text.c_str()), 2047u);
    EXPECT_FALSE(text.format("t", "p", std::wstring(2048 - front, L'v').c_str()));
    EXPECT_STREQ(text.c_str(), L"");
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

TEST_F(Objects, Shortcuts) {
    const CZtObject group = object("dg1");
    EXPECT_EQ(group.Name(), L"dg1");
    EXPECT_EQ(group.NameI18N().name, "n");
    EXPECT_EQ(group.State(), 9u);
    EXPECT_EQ(group.StateDescription().message_id, 2u);
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
    group.GetChildObjects(children, volume_type);
    EXPECT_EQ(names(children), (Names{L"v1", L"v2"}));
    EXPECT_EQ(children[0].pair().connection, m_pair.connection);
    std::vector<CZtObject> parents;
    children[0].GetParentObjects(disk_group_type, parents);
    EXPECT_EQ(names(parents), Names{L"dg1"});
    children[0].GetParentObjects(disk_type, parents);
    EXPECT_EQ(parents.size(), 1u);
}

TEST_F(Objects, CallsThatFailAreTracedAndThrown) {
    CZtObject group = object("dg1");
    std::vector<CZtObject> found;
    std::string type;
    CZtTempPropertySet properties;
    const opal_property raw = {"raw", TYPE_STR, 1, 2, "x"};
    faults(R"([{"status": "0xc1000001"}])");
    EXPECT_EQ(thrown_by([&] { group.AddProperty(CZtProperty("p", true)); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.AddProperty(raw); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.Destroy(); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetProperties(properties); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetType(type); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetChildObjects(found); }), 0xc1000001u);
    EXPECT_EQ(thrown_by([&] { group.GetParentObjects(disk_type, found); }), 0xc1000001u);
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
}

TEST_F(Objects, ASuccessThatHandsOutNothing) {
    const CZtObject group = object("dg1");
    std::vector<CZtObject> found;
    std::string type;
    std::uint32_t value = 42;
    faults(R"([{"nothing": true}])");
    EXPECT_EQ(CZtDatabase::GetObjects(m_pair, disk_group_type, found), 0u);
    group.GetChildObjects(found);
    EXPECT_TRUE(found.empty());
    EXPECT_NE(thrown_by([&] { group.GetType(type); }), 0u);
    EXPECT_NE(thrown_by([&] { group.GetProp("LDM DG TYPE", value); }), 0u);
    EXPECT_EQ(value, 42u);
}

TEST_F(Objects, Deletion) {
    CZtObject group = object("dg2");
    EXPECT_EQ(group.Destroy(), 0u);
    std::vector<CZtObject> found;
    CZtDatabase::GetObjects(m_pair, disk_group_type, found);
    EXPECT_EQ(names(found), Names{L"dg1"});
}

TEST_F(Objects, TheNullObjectIsNotDeleted) {
    CZtObject none;
    LabRecorderStart(LAB_RECORD_SERVICE);
    EXPECT_EQ(thrown_by([&] { none.Destroy(); }), 0xc1000010u);
    LabRecorderStop();
    char calls[64];
    LabRecorderText(calls, sizeof calls);
    EXPECT_STREQ(calls, "");
    EXPECT_EQ(traces, Texts{"6 clusapiprov: ERROR: in CZtObject::Destroy(), Cannot destroy a null "
                            "object."});
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
