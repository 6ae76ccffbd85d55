// CZtPropertySet::ToString.
#include "bus/property_set.h"
#include "bus/traces.h"
#include "support/interposer.h"

namespace {

using namespace farlo;
using namespace bus_test;
using namespace support;

class PropertyText : public ClassLayer {
  protected:
    template <class... Value> static std::string shown_with_type(const Value&... value) {
        return string_of(true, value...);
    }
    template <class... Value> static std::string shown_without_type(const Value&... value) {
        return string_of(false, value...);
    }
    template <class Element, std::size_t count>
    static std::string array_with_type(std::uint32_t type, const Element (&elements)[count]) {
        return shown_with_type(type, static_cast<const void*>(elements),
                               static_cast<std::uint32_t>(count),
                               static_cast<std::uint32_t>(sizeof elements));
    }

  private:
    template <class... Value> static std::string string_of(bool with_type, const Value&... value) {
        CZtTempPropertySet set;
        set.AddProperty(CZtProperty("p", value...));
        std::string shown;
        EXPECT_TRUE(set.ToString(shown, "p", false, with_type));
        return shown;
    }
};

constexpr GUID some_guid = {0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 8, 0, 0x20, 0x9E, 0xAD, 0x9C}};

TEST_F(PropertyText, ShowsValueWithoutType) {
    EXPECT_EQ(shown_without_type(true), "true");
    EXPECT_EQ(shown_without_type(std::uint32_t{7}), "7");
    EXPECT_EQ(shown_without_type(L"wide"), "wide");
}

TEST_F(PropertyText, ShowsEveryType) {
    EXPECT_EQ(shown_with_type(true), "(TYPE_BOOLEAN) true");
    EXPECT_EQ(shown_with_type(false), "(TYPE_BOOLEAN) false");
    EXPECT_EQ(shown_with_type(std::int32_t{-7}), "(TYPE_INT32) -7");
    EXPECT_EQ(shown_with_type(std::uint32_t{4'000'000'000}), "(TYPE_UINT32) 4000000000");
    EXPECT_EQ(shown_with_type(std::int64_t{-7'000'000'000}), "(TYPE_INT64) -7000000000");
    EXPECT_EQ(shown_with_type(std::uint64_t{1} << 63), "(TYPE_UINT64) 9223372036854775808");
    EXPECT_EQ(shown_with_type("text"), "(TYPE_STR) text");
    EXPECT_EQ(shown_with_type(L"text"), "(TYPE_WSTR) text");
    EXPECT_EQ(shown_with_type(static_cast<const void*>("\x01\xfe"), 2u), "(TYPE_BINARY) 01fe");
    EXPECT_EQ(shown_with_type(some_guid), "(TYPE_GUID) {61678c9a-1dd2-11b2-9623-0800209ead9c}");
    EXPECT_EQ(shown_with_type(opal_i18n{7, "name", "catalog"}),
              "(TYPE_I18N) messageId=7, name=\"name\", catalog=catalog");
    opal_insertion insertions[] = {{"one", nullptr}, {nullptr, L"two"}};
    EXPECT_EQ(shown_with_type(opal_i18n_format{"%1 %2", 2, insertions}),
              "(TYPE_I18NFORMATSTRING) FormatSpec={%1 %2}, Insertions={one, two}");
    EXPECT_EQ(shown_with_type(ZtTime{5}), "(TYPE_TIME) 5");
    CZtTempPropertySet nested;
    nested.AddProp("a", "x");
    EXPECT_EQ(shown_with_type(nested.handle()), "(TYPE_PROPSET) {a=x}");
    const std::string object = shown_with_type(opal_objid{});
    EXPECT_EQ(object, "(TYPE_ZTOBJID) {00000000-0000-0000-0000-000000000000}");
}

TEST_F(PropertyText, ShowsEveryArrayType) {
    EXPECT_EQ(array_with_type(TYPE_BOOLEANZ, (const opal_bool[]){1, 0}),
              "(TYPE_BOOLEANZ) {true, false}");
    EXPECT_EQ(array_with_type(TYPE_INT32Z, (const std::int32_t[]){-1, 2}), "(TYPE_INT32Z) {-1, 2}");
    EXPECT_EQ(array_with_type(TYPE_UINT32Z, (const std::uint32_t[]){1}), "(TYPE_UINT32Z) {1}");
    EXPECT_EQ(array_with_type(TYPE_INT64Z, (const std::int64_t[]){-1}), "(TYPE_INT64Z) {-1}");
    EXPECT_EQ(array_with_type(TYPE_UINT64Z, (const std::uint64_t[]){3, 4}),
              "(TYPE_UINT64Z) {3, 4}");
    EXPECT_EQ(array_with_type(TYPE_STRZ, (const char* const[]){"a", "b"}), "(TYPE_STRZ) {a, b}");
    EXPECT_EQ(array_with_type(TYPE_WSTRZ, (const wchar_t* const[]){L"a"}), "(TYPE_WSTRZ) {a}");
    EXPECT_EQ(array_with_type(TYPE_GUIDZ, (const GUID[]){some_guid}),
              "(TYPE_GUIDZ) {{61678c9a-1dd2-11b2-9623-0800209ead9c}}");
    CZtTempPropertySet nested;
    nested.AddProperty(CZtProperty("n", std::uint32_t{1}));
    EXPECT_EQ(array_with_type(TYPE_PROPSETZ, (const opal_propset[]){nested.handle()}),
              "(TYPE_PROPSETZ) {{n=1}}");
    EXPECT_EQ(array_with_type(TYPE_ZTOBJIDZ, (const opal_objid[]){{}}),
              "(TYPE_ZTOBJIDZ) {{00000000-0000-0000-0000-000000000000}}");
    EXPECT_EQ(array_with_type(TYPE_I18NZ, (const opal_i18n[]){{1, "n", "c"}}),
              "(TYPE_I18NZ) {messageId=1, name=\"n\", catalog=c}");
    // KEPT: this type has no label.
    EXPECT_EQ(
        array_with_type(TYPE_I18NFORMATSTRINGZ, (const opal_i18n_format[]){{"f", 0, nullptr}}),
        "{FormatSpec={f}, Insertions={}}");
    EXPECT_EQ(array_with_type(TYPE_TIMEZ, (const std::int64_t[]){1, 2}), "(TYPE_TIMEZ) {1, 2}");
}

TEST_F(PropertyText, ThrowsForMissingProperty) {
    const CZtTempPropertySet set;
    std::string shown = "as it was";
    EXPECT_FALSE(set.ToString(shown, "p", true));
    EXPECT_EQ(shown, "as it was");
    EXPECT_EQ(traces, Strings{});
    EXPECT_EQ(thrown_by([&] { set.ToString(shown, "p"); }), bus_no_property);
    EXPECT_EQ(traces,
              Strings{"4 clusapiprov: ERROR: CZtPropertySet::ToString(propId), property (p) "
                      "doesn't exist in this property set, and isOptionalProp=opal_false."});
}

TEST_F(PropertyText, ThrowsStatusOfFailedLookup) {
    CZtTempPropertySet set;
    set.AddProp("p", "text");
    std::string shown = "as it was";
    set_faults({{.function = "PsFindProperty", .returns = bus_invalid_argument}});
    EXPECT_FALSE(set.ToString(shown, "p", true));
    EXPECT_EQ(traces, Strings{});
    EXPECT_EQ(thrown_by([&] { set.ToString(shown, "p"); }), bus_invalid_argument);
    EXPECT_EQ(shown, "as it was");
    EXPECT_EQ(traces,
              Strings{"4 clusapiprov: ERROR: CZtPropertySet::ToString(propId), property (p) "
                      "doesn't exist in this property set, and isOptionalProp=opal_false."});
    traces.clear();
    set_faults({{.function = "PsFindProperty", .returns_after_work = bus_informational}});
    EXPECT_TRUE(set.ToString(shown, "p"));
    EXPECT_EQ(shown, "text");
}

TEST_F(PropertyText, ShowsEmptyValues) {
    EXPECT_EQ(shown_with_type(""), "(TYPE_STR) ");
    EXPECT_EQ(shown_with_type(static_cast<const void*>(""), 0u), "(TYPE_BINARY) ");
    EXPECT_EQ(shown_with_type(TYPE_UINT32Z, static_cast<const void*>(nullptr), 0u, 0u),
              "(TYPE_UINT32Z) {}");
    EXPECT_EQ(shown_without_type(TYPE_STRZ, static_cast<const void*>(nullptr), 0u, 0u), "{}");
    const CZtTempPropertySet nested;
    EXPECT_EQ(shown_with_type(nested.handle()), "(TYPE_PROPSET) {}");
}

class UnreadableProperty : public PropertyText {
  protected:
    // Shows a property "p" of this value, as a required and as an optional one. Each time the
    // call must throw the status, trace the lines and leave the caller's string unchanged.
    template <class... Value>
    static void expect_thrown(std::uint32_t status, const Strings& lines, const Value&... value) {
        CZtTempPropertySet set;
        set.AddProperty(CZtProperty("p", value...));
        std::string shown = "as it was";
        for (const bool optional : {false, true}) {
            traces.clear();
            EXPECT_EQ(thrown_by([&] { set.ToString(shown, "p", optional, !optional); }), status);
            EXPECT_EQ(traces, lines);
        }
        EXPECT_EQ(shown, "as it was");
    }
    // The one trace of a value that is not of its type.
    static Strings not_of_type(const std::string& type, const std::string& name = "p") {
        return {"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property " + name +
                " is not of " + type};
    }
};

TEST_F(UnreadableProperty, ThrowsForUnknownType) {
    StandIn<decltype(PsFindProperty)> find(
        class_layer(), "PsFindProperty", [&](auto set, auto name, auto* property) {
            const opal_status status = find.real(set, name, property);
            property->type = 99;
            return status;
        });
    expect_thrown(bus_no_property, not_of_type("its type"), "text");
    EXPECT_EQ(find.calls(), 2u);
}

TEST_F(UnreadableProperty, ThrowsForMalformedValue) {
    set_faults({{.function = "PsFindProperty", .lie = "unterminated"}});
    expect_thrown(bus_no_property, not_of_type("TYPE_STR"), "text");
    set_faults({{.function = "PsFindProperty", .lie = "null"}});
    expect_thrown(bus_no_property, not_of_type("TYPE_UINT32"), std::uint32_t{1});
    set_faults({{.function = "PsFindProperty", .succeeds_empty = true}});
    expect_thrown(bus_no_property, not_of_type("its type"), "text");
}

TEST_F(UnreadableProperty, ThrowsForStringOutsideCodePage) {
    expect_thrown(bus_no_property, not_of_type("TYPE_WSTR"), not_in_the_code_page);
    const wchar_t* const strings[] = {L"a", not_in_the_code_page};
    expect_thrown(bus_no_property, not_of_type("TYPE_WSTRZ"), TYPE_WSTRZ,
                  static_cast<const void*>(strings), 2u,
                  static_cast<std::uint32_t>(sizeof strings));
    opal_insertion insertions[] = {{nullptr, not_in_the_code_page}};
    expect_thrown(bus_no_property, not_of_type("TYPE_I18NFORMATSTRING"),
                  opal_i18n_format{"%1", 1, insertions});
}

// There is one trace, with the name of the member.
TEST_F(UnreadableProperty, ThrowsForUnreadableMemberOfNestedSet) {
    CZtTempPropertySet nested;
    nested.AddProp("inner", not_in_the_code_page);
    expect_thrown(bus_no_property, not_of_type("TYPE_WSTR", "inner"), nested.handle());
}

TEST_F(UnreadableProperty, ThrowsNoMemoryForGuid) {
    set_faults({{.function = "ZtGUIDToString", .succeeds_empty = true}});
    expect_thrown(bus_no_memory, {}, some_guid);
    expect_thrown(bus_no_memory, {}, opal_objid{});
}

TEST_F(UnreadableProperty, ThrowsStatusOfFailedCopyOrWalkOfNestedSet) {
    const CZtTempPropertySet nested;
    set_faults({{.function = "PsCopyPropset", .returns = bus_not_connected}});
    expect_thrown(bus_not_connected, {}, nested.handle());
    set_faults({{.function = "PsOpenPropset", .returns = bus_invalid_argument}});
    expect_thrown(bus_invalid_argument,
                  {"4 clusapiprov: ERROR: in CZtPropertySet::GetKeys() PsOpenPropset() failed"},
                  nested.handle());
}

}  // namespace
