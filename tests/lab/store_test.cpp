// Objects, relations and queries of the lab's storage.
#include "lab/store_fixture.h"

#include <windows.h>

#include <atomic>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class StoreObjects : public lab_tests::StoreTest {
  protected:
    void SetUp() override {
        load(R"({"disk_groups": [
            {"name": "dg1", "dgid": "id-1",
             "disks": [{"name": "d1"}, {"name": "d2"}],
             "volumes": [{"name": "v1", "device": "\\Device\\v1", "file_system": {"id": "fs1"},
                          "plexes": [{"name": "p1", "subdisks": [{"name": "s1", "disk": "d2"}]}]}]},
            {"name": "dg2", "dgid": "id-2"},
            {"name": "late", "dgid": "id-3", "hidden": true,
             "volumes": [{"name": "v3", "device": "\\Device\\v3", "file_system": {"id": "fs3"},
                          "plexes": [{"name": "p3", "subdisks": [{"name": "s3"}]}]}]}]})");
    }
};

TEST_F(StoreObjects, KeepTheOrderOfTheScenario) {
    EXPECT_THAT(of_type(ZTTYPE_DISK_GROUP), ElementsAre("dg1", "dg2"));
    EXPECT_THAT(of_type(ZTTYPE_DISK), ElementsAre("d1", "d2"));
    EXPECT_THAT(of_type(ZTTYPE_CLUSTER_SERVICE), ElementsAre("service"));
    EXPECT_THAT(of_type(ZTTYPE_MISC), ElementsAre("misc"));
    EXPECT_THAT(of_type("no such type"), IsEmpty());
}

TEST_F(StoreObjects, HaveParentsAndChildren) {
    EXPECT_THAT(children("dg1"), ElementsAre("d1", "d2", "v1"));
    EXPECT_THAT(children("dg1", ZTTYPE_VOLUME), ElementsAre("v1"));
    EXPECT_THAT(children("dg1", ZTTYPE_PLEX), IsEmpty());
    EXPECT_THAT(children("v1"), ElementsAre("fs1", "p1"));
    EXPECT_THAT(children("p1"), ElementsAre("s1"));
    EXPECT_THAT(children("d2"), ElementsAre("s1"));
    EXPECT_THAT(parents("s1"), ElementsAre("p1", "d2"));
    EXPECT_THAT(parents("s1", ZTTYPE_DISK), ElementsAre("d2"));
    EXPECT_THAT(parents("fs1"), ElementsAre("v1"));
    EXPECT_THAT(parents("v1", ZTTYPE_DISK_GROUP), ElementsAre("dg1"));
    EXPECT_THAT(parents("dg1"), IsEmpty());
}

TEST_F(StoreObjects, HaveTypes) {
    std::string type;
    EXPECT_EQ(store->get_type(id("s1"), type), ZTSTATUS_OK);
    EXPECT_EQ(type, ZTTYPE_SUBDISK);
    EXPECT_EQ(store->get_type(id("fs1"), type), ZTSTATUS_OK);
    EXPECT_EQ(type, ZTTYPE_FILE_SYSTEM);
}

TEST_F(StoreObjects, AreUnknownWhileHidden) {
    for (const char* name : {"late", "v3", "fs3", "p3", "s3"}) {
        std::string type;
        lab::Value value;
        EXPECT_EQ(store->get_type(id(name), type), ZTERROR_UNKNOWN_OBJECT) << name;
        EXPECT_EQ(store->get_property(id(name), "Name", value), ZTERROR_UNKNOWN_OBJECT) << name;
    }
    EXPECT_THAT(of_type(ZTTYPE_VOLUME), ElementsAre("v1"));
    EXPECT_THAT(query(L"SELECT FROM " ZTTYPE_VOLUME L" where \"Name\" EQ v3"), IsEmpty());
}

TEST_F(StoreObjects, AreNoParentsOrChildrenWhileHidden) {
    load(R"({"objects": [{"name": "top", "type": "t"},
                         {"name": "ghost", "type": "t", "hidden": true},
                         {"name": "child", "type": "t", "parents": ["top", "ghost"]},
                         {"name": "hidden child", "type": "t", "hidden": true,
                          "parents": ["top"]}]})");
    EXPECT_THAT(children("top"), ElementsAre("child"));
    EXPECT_THAT(parents("child"), ElementsAre("top"));
}

TEST_F(StoreObjects, AreDistinguishedFromTheNullId) {
    const opal_objid null_id{};
    opal_objid unknown{};
    unknown.bytes[3] = 0xff;
    lab::Value value;
    lab::PropertySet set;
    std::string type;
    std::vector<opal_objid> ids;
    const auto statuses = [&](const opal_objid& object) {
        return std::vector<opal_status>{store->get_property(object, "Name", value),
                                        store->set_property(object, {"a", lab::uint32_value(1)}),
                                        store->get_properties(object, set),
                                        store->get_type(object, type),
                                        store->get_children(object, "", ids),
                                        store->get_parents(object, "", ids),
                                        store->delete_object(object),
                                        store->invoke(object, GUID{}, 0, 1, {}, set)};
    };
    EXPECT_THAT(statuses(null_id), testing::Each(ZTERROR_NULL_OBJECT));
    EXPECT_THAT(statuses(unknown), testing::Each(ZTERROR_UNKNOWN_OBJECT));
    EXPECT_EQ(store->name_of(null_id), "null");
    EXPECT_EQ(store->name_of(unknown), "000000ff000000000000000000000000");
}

TEST_F(StoreObjects, AreUnknownInAnotherStore) {
    const opal_objid before = id("dg1");
    load(R"({"disk_groups": [{"name": "dg1", "dgid": "id-1"}]})");
    std::string type;
    EXPECT_EQ(store->get_type(before, type), ZTERROR_UNKNOWN_OBJECT);
}

TEST_F(StoreObjects, StoreWrittenProperties) {
    EXPECT_EQ(store->set_property(id("dg2"), {"new", lab::uint32_value(7)}), ZTSTATUS_OK);
    EXPECT_EQ(property("dg2", "new"), "UINT32 7");
    EXPECT_EQ(store->set_property(id("dg2"), {"new", lab::string_value("seven")}), ZTSTATUS_OK);
    EXPECT_EQ(property("dg2", "new"), "STR \"seven\"");
    EXPECT_EQ(property("dg1", "new"), "");
    lab::PropertySet all;
    EXPECT_EQ(store->get_properties(id("dg2"), all), ZTSTATUS_OK);
    EXPECT_EQ(all.front().name, "Name");
    EXPECT_EQ(all.back().name, "new");
}

TEST_F(StoreObjects, DisappearWhenDeleted) {
    EXPECT_EQ(query(L"SELECT FROM " ZTTYPE_VOLUME L" where \"Name\" EQ v1").size(), 1u);
    const opal_objid volume = id("v1");
    EXPECT_EQ(store->delete_object(volume), ZTSTATUS_OK);
    EXPECT_EQ(store->delete_object(volume), ZTERROR_UNKNOWN_OBJECT);
    EXPECT_THAT(of_type(ZTTYPE_VOLUME), IsEmpty());
    EXPECT_THAT(children("dg1"), ElementsAre("d1", "d2"));
    EXPECT_THAT(parents("p1"), IsEmpty());
    EXPECT_THAT(query(L"SELECT FROM " ZTTYPE_VOLUME L" where \"Name\" EQ v1"), IsEmpty());
}

class StoreQuery : public lab_tests::StoreTest {
  protected:
    void SetUp() override {
        load(R"({"objects": [
            {"name": "a", "type": "thing", "properties": {
                "text": {"type": "WSTR", "value": "Mixed Case"},
                "narrow": {"type": "STR", "value": "x\"y"},
                "number": {"type": "UINT32", "value": 2882343476},
                "negative": {"type": "INT64", "value": -5},
                "flag": {"type": "BOOLEAN", "value": true},
                "guid": {"type": "GUID", "value": "{00112233-4455-6677-8899-aabbccddeeff}"},
                "array": {"type": "WSTRZ", "value": ["one"]},
                "far": {"type": "WSTR", "value": "\u65e5\u672c"}}},
            {"name": "b", "type": "thing", "properties": {
                "text": {"type": "WSTR", "value": "MIXED CASE"},
                "number": {"type": "INT32", "value": 5},
                "far": {"type": "WSTR", "value": "\u97d3\u56fd"},
                "accent": {"type": "WSTR", "value": "\u00c9t\u00e9"}}},
            {"name": "c", "type": "other", "properties": {
                "text": {"type": "WSTR", "value": "Mixed Case"}}}]})");
    }
    std::vector<std::string> where(const std::wstring& condition) {
        return query(L"SELECT FROM thing where " + condition);
    }
};

TEST_F(StoreQuery, ComparesStringsIgnoringCase) {
    EXPECT_THAT(where(L"\"text\" EQ mixed case"), ElementsAre("a", "b"));
    EXPECT_THAT(where(L"\"number\" EQ 2882343476"), ElementsAre("a"));
    EXPECT_THAT(where(L"\"number\" EQ 5"), ElementsAre("b"));
    EXPECT_THAT(where(L"\"negative\" EQ -5"), ElementsAre("a"));
    EXPECT_THAT(where(L"\"flag\" EQ TRUE"), ElementsAre("a"));
    EXPECT_THAT(where(L"\"guid\" EQ {00112233-4455-6677-8899-AABBCCDDEEFF}"), ElementsAre("a"));
    EXPECT_THAT(where(L"\"accent\" EQ \u00e9T\u00c9"), ElementsAre("b"));
    EXPECT_THAT(where(L"\"far\" EQ \u97d3\u56fd"), ElementsAre("b"));
    EXPECT_THAT(where(L"\"array\" EQ one"), IsEmpty());
    EXPECT_THAT(where(L"\"none\" EQ one"), IsEmpty());
}

TEST_F(StoreQuery, ComparesTheValueLiterally) {
    EXPECT_THAT(where(L"\"narrow\" EQ x\"y"), ElementsAre("a"));
    EXPECT_THAT(where(L"\"text\" EQ \"mixed case\""), IsEmpty());
    EXPECT_THAT(where(L"\"text\" EQ mixed case "), IsEmpty());
    EXPECT_THAT(where(L"\"text\" EQ "), IsEmpty());
}

TEST_F(StoreQuery, FindsChangedAndDeletedObjects) {
    EXPECT_THAT(where(L"\"text\" EQ mixed case"), ElementsAre("a", "b"));
    store->set_property(id("a"), {"text", lab::wide_value(L"else")});
    EXPECT_THAT(where(L"\"text\" EQ mixed case"), ElementsAre("b"));
    EXPECT_THAT(where(L"\"text\" EQ else"), ElementsAre("a"));
    store->set_property(id("b"), {"text", lab::wide_value(L"ELSE")});
    EXPECT_THAT(where(L"\"text\" EQ else"), ElementsAre("a", "b"));
    store->delete_object(id("a"));
    EXPECT_THAT(where(L"\"text\" EQ else"), ElementsAre("b"));
}

TEST_F(StoreQuery, RejectsMalformedQueries) {
    std::vector<opal_objid> ids(1);
    for (const wchar_t* text :
         {L"", L"SELECT", L"SELECT FROM thing", L"SELECT FROM thing where text EQ a",
          L"SELECT FROM thing where \"text\" = a", L"select from thing where \"text\" EQ a",
          L"SELECT FROM  where \"text\" EQ a", L"SELECT FROM thing where \"\" EQ a"}) {
        EXPECT_EQ(store->query(text, ids), ZTERROR_BAD_QUERY) << testing::PrintToString(text);
    }
    EXPECT_EQ(ids.size(), 1u);  // unchanged on failure
}

// Reads, writes, queries and imports on several threads.
class StoreThreads : public lab_tests::StoreTest {
  protected:
    struct Worker {
        lab::Store* store;
        opal_objid group;
        std::atomic<int>* failures;
    };
    static constexpr int rounds = 500;

    static DWORD WINAPI work(void* argument) {
        const Worker& worker = *static_cast<Worker*>(argument);
        for (int i = 0; i < rounds; ++i) {
            std::vector<opal_objid> ids;
            lab::Value value;
            const lab::Property written{"Name", lab::wide_value(i % 2 == 0 ? L"even" : L"odd")};
            if (worker.store->set_property(worker.group, written) != ZTSTATUS_OK ||
                worker.store->get_property(worker.group, "Name", value) != ZTSTATUS_OK ||
                !lab::same(value, written.value) ||
                worker.store->query(L"SELECT FROM " ZTTYPE_DISK_GROUP L" where \"Name\" EQ even",
                                    ids) != ZTSTATUS_OK ||
                ids.size() > 4) {
                ++*worker.failures;
            }
        }
        return 0;
    }
};

TEST_F(StoreThreads, ReadWriteQueryAndImportConcurrently) {
    load(R"({"disk_groups": [{"name": "dg#", "dgid": "#", "count": 4}]})");
    std::atomic<int> failures{0};
    Worker workers[4];
    HANDLE threads[4];
    for (int i = 0; i < 4; ++i) {
        workers[i] = {store.get(), id("dg" + std::to_string(i + 1)), &failures};
        threads[i] = CreateThread(nullptr, 0, work, &workers[i], 0, nullptr);
        ASSERT_NE(threads[i], nullptr);
    }
    EXPECT_EQ(WaitForMultipleObjects(4, threads, TRUE, INFINITE), WAIT_OBJECT_0);
    for (const HANDLE thread : threads) {
        CloseHandle(thread);
    }
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(query(L"SELECT FROM " ZTTYPE_DISK_GROUP L" where \"Name\" EQ odd").size(), 4u);
}

}  // namespace
