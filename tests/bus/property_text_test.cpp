#include "property_set.h"

#include "traces.h"

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

}  // namespace
