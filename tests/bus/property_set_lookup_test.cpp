// How property sets find and read properties: the order of the calls, the statuses, and the
// caller's value after a failure.
#include "bus/property_set.h"
#include "bus/traces.h"
#include "support/interposer.h"

#include <cstring>
#include <utility>

namespace {

using namespace farlo;
using namespace bus_test;
using namespace support;

class PropertyLookup : public ClassLayer {};

TEST_F(PropertyLookup, ThrowsStatusOfFailedLookup) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    set_faults({{.function = "PsFindProperty", .returns = bus_invalid_argument}});
    BusProperty property;
    EXPECT_EQ(thrown_by([&] { set.FindProperty("p", property); }), bus_invalid_argument);
    std::string value = "as it was";
    EXPECT_EQ(thrown_by([&] { set.GetProp("p", value); }), bus_invalid_argument);
    EXPECT_EQ(value, "as it was");
    const std::string line =
        "4 clusapiprov: ERROR: CZtPropertySet::FindProperty() : Unable to find property p";
    EXPECT_EQ(traces, (Strings{line, line}));
}

TEST_F(PropertyLookup, ReturnsFalseWhenLookupOfOptionalPropertyFails) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    set_faults({{.function = "PsFindProperty", .returns = bus_invalid_argument}});
    BusProperty property;
    EXPECT_FALSE(set.FindProperty("p", property, true));
    std::string value = "as it was";
    EXPECT_FALSE(set.GetProp("p", value, true));
    EXPECT_EQ(value, "as it was");
    EXPECT_EQ(traces, Strings{});
}

TEST_F(PropertyLookup, FreesPropertyAfterTrace) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    std::uint32_t number = 0;
    std::uint32_t thrown = 0;
    EXPECT_EQ(
        calls_of([&] { thrown = thrown_by([&] { set.GetProp("p", number); }); }),
        (Strings{R"(PsFindProperty #1 "p" -> 0x0 "p" STR "text")",
                 R"(ZtTrace 6 "clusapiprov: ERROR: CZtPropertySet::GetProp() : Property p is )"
                 R"(not of TYPE_UINT32")",
                 R"(PsFreeProperty "p" -> 0x0)"}));
    EXPECT_EQ(thrown, bus_no_property);
    std::string value;
    EXPECT_EQ(calls_of([&] { set.GetProp("p", value); }),
              (Strings{R"(PsFindProperty #1 "p" -> 0x0 "p" STR "text")",
                       R"(PsFreeProperty "p" -> 0x0)"}));
}

// The bus returned a property that it must get back, even if its name is NULL.
TEST_F(PropertyLookup, FreesPropertyWithoutName) {
    static std::uint32_t number;
    static std::vector<const void*> freed;
    number = 42;
    freed.clear();
    const Interposer find(
        class_layer(), "PsFindProperty",
        +[](opal_propset, const char*, opal_property* property) -> opal_status {
            *property = {nullptr, TYPE_UINT32, 1, sizeof number, &number};
            return ZTSTATUS_OK;
        });
    const Interposer free(
        class_layer(), "PsFreeProperty", +[](opal_property* property) -> opal_status {
            freed.push_back(property->value);
            return ZTSTATUS_OK;
        });
    const CZtPropertySet set;
    std::uint32_t value = 0;
    EXPECT_TRUE(set.GetProp("p", value));
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(freed, std::vector<const void*>{&number});
}

// Finds the property "other" in place of any other.
class Renaming : public CZtTempPropertySet {
  public:
    bool FindProperty(const char* name, BusProperty& property, bool optional) const override {
        lookups.emplace_back(name, optional);
        return CZtTempPropertySet::FindProperty("other", property, optional);
    }
    mutable std::vector<std::pair<std::string, bool>> lookups;
};

TEST_F(PropertyLookup, GetPropCallsVirtualFindProperty) {
    Renaming renaming;
    renaming.AddProp("p", "wrong");
    renaming.AddProp("other", "right");
    const CZtPropertySet& set = renaming;
    std::string value;
    EXPECT_TRUE(set.GetProp("p", value));
    EXPECT_EQ(value, "right");
    NarrowString in_place;
    EXPECT_TRUE(set.GetProp("p", in_place, true));
    EXPECT_STREQ(in_place.c_str(), "right");
    EXPECT_EQ(renaming.lookups,
              (std::vector<std::pair<std::string, bool>>{{"p", false}, {"p", true}}));
}

TEST_F(PropertyLookup, TreatsInformationalStatusAndWarningAsSuccess) {
    for (const std::uint32_t status : {bus_informational, bus_warning}) {
        SCOPED_TRACE(hex(status));
        const auto first_returns = [status](const char* function) {
            return FaultRule{.function = function, .call = 1, .returns_after_work = status};
        };
        set_faults({first_returns("PsCreatePropset"),
                    {.function = "PsAddProperty", .returns_after_work = status},
                    first_returns("PsFindProperty"),
                    first_returns("PsOpenPropset"),
                    first_returns("PsFindNextProperty"),
                    first_returns("PsDestroyPropset")});
        CZtPropertySet set;
        set.Create();
        ASSERT_NE(set.handle(), nullptr);
        set.AddProp("narrow", "a");
        set.AddProp("wide", L"b");
        set.AddProperty(CZtProperty("class", true));
        set.AddProperty(opal_property{"bus", TYPE_STR, 1, 2, "c"});
        std::string value;
        EXPECT_TRUE(set.GetProp("bus", value));
        EXPECT_EQ(value, "c");
        Strings names;
        set.GetKeys(names);
        EXPECT_EQ(names, (Strings{"narrow", "wide", "class", "bus"}));
        set.Destroy();
        EXPECT_EQ(set.handle(), nullptr);
    }
    EXPECT_EQ(traces, Strings{});
}

// ---------------------------------------------------- strings read in place

TEST_F(PropertyLookup, KeepsStringInPlaceWhenNextReadFails) {
    CZtTempPropertySet set;
    set.AddProp("narrow", "text");
    set.AddProp("wide", L"breit");
    set.AddProperty(CZtProperty("number", std::uint32_t{1}));
    NarrowString narrow;
    WideString wide;
    set.GetProp("narrow", narrow);
    set.GetProp("wide", wide);
    const auto expect_unchanged = [&] {
        EXPECT_STREQ(narrow.c_str(), "text");
        EXPECT_EQ(narrow.length(), 4u);
        EXPECT_STREQ(wide.c_str(), L"breit");
        EXPECT_EQ(wide.length(), 5u);
        // Their properties have not been freed.
        lab_live live;
        LabGetLive(&live);
        EXPECT_EQ(live.properties, 2u);
    };
    EXPECT_FALSE(set.GetProp("missing", narrow, true));
    EXPECT_FALSE(set.GetProp("missing", wide, true));
    expect_unchanged();
    EXPECT_EQ(thrown_by([&] { set.GetProp("missing", narrow); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("missing", wide); }), bus_no_property);
    expect_unchanged();
    EXPECT_EQ(thrown_by([&] { set.GetProp("number", narrow); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("number", wide); }), bus_no_property);
    expect_unchanged();
    set_faults({{.function = "PsFindProperty", .lie = "unterminated"}});
    traces.clear();
    EXPECT_EQ(thrown_by([&] { set.GetProp("narrow", narrow); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("wide", wide); }), bus_no_property);
    expect_unchanged();
    EXPECT_EQ(
        traces,
        (Strings{"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property narrow is not of "
                 "TYPE_STR",
                 "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property wide is not of "
                 "TYPE_WSTR"}));
}

TEST_F(PropertyLookup, ReadsNewStringInPlaceBeforeFreeingOldOne) {
    CZtTempPropertySet set;
    set.AddProp("first", "a longer text");
    set.AddProp("second", "text");
    NarrowString value;
    set.GetProp("first", value);
    EXPECT_EQ(calls_of([&] { set.GetProp("second", value); }),
              (Strings{R"(PsFindProperty #1 "second" -> 0x0 "second" STR "text")",
                       R"(PsFreeProperty "first" -> 0x0)"}));
    EXPECT_STREQ(value.c_str(), "text");
    EXPECT_EQ(value.length(), 4u);
}

// --------------------------------------------------------- sets and binaries

TEST_F(PropertyLookup, ThrowsStatusOfFailedCopyOfNestedSet) {
    CZtTempPropertySet one;
    one.AddProp("inner", "one");
    CZtTempPropertySet two;
    const opal_propset both[] = {one.handle(), two.handle()};
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("PROPSET", one.handle()));
    set.AddProperty(CZtProperty("PROPSETZ", TYPE_PROPSETZ, both, 2, sizeof both));
    CZtTempPropertySet own;
    own.AddProp("inner", "own");
    std::vector<CZtTempPropertySet> owns(1);
    owns.front().AddProp("inner", "owns");

    set_faults({{.function = "PsCopyPropset", .call = 1, .returns = bus_no_memory}});
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSET", own); }), bus_no_memory);
    // The first copy succeeds, the second does not.
    set_faults({{.function = "PsCopyPropset", .call = 2, .returns = bus_no_memory}});
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSETZ", owns); }), bus_no_memory);
    // bus_no_property of a failed copy is not traced as a wrong type.
    set_faults({{.function = "PsCopyPropset", .returns = bus_no_property}});
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSET", own); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSETZ", owns); }), bus_no_property);
    EXPECT_EQ(traces, Strings{});
    set_faults({});

    std::string value;
    own.GetProp("inner", value);
    EXPECT_EQ(value, "own");
    ASSERT_EQ(owns.size(), 1u);
    owns.front().GetProp("inner", value);
    EXPECT_EQ(value, "owns");
    set.GetProp("PROPSETZ", owns);
    ASSERT_EQ(owns.size(), 2u);
    owns.front().GetProp("inner", value);
    EXPECT_EQ(value, "one");
}

TEST_F(PropertyLookup, ThrowsNoMemoryForBinary) {
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("first", "xy", 2));
    set.AddProperty(CZtProperty("BINARY", "abc", 3));
    ZtBinary value;
    set.GetProp("first", value);
    set_faults({{.function = "_ZtAlloc", .succeeds_empty = true}});
    EXPECT_EQ(thrown_by([&] { set.GetProp("BINARY", value); }), bus_no_memory);
    EXPECT_EQ(traces,
              Strings{"4 clusapiprov: ERROR: CZtPropertySet::GetProp(TYPE_BINARY) : Unable to "
                      "allocate 3 memory for property BINARY"});
    ASSERT_EQ(value.size, 2u);
    EXPECT_EQ(std::memcmp(value.bytes.get(), "xy", 2), 0);
}

TEST_F(PropertyLookup, ReadsEmptyBinaryWithoutAllocation) {
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("first", "xy", 2));
    set.AddProperty(CZtProperty("BINARY", "", 0));
    ZtBinary value;
    set.GetProp("first", value);
    set_faults({{.function = "_ZtAlloc", .succeeds_empty = true}});
    EXPECT_TRUE(set.GetProp("BINARY", value));
    EXPECT_EQ(value.size, 0u);
    EXPECT_EQ(traces, Strings{});
}

TEST_F(PropertyLookup, ReadsWholeObjectIdsOfArrays) {
    const opal_objid ids[] = {{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
                              {{17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31, 32}}};
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("ids", TYPE_ZTOBJIDZ, ids, 2, sizeof ids));
    set.AddProperty(CZtProperty("guids", TYPE_GUIDZ, ids, 2, sizeof ids));
    for (const char* name : {"ids", "guids"}) {
        SCOPED_TRACE(name);
        std::vector<opal_objid> found;
        EXPECT_TRUE(set.GetProp(name, found));
        ASSERT_EQ(found.size(), 2u);
        EXPECT_EQ(std::memcmp(found.data(), ids, sizeof ids), 0);
    }
    EXPECT_EQ(traces, Strings{});
}

// ---------------------------------------------------------------------- keys

TEST_F(PropertyLookup, GetKeysReplacesListOfCaller) {
    CZtTempPropertySet set;
    set.AddProp("b", "x");
    set.AddProp("a", L"y");
    Strings names = {"as it was"};
    set.GetKeys(names);
    EXPECT_EQ(names, (Strings{"b", "a"}));
    // A second call starts again at the first property.
    set.GetKeys(names);
    EXPECT_EQ(names, (Strings{"b", "a"}));
    EXPECT_EQ(
        calls_of([&] { set.GetKeys(names); }),
        (Strings{"PsOpenPropset #1 -> 0x0", R"(PsFindNextProperty #1 -> 0x0 "b" STR "x")",
                 R"(PsFreeProperty "b" -> 0x0)", R"(PsFindNextProperty #1 -> 0x0 "a" WSTR "y")",
                 R"(PsFreeProperty "a" -> 0x0)", "PsFindNextProperty #1 -> 0xc1000107"}));
    CZtTempPropertySet empty;
    empty.GetKeys(names);
    EXPECT_EQ(names, Strings{});
}

TEST_F(PropertyLookup, GetKeysLeavesListUnchangedOnFailure) {
    CZtTempPropertySet set;
    set.AddProp("b", "x");
    set.AddProp("a", L"y");
    Strings names = {"as it was"};
    set_faults({{.function = "PsFindNextProperty", .call = 2, .returns = bus_no_memory}});
    EXPECT_EQ(thrown_by([&] { set.GetKeys(names); }), bus_no_memory);
    EXPECT_EQ(names, Strings{"as it was"});
    // A success that provides no property.
    set_faults({{.function = "PsFindNextProperty", .call = 2, .succeeds_empty = true}});
    EXPECT_EQ(thrown_by([&] { set.GetKeys(names); }), bus_no_property);
    EXPECT_EQ(names, Strings{"as it was"});
    EXPECT_EQ(traces, Strings{});
    set_faults({{.function = "PsOpenPropset", .returns = bus_invalid_argument}});
    EXPECT_EQ(thrown_by([&] { set.GetKeys(names); }), bus_invalid_argument);
    EXPECT_EQ(traces,
              Strings{"4 clusapiprov: ERROR: in CZtPropertySet::GetKeys() PsOpenPropset() failed"});
    traces.clear();
    const CZtPropertySet null_set;
    EXPECT_EQ(calls_of([&] {
                  EXPECT_EQ(thrown_by([&] { null_set.GetKeys(names); }), bus_invalid_argument);
              }),
              Strings{R"(ZtTrace 4 "clusapiprov: ERROR: in CZtPropertySet::GetKeys() Attempt to )"
                      R"(get keys on NULL propset failed")"});
    EXPECT_EQ(names, Strings{"as it was"});
}

}  // namespace
