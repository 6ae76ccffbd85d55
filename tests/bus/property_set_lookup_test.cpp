// How properties are found and read: order of the calls, statuses, what becomes
// of the caller's value.
#include "bus/property_set.h"
#include "bus/traces.h"
#include "support/interposer.h"

#include <cstring>
#include <utility>

namespace {

using namespace farlo;
using namespace bus_test;

class PropertyLookup : public ClassLayer {};

TEST_F(PropertyLookup, AnyFailureOfTheBusIsPassedOn) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    faults(R"([{"function": "PsFindProperty", "status": "0xc1000101"}])");
    BusProperty property;
    EXPECT_EQ(thrown_by([&] { set.FindProperty("p", property); }), 0xc1000101u);
    std::string text = "as it was";
    EXPECT_EQ(thrown_by([&] { set.GetProp("p", text); }), 0xc1000101u);
    EXPECT_EQ(text, "as it was");
    const std::string line =
        "4 clusapiprov: ERROR: CZtPropertySet::FindProperty() : Unable to find property p";
    EXPECT_EQ(traces, (Texts{line, line}));
}

TEST_F(PropertyLookup, AnOptionalPropertyMayFailForAnyReason) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    faults(R"([{"function": "PsFindProperty", "status": "0xc1000101"}])");
    BusProperty property;
    EXPECT_FALSE(set.FindProperty("p", property, true));
    std::string text = "as it was";
    EXPECT_FALSE(set.GetProp("p", text, true));
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(traces, Texts{});
}

TEST_F(PropertyLookup, APropertyIsFreedBehindItsTrace) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    std::uint32_t number = 0;
    std::uint32_t thrown = 0;
    EXPECT_EQ(calls_of([&] { thrown = thrown_by([&] { set.GetProp("p", number); }); }),
              (Texts{R"(PsFindProperty #1 "p" -> 0x0 "p" STR "text")",
                     R"(ZtTrace 6 "clusapiprov: ERROR: CZtPropertySet::GetProp() : Property p is )"
                     R"(not of TYPE_UINT32")",
                     R"(PsFreeProperty "p" -> 0x0)"}));
    EXPECT_EQ(thrown, 0xc100003au);
    std::string text;
    EXPECT_EQ(
        calls_of([&] { set.GetProp("p", text); }),
        (Texts{R"(PsFindProperty #1 "p" -> 0x0 "p" STR "text")", R"(PsFreeProperty "p" -> 0x0)"}));
}

// What the bus gave is given back to it, be it not whole.
TEST_F(PropertyLookup, AValueWithoutANameIsFreedToo) {
    static std::uint32_t number;
    static std::vector<const void*> freed;
    number = 42;
    freed.clear();
    const support::Interposer find(
        class_layer(), "PsFindProperty",
        +[](opal_propset, const char*, opal_property* property) -> opal_status {
            *property = {nullptr, TYPE_UINT32, 1, sizeof number, &number};
            return ZTSTATUS_OK;
        });
    const support::Interposer free(
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

// A set that finds something else than it is asked for.
class Renaming : public CZtTempPropertySet {
  public:
    bool FindProperty(const char* name, BusProperty& property, bool optional) const override {
        asked.emplace_back(name, optional);
        return CZtTempPropertySet::FindProperty("other", property, optional);
    }
    mutable std::vector<std::pair<std::string, bool>> asked;
};

TEST_F(PropertyLookup, GetPropCallsTheVirtualFindProperty) {
    Renaming renaming;
    renaming.AddProp("p", "wrong");
    renaming.AddProp("other", "right");
    const CZtPropertySet& set = renaming;
    std::string text;
    EXPECT_TRUE(set.GetProp("p", text));
    EXPECT_EQ(text, "right");
    NarrowText in_place;
    EXPECT_TRUE(set.GetProp("p", in_place, true));
    EXPECT_STREQ(in_place.c_str(), "right");
    EXPECT_EQ(renaming.asked,
              (std::vector<std::pair<std::string, bool>>{{"p", false}, {"p", true}}));
}

TEST_F(PropertyLookup, InformationalStatusesAreSuccesses) {
    for (const std::string status : {"0x41000013", "0x81000001"}) {
        SCOPED_TRACE(status);
        const auto after = [&status](const std::string& function) {
            return R"({"function": ")" + function + R"(", "call": 1, "after": ")" + status + "\"}";
        };
        const std::string adds = R"({"function": "PsAddProperty", "after": ")" + status + "\"}";
        const std::string plan = "[" + after("PsCreatePropset") + "," + adds + "," +
                                 after("PsFindProperty") + "," + after("PsOpenPropset") + "," +
                                 after("PsFindNextProperty") + "," + after("PsDestroyPropset") +
                                 "]";
        faults(plan.c_str());
        CZtPropertySet set;
        set.Create();
        ASSERT_NE(set.handle(), nullptr);
        set.AddProp("narrow", "a");
        set.AddProp("wide", L"b");
        set.AddProperty(CZtProperty("class", true));
        set.AddProperty(opal_property{"bus", TYPE_STR, 1, 2, "c"});
        std::string text;
        EXPECT_TRUE(set.GetProp("bus", text));
        EXPECT_EQ(text, "c");
        Texts names;
        set.GetKeys(names);
        EXPECT_EQ(names, (Texts{"narrow", "wide", "class", "bus"}));
        set.Destroy();
        EXPECT_EQ(set.handle(), nullptr);
    }
    EXPECT_EQ(traces, Texts{});
}

// ------------------------------------------------------- texts read in place

TEST_F(PropertyLookup, ATextInPlaceStaysWhenThereIsNoOther) {
    CZtTempPropertySet set;
    set.AddProp("narrow", "text");
    set.AddProp("wide", L"breit");
    set.AddProperty(CZtProperty("number", std::uint32_t{1}));
    NarrowText narrow;
    WideText wide;
    set.GetProp("narrow", narrow);
    set.GetProp("wide", wide);
    const auto expect_as_it_was = [&] {
        EXPECT_STREQ(narrow.c_str(), "text");
        EXPECT_EQ(narrow.length(), 4u);
        EXPECT_STREQ(wide.c_str(), L"breit");
        EXPECT_EQ(wide.length(), 5u);
        // What they point to is still theirs.
        lab_live live;
        LabGetLive(&live);
        EXPECT_EQ(live.properties, 2u);
    };
    EXPECT_FALSE(set.GetProp("none", narrow, true));
    EXPECT_FALSE(set.GetProp("none", wide, true));
    expect_as_it_was();
    EXPECT_EQ(thrown_by([&] { set.GetProp("none", narrow); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { set.GetProp("none", wide); }), 0xc100003au);
    expect_as_it_was();
    EXPECT_EQ(thrown_by([&] { set.GetProp("number", narrow); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { set.GetProp("number", wide); }), 0xc100003au);
    expect_as_it_was();
    faults(R"([{"function": "PsFindProperty", "lie": "unterminated"}])");
    traces.clear();
    EXPECT_EQ(thrown_by([&] { set.GetProp("narrow", narrow); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { set.GetProp("wide", wide); }), 0xc100003au);
    expect_as_it_was();
    EXPECT_EQ(traces,
              (Texts{"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property narrow is not of "
                     "TYPE_STR",
                     "6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property wide is not of "
                     "TYPE_WSTR"}));
}

TEST_F(PropertyLookup, ATextInPlaceGivesWayToTheNext) {
    CZtTempPropertySet set;
    set.AddProp("first", "a longer text");
    set.AddProp("second", "text");
    NarrowText text;
    set.GetProp("first", text);
    EXPECT_EQ(calls_of([&] { set.GetProp("second", text); }),
              (Texts{R"(PsFindProperty #1 "second" -> 0x0 "second" STR "text")",
                     R"(PsFreeProperty "first" -> 0x0)"}));
    EXPECT_STREQ(text.c_str(), "text");
    EXPECT_EQ(text.length(), 4u);
}

// --------------------------------------------------------- sets and binaries

TEST_F(PropertyLookup, NestedSetsThatCannotBeCopied) {
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

    faults(R"([{"function": "PsCopyPropset", "call": 1, "status": "0xc1000102"}])");
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSET", own); }), 0xc1000102u);
    // The first copy succeeds, the second does not.
    faults(R"([{"function": "PsCopyPropset", "call": 2, "status": "0xc1000102"}])");
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSETZ", owns); }), 0xc1000102u);
    // A status of the bus says nothing of the value, whichever it is.
    faults(R"([{"function": "PsCopyPropset", "status": "0xc100003a"}])");
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSET", own); }), 0xc100003au);
    EXPECT_EQ(thrown_by([&] { set.GetProp("PROPSETZ", owns); }), 0xc100003au);
    EXPECT_EQ(traces, Texts{});
    faults(nullptr);

    std::string text;
    own.GetProp("inner", text);
    EXPECT_EQ(text, "own");
    ASSERT_EQ(owns.size(), 1u);
    owns.front().GetProp("inner", text);
    EXPECT_EQ(text, "owns");
    set.GetProp("PROPSETZ", owns);
    ASSERT_EQ(owns.size(), 2u);
    owns.front().GetProp("inner", text);
    EXPECT_EQ(text, "one");
}

TEST_F(PropertyLookup, NoMemoryForBytes) {
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("first", "xy", 2));
    set.AddProperty(CZtProperty("BINARY", "abc", 3));
    ZtBinary value;
    set.GetProp("first", value);
    faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
    EXPECT_EQ(thrown_by([&] { set.GetProp("BINARY", value); }), 0xc1000102u);
    EXPECT_EQ(traces,
              Texts{"4 clusapiprov: ERROR: CZtPropertySet::GetProp(TYPE_BINARY) : Unable to "
                    "allocate 3 memory for property BINARY"});
    ASSERT_EQ(value.size, 2u);
    EXPECT_EQ(std::memcmp(value.bytes.get(), "xy", 2), 0);
}

TEST_F(PropertyLookup, NoBytesNeedNoMemory) {
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("first", "xy", 2));
    set.AddProperty(CZtProperty("BINARY", "", 0));
    ZtBinary value;
    set.GetProp("first", value);
    faults(R"([{"function": "_ZtAlloc", "nothing": true}])");
    EXPECT_TRUE(set.GetProp("BINARY", value));
    EXPECT_EQ(value.size, 0u);
    EXPECT_EQ(traces, Texts{});
}

TEST_F(PropertyLookup, ObjectIdsOfArraysAreWhole) {
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
    EXPECT_EQ(traces, Texts{});
}

// ---------------------------------------------------------------------- keys

TEST_F(PropertyLookup, KeysTakeThePlaceOfWhatTheCallerHad) {
    CZtTempPropertySet set;
    set.AddProp("b", "x");
    set.AddProp("a", L"y");
    Texts names = {"as it was"};
    set.GetKeys(names);
    EXPECT_EQ(names, (Texts{"b", "a"}));
    // Each walk begins at the front.
    set.GetKeys(names);
    EXPECT_EQ(names, (Texts{"b", "a"}));
    EXPECT_EQ(calls_of([&] { set.GetKeys(names); }),
              (Texts{"PsOpenPropset #1 -> 0x0", R"(PsFindNextProperty #1 -> 0x0 "b" STR "x")",
                     R"(PsFreeProperty "b" -> 0x0)", R"(PsFindNextProperty #1 -> 0x0 "a" WSTR "y")",
                     R"(PsFreeProperty "a" -> 0x0)", "PsFindNextProperty #1 -> 0xc1000107"}));
    CZtTempPropertySet empty;
    empty.GetKeys(names);
    EXPECT_EQ(names, Texts{});
}

TEST_F(PropertyLookup, AWalkThatFailsLeavesTheCallersKeys) {
    CZtTempPropertySet set;
    set.AddProp("b", "x");
    set.AddProp("a", L"y");
    Texts names = {"as it was"};
    faults(R"([{"function": "PsFindNextProperty", "call": 2, "status": "0xc1000102"}])");
    EXPECT_EQ(thrown_by([&] { set.GetKeys(names); }), 0xc1000102u);
    EXPECT_EQ(names, Texts{"as it was"});
    // A success that hands out nothing.
    faults(R"([{"function": "PsFindNextProperty", "call": 2, "nothing": true}])");
    EXPECT_EQ(thrown_by([&] { set.GetKeys(names); }), 0xc100003au);
    EXPECT_EQ(names, Texts{"as it was"});
    EXPECT_EQ(traces, Texts{});
    faults(R"([{"function": "PsOpenPropset", "status": "0xc1000101"}])");
    EXPECT_EQ(thrown_by([&] { set.GetKeys(names); }), 0xc1000101u);
    EXPECT_EQ(traces,
              Texts{"4 clusapiprov: ERROR: in CZtPropertySet::GetKeys() PsOpenPropset() failed"});
    traces.clear();
    const CZtPropertySet none;
    EXPECT_EQ(calls_of([&] { EXPECT_EQ(thrown_by([&] { none.GetKeys(names); }), 0xc1000101u); }),
              Texts{R"(ZtTrace 4 "clusapiprov: ERROR: in CZtPropertySet::GetKeys() Attempt to )"
                    R"(get keys on NULL propset failed")"});
    EXPECT_EQ(names, Texts{"as it was"});
}

}  // namespace
