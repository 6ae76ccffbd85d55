// Property sets: they return what clients store, for every type.
#include "lab/bus_fixture.h"
#include "lab/every_type.h"

using namespace lab_tests;
using testing::ElementsAre;

namespace {

class PropertySets : public BusTest {
  protected:
    void SetUp() override {
        BusTest::SetUp();
        ASSERT_EQ(PsCreatePropset(&set), ZTSTATUS_OK);
    }
    void TearDown() override {
        EXPECT_EQ(PsDestroyPropset(set), ZTSTATUS_OK);
        BusTest::TearDown();
    }

    opal_status add(const opal_property& property) { return PsAddProperty(set, &property); }
    std::uint32_t number(opal_propset from, const char* name) {
        opal_property found;
        EXPECT_EQ(PsFindProperty(from, name, &found), ZTSTATUS_OK);
        const std::uint32_t value = number_of(found);
        PsFreeProperty(&found);
        return value;
    }
    std::vector<std::string> walk(opal_propset from) {
        std::vector<std::string> names;
        EXPECT_EQ(PsOpenPropset(from), ZTSTATUS_OK);
        opal_property property;
        while (PsFindNextProperty(from, &property) == ZTSTATUS_OK) {
            names.push_back(property.name);
            PsFreeProperty(&property);
        }
        EXPECT_EQ(PsFindNextProperty(from, &property), ZTERROR_END_OF_SET);
        return names;
    }

    opal_propset set = nullptr;
    const std::uint32_t seven = 7;
    const std::uint32_t eight = 8;
};

TEST_F(PropertySets, ReturnValuesOfEveryType) {
    for (const TypeCase& type : every_type()) {
        SCOPED_TRACE(type.type);
        load_scenario(scenario_with(type));
        const opal_objid o = object("o");
        opal_property read;
        ASSERT_EQ(ObGetProperty(connection, context, &o, "p", &read), ZTSTATUS_OK);
        opal_propset other;
        ASSERT_EQ(PsCreatePropset(&other), ZTSTATUS_OK);
        EXPECT_EQ(PsAddProperty(other, &read), ZTSTATUS_OK);
        EXPECT_EQ(PsSetProperty(other, &read), ZTSTATUS_SAME_VALUE);
        EXPECT_EQ(PsFreeProperty(&read), ZTSTATUS_OK);

        opal_property found;
        ASSERT_EQ(PsFindProperty(other, "p", &found), ZTSTATUS_OK);
        EXPECT_STREQ(found.name, "p");
        EXPECT_EQ(found.type, type.tag);
        EXPECT_EQ(found.count, type.count);
        EXPECT_EQ(found.size, type.size);
        type.expect_value(found.value);
        EXPECT_EQ(PsDestroyPropset(other), ZTSTATUS_OK);
        type.expect_value(found.value);  // a copy, so it outlives the set
        EXPECT_EQ(PsFreeProperty(&found), ZTSTATUS_OK);
        EXPECT_EQ(found.name, nullptr);
        EXPECT_EQ(found.value, nullptr);
    }
}

TEST_F(PropertySets, KeepInsertionOrder) {
    EXPECT_EQ(add(number_property("z", seven)), ZTSTATUS_OK);
    EXPECT_EQ(add(text_property("a", "text")), ZTSTATUS_OK);
    EXPECT_EQ(add(wide_property("m", L"wide")), ZTSTATUS_OK);
    EXPECT_THAT(walk(set), ElementsAre("z", "a", "m"));
    const opal_property other = number_property("z", eight);
    EXPECT_EQ(PsSetProperty(set, &other), ZTSTATUS_OK);
    EXPECT_THAT(walk(set), ElementsAre("z", "a", "m"));
    EXPECT_EQ(number(set, "z"), 8u);
}

TEST_F(PropertySets, RejectDuplicateNames) {
    EXPECT_EQ(add(number_property("n", seven)), ZTSTATUS_OK);
    EXPECT_EQ(add(number_property("n", eight)), ZTERROR_DUPLICATE);
    EXPECT_EQ(number(set, "n"), 7u);
    EXPECT_EQ(add(number_property("N", eight)), ZTSTATUS_OK);  // names are case-sensitive
    EXPECT_THAT(walk(set), ElementsAre("n", "N"));
}

TEST_F(PropertySets, ReplaceOrAppendWhenSet) {
    const opal_property first = number_property("n", seven);
    const opal_property other_value = number_property("n", eight);
    const opal_property other_type = text_property("n", "8");
    EXPECT_EQ(PsSetProperty(set, &first), ZTSTATUS_OK);
    EXPECT_EQ(PsSetProperty(set, &first), ZTSTATUS_SAME_VALUE);
    EXPECT_EQ(PsSetProperty(set, &other_value), ZTSTATUS_OK);
    EXPECT_EQ(PsSetProperty(set, &other_type), ZTSTATUS_OK);
    opal_property found;
    ASSERT_EQ(PsFindProperty(set, "n", &found), ZTSTATUS_OK);
    EXPECT_EQ(text_of(found), "8");
    PsFreeProperty(&found);
}

TEST_F(PropertySets, ReportMissingProperties) {
    opal_property untouched{"name", 1, 2, 3, "value"};
    EXPECT_EQ(PsFindProperty(set, "n", &untouched), ZTERROR_PROPERTY);
    EXPECT_STREQ(untouched.name, "name");
    EXPECT_EQ(untouched.size, 3u);
}

TEST_F(PropertySets, IterateFromTheStartWhenOpened) {
    add(number_property("a", seven));
    add(number_property("b", seven));
    opal_property property;
    ASSERT_EQ(PsFindNextProperty(set, &property), ZTSTATUS_OK);
    EXPECT_STREQ(property.name, "a");
    PsFreeProperty(&property);
    EXPECT_THAT(walk(set), ElementsAre("a", "b"));
    EXPECT_THAT(walk(set), ElementsAre("a", "b"));
}

TEST_F(PropertySets, CopyAllProperties) {
    add(number_property("a", seven));
    opal_propset copy;
    ASSERT_EQ(PsCopyPropset(set, &copy), ZTSTATUS_OK);
    const opal_property changed = number_property("a", eight);
    PsSetProperty(set, &changed);
    add(number_property("b", eight));
    EXPECT_THAT(walk(copy), ElementsAre("a"));
    EXPECT_EQ(number(copy, "a"), 7u);
    EXPECT_EQ(PsDestroyPropset(copy), ZTSTATUS_OK);
}

TEST_F(PropertySets, StoreCopiesOfNestedSets) {
    opal_propset inner;
    ASSERT_EQ(PsCreatePropset(&inner), ZTSTATUS_OK);
    const opal_property n = number_property("n", seven);
    PsAddProperty(inner, &n);
    EXPECT_EQ(add({"inner", TYPE_PROPSET, 1, sizeof inner, &inner}), ZTSTATUS_OK);
    EXPECT_EQ(PsDestroyPropset(inner), ZTSTATUS_OK);
    opal_property found;
    ASSERT_EQ(PsFindProperty(set, "inner", &found), ZTSTATUS_OK);
    EXPECT_EQ(number(*static_cast<const opal_propset*>(found.value), "n"), 7u);
    PsFreeProperty(&found);
}

TEST_F(PropertySets, CountUndestroyedSetsAndProperties) {
    const lab_live before = live();
    opal_propset other;
    PsCreatePropset(&other);
    EXPECT_EQ(live().property_sets, before.property_sets + 1);
    add(number_property("n", seven));
    opal_property found;
    PsFindProperty(set, "n", &found);
    EXPECT_EQ(live().properties, before.properties + 1);
    PsFreeProperty(&found);
    EXPECT_EQ(PsFreeProperty(&found), ZTSTATUS_OK);  // does nothing for a cleared record
    EXPECT_EQ(live().properties, before.properties);
    PsDestroyPropset(other);
    EXPECT_EQ(live().property_sets, before.property_sets);
}

TEST_F(PropertySets, RejectInvalidArguments) {
    opal_property property = number_property("n", seven);
    opal_propset copy;
    EXPECT_EQ(PsCreatePropset(nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsDestroyPropset(nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsAddProperty(nullptr, &property), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsAddProperty(set, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsSetProperty(nullptr, &property), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsSetProperty(set, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsFindProperty(nullptr, "n", &property), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsFindProperty(set, nullptr, &property), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsFindProperty(set, "n", nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsOpenPropset(nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsFindNextProperty(nullptr, &property), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsFindNextProperty(set, nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsFreeProperty(nullptr), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsCopyPropset(nullptr, &copy), ZTERROR_INVALID_ARGUMENT);
    EXPECT_EQ(PsCopyPropset(set, nullptr), ZTERROR_INVALID_ARGUMENT);
}

// A client's property must hold what its type, count and size say.
TEST_F(PropertySets, RejectMalformedProperties) {
    const std::uint64_t room[2] = {0x4141414141414141, 0x4141414141414141};
    const char* no_texts[1] = {nullptr};
    const opal_propset no_set = nullptr;
    const opal_i18n no_name{1, nullptr, "c"};
    const opal_i18n_format no_insertions{"s", 1, nullptr};
    opal_insertion neither{nullptr, nullptr};
    const opal_i18n_format empty_insertion{"s", 1, &neither};
    const opal_property malformed[] = {
        {nullptr, TYPE_UINT32, 1, 4, room},
        {"x", 0, 1, 4, room},
        {"x", 12, 1, 4, room},
        {"x", TYPE_ARRAY_BIT | TYPE_BINARY, 1, 4, room},
        {"x", TYPE_UINT32, 1, 3, room},
        {"x", TYPE_UINT32, 1, 8, room},
        {"x", TYPE_UINT32, 1, 0, nullptr},
        {"x", TYPE_UINT32, 1, 4, nullptr},
        {"x", TYPE_UINT32, 0, 0, nullptr},
        {"x", TYPE_UINT32, 2, 8, room},
        {"x", TYPE_UINT32Z, 3, 8, room},
        {"x", TYPE_UINT32Z, 0xffffffff, 8, room},
        {"x", TYPE_BOOLEANZ, 2, 4, room},
        {"x", TYPE_GUID, 1, 8, room},
        {"x", TYPE_STR, 1, 16, room},   // no terminator within its size
        {"x", TYPE_WSTR, 1, 16, room},  // the same
        {"x", TYPE_STR, 1, 0, nullptr},
        {"x", TYPE_WSTR, 1, 1, L""},  // half a character
        {"x", TYPE_BINARY, 1, 4, nullptr},
        {"x", TYPE_STRZ, 1, sizeof no_texts, no_texts},
        {"x", TYPE_PROPSET, 1, sizeof no_set, &no_set},
        {"x", TYPE_I18N, 1, sizeof no_name, &no_name},
        {"x", TYPE_I18NFORMATSTRING, 1, sizeof no_insertions, &no_insertions},
        {"x", TYPE_I18NFORMATSTRING, 1, sizeof empty_insertion, &empty_insertion},
    };
    const opal_objid service = object("service");
    for (const opal_property& property : malformed) {
        SCOPED_TRACE(&property - malformed);
        EXPECT_EQ(PsAddProperty(set, &property), ZTERROR_INVALID_ARGUMENT);
        EXPECT_EQ(PsSetProperty(set, &property), ZTERROR_INVALID_ARGUMENT);
        EXPECT_EQ(ObSetProperty(connection, context, &service, &property),
                  ZTERROR_INVALID_ARGUMENT);
    }
    EXPECT_TRUE(walk(set).empty());
    EXPECT_EQ(add({"empty", TYPE_BINARY, 1, 0, nullptr}), ZTSTATUS_OK);
    EXPECT_EQ(add({"none", TYPE_WSTRZ, 0, 0, nullptr}), ZTSTATUS_OK);
}

}  // namespace
