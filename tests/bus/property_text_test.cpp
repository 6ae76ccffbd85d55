#include "bus/property_set.h"
#include "bus/traces.h"
#include "support/interposer.h"

namespace {

using namespace farlo;
using namespace bus_test;

class PropertyText : public ClassLayer {
  protected:
    template <class... Value> static std::string text_of(bool with_type, const Value&... value) {
        CZtTempPropertySet set;
        set.AddProperty(CZtProperty("p", value...));
        std::string text;
        EXPECT_TRUE(set.ToString(text, "p", false, with_type));
        return text;
    }
    template <class Element, std::size_t count>
    static std::string array(std::uint32_t type, const Element (&elements)[count]) {
        return text_of(true, type, static_cast<const void*>(elements),
                       static_cast<std::uint32_t>(count),
                       static_cast<std::uint32_t>(sizeof elements));
    }
};

constexpr GUID some_guid = {0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 8, 0, 0x20, 0x9E, 0xAD, 0x9C}};

TEST_F(PropertyText, WithoutTheType) {
    EXPECT_EQ(text_of(false, true), "true");
    EXPECT_EQ(text_of(false, std::uint32_t{7}), "7");
    EXPECT_EQ(text_of(false, L"wide"), "wide");
}

TEST_F(PropertyText, EveryType) {
    EXPECT_EQ(text_of(true, true), "(TYPE_BOOLEAN) true");
    EXPECT_EQ(text_of(true, false), "(TYPE_BOOLEAN) false");
    EXPECT_EQ(text_of(true, std::int32_t{-7}), "(TYPE_INT32) -7");
    EXPECT_EQ(text_of(true, std::uint32_t{4'000'000'000}), "(TYPE_UINT32) 4000000000");
    EXPECT_EQ(text_of(true, std::int64_t{-7'000'000'000}), "(TYPE_INT64) -7000000000");
    EXPECT_EQ(text_of(true, std::uint64_t{1} << 63), "(TYPE_UINT64) 9223372036854775808");
    EXPECT_EQ(text_of(true, "text"), "(TYPE_STR) text");
    EXPECT_EQ(text_of(true, L"text"), "(TYPE_WSTR) text");
    EXPECT_EQ(text_of(true, static_cast<const void*>("\x01\xfe"), 2u), "(TYPE_BINARY) 01fe");
    EXPECT_EQ(text_of(true, some_guid), "(TYPE_GUID) {61678c9a-1dd2-11b2-9623-0800209ead9c}");
    EXPECT_EQ(text_of(true, opal_i18n{7, "name", "catalog"}),
              "(TYPE_I18N) messageId=7, name=\"name\", catalog=catalog");
    opal_insertion insertions[] = {{"one", nullptr}, {nullptr, L"two"}};
    EXPECT_EQ(text_of(true, opal_i18n_format{"%1 %2", 2, insertions}),
              "(TYPE_I18NFORMATSTRING) FormatSpec={%1 %2}, Insertions={one, two}");
    EXPECT_EQ(text_of(true, ZtTime{5}), "(TYPE_TIME) 5");
    CZtTempPropertySet nested;
    nested.AddProp("a", "x");
    EXPECT_EQ(text_of(true, nested.handle()), "(TYPE_PROPSET) {a=x}");
    const std::string object = text_of(true, opal_objid{});
    EXPECT_EQ(object, "(TYPE_ZTOBJID) {00000000-0000-0000-0000-000000000000}");
}

TEST_F(PropertyText, EveryArrayType) {
    EXPECT_EQ(array(TYPE_BOOLEANZ, (const opal_bool[]){1, 0}), "(TYPE_BOOLEANZ) {true, false}");
    EXPECT_EQ(array(TYPE_INT32Z, (const std::int32_t[]){-1, 2}), "(TYPE_INT32Z) {-1, 2}");
    EXPECT_EQ(array(TYPE_UINT32Z, (const std::uint32_t[]){1}), "(TYPE_UINT32Z) {1}");
    EXPECT_EQ(array(TYPE_INT64Z, (const std::int64_t[]){-1}), "(TYPE_INT64Z) {-1}");
    EXPECT_EQ(array(TYPE_UINT64Z, (const std::uint64_t[]){3, 4}), "(TYPE_UINT64Z) {3, 4}");
    EXPECT_EQ(array(TYPE_STRZ, (const char* const[]){"a", "b"}), "(TYPE_STRZ) {a, b}");
    EXPECT_EQ(array(TYPE_WSTRZ, (const wchar_t* const[]){L"a"}), "(TYPE_WSTRZ) {a}");
    EXPECT_EQ(array(TYPE_GUIDZ, (const GUID[]){some_guid}),
              "(TYPE_GUIDZ) {{61678c9a-1dd2-11b2-9623-0800209ead9c}}");
    CZtTempPropertySet nested;
    nested.AddProperty(CZtProperty("n", std::uint32_t{1}));
    EXPECT_EQ(array(TYPE_PROPSETZ, (const opal_propset[]){nested.handle()}),
              "(TYPE_PROPSETZ) {{n=1}}");
    EXPECT_EQ(array(TYPE_ZTOBJIDZ, (const opal_objid[]){{}}),
              "(TYPE_ZTOBJIDZ) {{00000000-0000-0000-0000-000000000000}}");
    EXPECT_EQ(array(TYPE_I18NZ, (const opal_i18n[]){{1, "n", "c"}}),
              "(TYPE_I18NZ) {messageId=1, name=\"n\", catalog=c}");
    // Kept: without a label.
    EXPECT_EQ(array(TYPE_I18NFORMATSTRINGZ, (const opal_i18n_format[]){{"f", 0, nullptr}}),
              "{FormatSpec={f}, Insertions={}}");
    EXPECT_EQ(array(TYPE_TIMEZ, (const std::int64_t[]){1, 2}), "(TYPE_TIMEZ) {1, 2}");
}

TEST_F(PropertyText, AbsentProperties) {
    const CZtTempPropertySet set;
    std::string text = "as it was";
    EXPECT_FALSE(set.ToString(text, "p", true));
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(traces, Texts{});
    EXPECT_EQ(thrown_by([&] { set.ToString(text, "p"); }), 0xc100003au);
    EXPECT_EQ(traces, Texts{"4 clusapiprov: ERROR: CZtPropertySet::ToString(propId), property (p) "
                            "doesn't exist in this property set, and isOptionalProp=opal_false."});
}

TEST_F(PropertyText, AnyFailureOfTheBusIsPassedOn) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    std::string text = "as it was";
    faults(R"([{"function": "PsFindProperty", "status": "0xc1000101"}])");
    EXPECT_FALSE(set.ToString(text, "p", true));
    EXPECT_EQ(traces, Texts{});
    EXPECT_EQ(thrown_by([&] { set.ToString(text, "p"); }), 0xc1000101u);
    EXPECT_EQ(text, "as it was");
    EXPECT_EQ(traces, Texts{"4 clusapiprov: ERROR: CZtPropertySet::ToString(propId), property (p) "
                            "doesn't exist in this property set, and isOptionalProp=opal_false."});
    traces.clear();
    faults(R"([{"function": "PsFindProperty", "after": "0x41000013"}])");
    EXPECT_TRUE(set.ToString(text, "p"));
    EXPECT_EQ(text, "text");
}

TEST_F(PropertyText, NothingToShow) {
    EXPECT_EQ(text_of(true, ""), "(TYPE_STR) ");
    EXPECT_EQ(text_of(true, static_cast<const void*>(""), 0u), "(TYPE_BINARY) ");
    EXPECT_EQ(text_of(true, TYPE_UINT32Z, static_cast<const void*>(nullptr), 0u, 0u),
              "(TYPE_UINT32Z) {}");
    EXPECT_EQ(text_of(false, TYPE_STRZ, static_cast<const void*>(nullptr), 0u, 0u), "{}");
    const CZtTempPropertySet nested;
    EXPECT_EQ(text_of(true, nested.handle()), "(TYPE_PROPSET) {}");
}

class UnreadableText : public PropertyText {
  protected:
    // Wants "p", optional or not, to throw that status, to leave the string and to
    // trace these lines each time.
    template <class... Value>
    static void expect_thrown(std::uint32_t status, const Texts& lines, const Value&... value) {
        CZtTempPropertySet set;
        set.AddProperty(CZtProperty("p", value...));
        std::string text = "as it was";
        for (const bool optional : {false, true}) {
            traces.clear();
            EXPECT_EQ(thrown_by([&] { set.ToString(text, "p", optional, !optional); }), status);
            EXPECT_EQ(traces, lines);
        }
        EXPECT_EQ(text, "as it was");
    }
    // The one line of a malformed value.
    static Texts not_of(const std::string& type, const std::string& name = "p") {
        return {"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property " + name +
                " is not of " + type};
    }
};

TEST_F(UnreadableText, ATypeThatIsNone) {
    support::StandIn<decltype(PsFindProperty)> find(
        class_layer(), "PsFindProperty", [&](auto set, auto name, auto* property) {
            const opal_status status = find.real(set, name, property);
            property->type = 99;
            return status;
        });
    expect_thrown(0xc100003a, not_of("its type"), "text");
    EXPECT_EQ(find.calls(), 2u);
}

TEST_F(UnreadableText, AValueThatLies) {
    faults(R"([{"function": "PsFindProperty", "lie": "unterminated"}])");
    expect_thrown(0xc100003a, not_of("TYPE_STR"), "text");
    faults(R"([{"function": "PsFindProperty", "lie": "null"}])");
    expect_thrown(0xc100003a, not_of("TYPE_UINT32"), std::uint32_t{1});
    faults(R"([{"function": "PsFindProperty", "nothing": true}])");
    expect_thrown(0xc100003a, not_of("its type"), "text");
}

TEST_F(UnreadableText, StringsThatAreNotInTheCodePage) {
    expect_thrown(0xc100003a, not_of("TYPE_WSTR"), not_in_the_code_page);
    const wchar_t* const texts[] = {L"a", not_in_the_code_page};
    expect_thrown(0xc100003a, not_of("TYPE_WSTRZ"), TYPE_WSTRZ, static_cast<const void*>(texts), 2u,
                  static_cast<std::uint32_t>(sizeof texts));
    opal_insertion insertions[] = {{nullptr, not_in_the_code_page}};
    expect_thrown(0xc100003a, not_of("TYPE_I18NFORMATSTRING"),
                  opal_i18n_format{"%1", 1, insertions});
}

// Traced once, in the name of the property that cannot be read.
TEST_F(UnreadableText, AMemberOfANestedSet) {
    CZtTempPropertySet nested;
    nested.AddProp("inner", not_in_the_code_page);
    expect_thrown(0xc100003a, not_of("TYPE_WSTR", "inner"), nested.handle());
}

TEST_F(UnreadableText, NoMemoryForAGuid) {
    faults(R"([{"function": "ZtGUIDToString", "nothing": true}])");
    expect_thrown(0xc1000102, {}, some_guid);
    expect_thrown(0xc1000102, {}, opal_objid{});
}

TEST_F(UnreadableText, ANestedSetThatCannotBeCopiedOrWalked) {
    const CZtTempPropertySet nested;
    faults(R"([{"function": "PsCopyPropset", "status": "0xc1000103"}])");
    expect_thrown(0xc1000103, {}, nested.handle());
    faults(R"([{"function": "PsOpenPropset", "status": "0xc1000101"}])");
    expect_thrown(0xc1000101,
                  {"4 clusapiprov: ERROR: in CZtPropertySet::GetKeys() PsOpenPropset() failed"},
                  nested.handle());
}

}  // namespace
