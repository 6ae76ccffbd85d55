// CZtPropertySet: adding, reading and setting properties.
#include "bus/property_set.h"
#include "bus/traces.h"

#include <cstring>
#include <tuple>

namespace {

using namespace farlo;
using namespace bus_test;
using namespace support;

constexpr GUID some_guid = {0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 8, 0, 0x20, 0x9E, 0xAD, 0x9C}};
constexpr opal_objid some_object = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};

class PropertySet : public ClassLayer {
  protected:
    // A set with one property of each type, named after it.
    static void fill(CZtPropertySet& set, opal_propset nested) {
        set.AddProperty(CZtProperty("BOOLEAN", true));
        set.AddProperty(CZtProperty("INT32", std::int32_t{-5}));
        set.AddProperty(CZtProperty("UINT32", std::uint32_t{5}));
        set.AddProperty(CZtProperty("INT64", std::int64_t{-6'000'000'000}));
        set.AddProperty(CZtProperty("UINT64", std::uint64_t{6'000'000'000}));
        set.AddProperty(CZtProperty("STR", "text"));
        set.AddProperty(CZtProperty("WSTR", L"wide"));
        set.AddProperty(CZtProperty("BINARY", "\x01\x02\xfe", 3));
        set.AddProperty(CZtProperty("GUID", some_guid));
        set.AddProperty(CZtProperty("PROPSET", nested));
        set.AddProperty(CZtProperty("ZTOBJID", some_object));
        set.AddProperty(CZtProperty("I18N", opal_i18n{7, "name", "catalog"}));
        opal_insertion insertions[] = {{"one", nullptr}, {nullptr, L"two"}};
        set.AddProperty(
            CZtProperty("I18NFORMATSTRING", opal_i18n_format{"%1 and %2", 2, insertions}));
        set.AddProperty(CZtProperty("TIME", ZtTime{132'000'000'000'000'000}));
        const opal_bool booleans[] = {opal_true, opal_false};
        set.AddProperty(CZtProperty("BOOLEANZ", TYPE_BOOLEANZ, booleans, 2, sizeof booleans));
        const std::int32_t int32s[] = {-1, 2};
        set.AddProperty(CZtProperty("INT32Z", TYPE_INT32Z, int32s, 2, sizeof int32s));
        const std::uint32_t uint32s[] = {1, 2, 3};
        set.AddProperty(CZtProperty("UINT32Z", TYPE_UINT32Z, uint32s, 3, sizeof uint32s));
        const std::int64_t int64s[] = {-1};
        set.AddProperty(CZtProperty("INT64Z", TYPE_INT64Z, int64s, 1, sizeof int64s));
        const std::uint64_t uint64s[] = {1, 1ull << 63};
        set.AddProperty(CZtProperty("UINT64Z", TYPE_UINT64Z, uint64s, 2, sizeof uint64s));
        const char* const strings[] = {"a", ""};
        set.AddProperty(CZtProperty("STRZ", TYPE_STRZ, strings, 2, sizeof strings));
        const wchar_t* const wide_strings[] = {L"b", L"c"};
        set.AddProperty(CZtProperty("WSTRZ", TYPE_WSTRZ, wide_strings, 2, sizeof wide_strings));
        set.AddProperty(CZtProperty("GUIDZ", TYPE_GUIDZ, &some_guid, 1, sizeof some_guid));
        set.AddProperty(CZtProperty("PROPSETZ", TYPE_PROPSETZ, &nested, 1, sizeof nested));
        set.AddProperty(
            CZtProperty("ZTOBJIDZ", TYPE_ZTOBJIDZ, &some_object, 1, sizeof some_object));
        const opal_i18n messages[] = {{1, "n1", "c1"}, {2, "n2", "c2"}};
        set.AddProperty(CZtProperty("I18NZ", TYPE_I18NZ, messages, 2, sizeof messages));
        const opal_i18n_format formats[] = {{"f", 0, nullptr}};
        set.AddProperty(
            CZtProperty("I18NFORMATSTRINGZ", TYPE_I18NFORMATSTRINGZ, formats, 1, sizeof formats));
        const std::int64_t times[] = {1, 2};
        set.AddProperty(CZtProperty("TIMEZ", TYPE_TIMEZ, times, 2, sizeof times));
    }

    template <class T> static T get(const CZtPropertySet& set, const char* name) {
        T value{};
        EXPECT_TRUE(set.GetProp(name, value));
        return value;
    }

    // Reads the property "BOOLEAN" ("STR" for a bool) as a T, which fails. `type` ends the trace.
    template <class T>
    static void expect_wrong_type(const CZtPropertySet& set, const std::string& type) {
        SCOPED_TRACE(type);
        traces.clear();
        const char* name = std::is_same_v<T, bool> ? "STR" : "BOOLEAN";
        T value{};
        EXPECT_EQ(thrown_by([&] { set.GetProp(name, value); }), bus_no_property);
        EXPECT_EQ(traces, Strings{"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property " +
                                  std::string(name) + " is not " + type});
        // A property of another type is an error even where the property is optional.
        EXPECT_EQ(thrown_by([&] { set.GetProp(name, value, true); }), bus_no_property);
    }
};

TEST_F(PropertySet, ReadsEveryTypeAsItWasAdded) {
    CZtTempPropertySet nested;
    nested.AddProp("inner", "value");
    CZtTempPropertySet set;
    fill(set, nested.handle());
    EXPECT_EQ(get<bool>(set, "BOOLEAN"), true);
    EXPECT_EQ(get<std::int32_t>(set, "INT32"), -5);
    EXPECT_EQ(get<std::uint32_t>(set, "UINT32"), 5u);
    EXPECT_EQ(get<std::int64_t>(set, "INT64"), -6'000'000'000);
    EXPECT_EQ(get<std::uint64_t>(set, "UINT64"), 6'000'000'000u);
    EXPECT_EQ(get<std::string>(set, "STR"), "text");
    EXPECT_EQ(get<std::wstring>(set, "WSTR"), L"wide");
    const ZtBinary binary = get<ZtBinary>(set, "BINARY");
    ASSERT_EQ(binary.size, 3u);
    EXPECT_EQ(std::memcmp(binary.bytes.get(), "\x01\x02\xfe", 3), 0);
    EXPECT_TRUE(IsEqualGUID(get<GUID>(set, "GUID"), some_guid));
    EXPECT_EQ(get<std::string>(get<CZtTempPropertySet>(set, "PROPSET"), "inner"), "value");
    const auto object = get<opal_objid>(set, "ZTOBJID");
    EXPECT_EQ(std::memcmp(&object, &some_object, sizeof object), 0);
    const auto message = get<ZtI18n>(set, "I18N");
    EXPECT_EQ(message.message_id, 7u);
    EXPECT_EQ(message.name, "name");
    EXPECT_EQ(message.catalog, "catalog");
    const auto format = get<ZtI18nFormat>(set, "I18NFORMATSTRING");
    EXPECT_EQ(format.pattern, "%1 and %2");
    EXPECT_EQ(format.insertions, (Strings{"one", "two"}));
    EXPECT_EQ(get<ZtTime>(set, "TIME").value, 132'000'000'000'000'000);
    EXPECT_EQ(get<std::vector<bool>>(set, "BOOLEANZ"), (std::vector<bool>{true, false}));
    EXPECT_EQ(get<std::vector<std::int32_t>>(set, "INT32Z"), (std::vector<std::int32_t>{-1, 2}));
    EXPECT_EQ(get<std::vector<std::uint32_t>>(set, "UINT32Z"),
              (std::vector<std::uint32_t>{1, 2, 3}));
    EXPECT_EQ(get<std::vector<std::int64_t>>(set, "INT64Z"), (std::vector<std::int64_t>{-1}));
    EXPECT_EQ(get<std::vector<std::uint64_t>>(set, "UINT64Z"),
              (std::vector<std::uint64_t>{1, 1ull << 63}));
    EXPECT_EQ(get<Strings>(set, "STRZ"), (Strings{"a", ""}));
    EXPECT_EQ(get<std::vector<std::wstring>>(set, "WSTRZ"),
              (std::vector<std::wstring>{L"b", L"c"}));
    EXPECT_TRUE(IsEqualGUID(get<std::vector<GUID>>(set, "GUIDZ").at(0), some_guid));
    EXPECT_EQ(
        get<std::string>(get<std::vector<CZtTempPropertySet>>(set, "PROPSETZ").at(0), "inner"),
        "value");
    EXPECT_EQ(get<std::vector<opal_objid>>(set, "ZTOBJIDZ").size(), 1u);
    EXPECT_EQ(get<std::vector<ZtI18n>>(set, "I18NZ").at(1).name, "n2");
    EXPECT_EQ(get<std::list<ZtI18n>>(set, "I18NZ").back().catalog, "c2");
    EXPECT_EQ(get<std::vector<ZtI18nFormat>>(set, "I18NFORMATSTRINGZ").at(0).pattern, "f");
    EXPECT_EQ(get<std::list<ZtI18nFormat>>(set, "I18NFORMATSTRINGZ").front().pattern, "f");
    EXPECT_EQ(get<std::vector<ZtTime>>(set, "TIMEZ").at(1).value, 2);
    EXPECT_EQ(traces, Strings{});
}

TEST_F(PropertySet, ReadsStringsInPlace) {
    CZtTempPropertySet set;
    set.AddProp("narrow", "text");
    set.AddProp("wide", L"breit");
    NarrowString narrow;
    EXPECT_STREQ(narrow.c_str(), "");
    set.GetProp("narrow", narrow);
    EXPECT_STREQ(narrow.c_str(), "text");
    EXPECT_EQ(narrow.length(), 4u);
    WideString wide;
    set.GetProp("wide", wide);
    EXPECT_STREQ(wide.c_str(), L"breit");
}

TEST_F(PropertySet, ReadsObjectIdsFromGuids) {
    CZtTempPropertySet set;
    set.AddProperty(CZtProperty("GUID", some_guid));
    set.AddProperty(CZtProperty("GUIDZ", TYPE_GUIDZ, &some_guid, 1, sizeof some_guid));
    const auto object = get<opal_objid>(set, "GUID");
    EXPECT_EQ(std::memcmp(&object, &some_guid, sizeof object), 0);
    EXPECT_EQ(get<std::vector<opal_objid>>(set, "GUIDZ").size(), 1u);
    // A GUID is not read from an object id.
    set.AddProperty(CZtProperty("ZTOBJID", some_object));
    GUID guid;
    EXPECT_EQ(thrown_by([&] { set.GetProp("ZTOBJID", guid); }), bus_no_property);
}

TEST_F(PropertySet, EveryReaderRejectsOtherTypes) {
    CZtTempPropertySet nested;
    CZtTempPropertySet set;
    fill(set, nested.handle());
    expect_wrong_type<bool>(set, "of TYPE_BOOLEAN");
    expect_wrong_type<std::int32_t>(set, "of TYPE_INT32");
    expect_wrong_type<std::uint32_t>(set, "of TYPE_UINT32");
    expect_wrong_type<std::int64_t>(set, "of TYPE_INT64");
    expect_wrong_type<std::uint64_t>(set, "of TYPE_UINT64");
    expect_wrong_type<std::string>(set, "of TYPE_STR");
    expect_wrong_type<NarrowString>(set, "of TYPE_STR");
    expect_wrong_type<std::wstring>(set, "of TYPE_WSTR");
    expect_wrong_type<WideString>(set, "of TYPE_WSTR");
    expect_wrong_type<ZtBinary>(set, "of TYPE_BINARY");
    expect_wrong_type<GUID>(set, "of TYPE_GUID");
    expect_wrong_type<CZtTempPropertySet>(set, "of TYPE_PROPSET");
    expect_wrong_type<opal_objid>(set, "of TYPE_ZTOBJID or TYPE_GUID");
    expect_wrong_type<ZtI18n>(set, "of TYPE_I18N");
    expect_wrong_type<ZtI18nFormat>(set, "of TYPE_I18NFORMATSTRING");
    expect_wrong_type<ZtTime>(set, "of TYPE_TIME");
    expect_wrong_type<std::vector<bool>>(set, "of TYPE_BOOLEANZ");
    expect_wrong_type<std::vector<std::int32_t>>(set, "of TYPE_INT32Z");
    expect_wrong_type<std::vector<std::uint32_t>>(set, "of TYPE_UINT32Z");
    expect_wrong_type<std::vector<std::int64_t>>(set, "of TYPE_INT64Z");
    expect_wrong_type<std::vector<std::uint64_t>>(set, "of TYPE_UINT64Z");
    expect_wrong_type<Strings>(set, "of TYPE_STRZ");
    expect_wrong_type<std::vector<std::wstring>>(set, "of TYPE_WSTRZ");
    // The trace reads "is not or TYPE_GUIDZ".
    expect_wrong_type<std::vector<GUID>>(set, "or TYPE_GUIDZ");
    expect_wrong_type<std::vector<CZtTempPropertySet>>(set, "of TYPE_PROPSETZ");
    expect_wrong_type<std::vector<opal_objid>>(set, "of TYPE_ZTOBJIDZ or TYPE_GUIDZ");
    expect_wrong_type<std::vector<ZtI18n>>(set, "of TYPE_I18NZ");
    expect_wrong_type<std::list<ZtI18n>>(set, "of TYPE_I18NZ");
    expect_wrong_type<std::vector<ZtI18nFormat>>(set, "of TYPE_I18NFORMATSTRINGZ");
    expect_wrong_type<std::list<ZtI18nFormat>>(set, "of TYPE_I18NFORMATSTRINGZ");
    expect_wrong_type<std::vector<ZtTime>>(set, "of TYPE_TIMEZ");
}

TEST_F(PropertySet, LeavesValueWhenPropertyIsMissing) {
    const CZtTempPropertySet set;
    std::uint32_t value = 42;
    EXPECT_FALSE(set.GetProp("missing", value, true));
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(traces, Strings{});
    EXPECT_EQ(thrown_by([&] { set.GetProp("missing", value); }), bus_no_property);
    EXPECT_EQ(value, 42u);
    EXPECT_EQ(traces,
              Strings{"4 clusapiprov: ERROR: CZtPropertySet::FindProperty() : Unable to find "
                      "property missing"});
}

TEST_F(PropertySet, RejectsMalformedValues) {
    CZtTempPropertySet nested;
    CZtTempPropertySet set;
    fill(set, nested.handle());
    std::string value = "as it was";
    std::wstring wide;
    std::uint32_t number = 0;
    std::vector<std::uint32_t> numbers{9};
    set_faults({{.function = "PsFindProperty", .lie = "unterminated"}});
    EXPECT_EQ(thrown_by([&] { set.GetProp("STR", value); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("WSTR", wide); }), bus_no_property);
    set_faults({{.function = "PsFindProperty", .lie = "null"}});
    EXPECT_EQ(thrown_by([&] { set.GetProp("STR", value); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("UINT32", number); }), bus_no_property);
    EXPECT_EQ(thrown_by([&] { set.GetProp("UINT32Z", numbers); }), bus_no_property);
    // A value of 4 bytes with a type of 8.
    set_faults({{.function = "PsFindProperty", .with_type = "UINT64"}});
    std::uint64_t long_number = 0;
    EXPECT_EQ(thrown_by([&] { set.GetProp("UINT32", long_number); }), bus_no_property);
    EXPECT_EQ(value, "as it was");
    EXPECT_EQ(numbers, std::vector<std::uint32_t>{9});
}

TEST_F(PropertySet, ThrowsStatusOfFailedCreateOrDestroy) {
    set_faults({{.function = "PsCreatePropset", .returns = bus_no_memory}});
    EXPECT_EQ(thrown_by([] { CZtPropertySet().Create(); }), bus_no_memory);
    EXPECT_EQ(
        traces,
        Strings{"4 clusapiprov: ERROR: in CZtPropertySet::Create() PsCreatePropset() failed"});
    traces.clear();
    EXPECT_EQ(thrown_by([] { CZtTempPropertySet(); }), bus_no_memory);
    EXPECT_EQ(traces,
              (Strings{"4 clusapiprov: ERROR: in CZtPropertySet::Create() PsCreatePropset() failed",
                       "4 ERROR: CZtTempPropertySet - Create() failed."}));
    set_faults({});
    traces.clear();
    {
        CZtPropertySet set;
        set.Create();
        set_faults({{.function = "PsDestroyPropset", .call = 1, .returns = bus_invalid_argument}});
        EXPECT_EQ(thrown_by([&] { set.Destroy(); }), bus_invalid_argument);
        EXPECT_EQ(traces, Strings{"4 clusapiprov: ERROR: in CZtPropertySet::Destroy() "
                                  "PsDestroyPropset() failed"});
        set.Destroy();
    }
    traces.clear();
    opal_propset kept = nullptr;
    {
        const CZtTempPropertySet set;
        kept = set.handle();
        set_faults({{.function = "PsDestroyPropset", .call = 1, .returns = bus_invalid_argument}});
    }
    EXPECT_EQ(traces, (Strings{"4 clusapiprov: ERROR: in CZtPropertySet::Destroy() "
                               "PsDestroyPropset() failed",
                               "4 ERROR: CZtTempPropertySet - Destroy() failed."}));
    PsDestroyPropset(kept);
}

TEST_F(PropertySet, ThrowsStatusOfFailedAdd) {
    CZtTempPropertySet set;
    set_faults({{.function = "PsAddProperty", .returns = bus_no_memory}});
    EXPECT_EQ(thrown_by([&] { set.AddProp("n", "x"); }), bus_no_memory);
    EXPECT_EQ(thrown_by([&] { set.AddProp("n", L"x"); }), bus_no_memory);
    EXPECT_EQ(thrown_by([&] { set.AddProperty(CZtProperty("n", true)); }), bus_no_memory);
    const opal_property raw = {"n", TYPE_STR, 1, 2, "x"};
    EXPECT_EQ(thrown_by([&] { set.AddProperty(raw); }), bus_no_memory);
    EXPECT_EQ(
        traces,
        (Strings{"4 clusapiprov: ERROR: CZtPropertySetBase::AddProp(), Failed to add property n "
                 "of type string",
                 "4 clusapiprov: ERROR: CZtPropertySetBase::AddProp(), Failed to add property n "
                 "of type wstring",
                 "4 clusapiprov: ERROR: c1000102 CZtPropertySet::AddProperty(CZtProperty) "
                 "Failed to add property n, 1",
                 "4 clusapiprov: ERROR: in CZtPropertySet::AddProperty(property) Failed to add "
                 "property n"}));
}

TEST_F(PropertySet, AddsNullStringAsEmptyString) {
    CZtTempPropertySet set;
    set.AddProp("narrow", static_cast<const char*>(nullptr));
    set.AddProp("wide", static_cast<const wchar_t*>(nullptr));
    EXPECT_EQ(get<std::string>(set, "narrow"), "");
    EXPECT_EQ(get<std::wstring>(set, "wide"), L"");
}

TEST_F(PropertySet, SetPropertyAcceptsSameValueTwice) {
    CZtTempPropertySet set;
    EXPECT_EQ(set.SetProperty(CZtProperty("n", std::uint32_t{1})), bus_success);
    EXPECT_EQ(set.SetProperty(CZtProperty("n", std::uint32_t{1})), bus_success);
    EXPECT_EQ(set.SetProperty(CZtProperty("n", std::uint32_t{2})), bus_success);
    EXPECT_EQ(get<std::uint32_t>(set, "n"), 2u);
    set_faults({{.function = "PsSetProperty", .call = 1, .returns = bus_informational},
                {.function = "PsSetProperty", .call = 2, .returns = bus_invalid_argument}});
    EXPECT_EQ(set.SetProperty(CZtProperty("n", true)), bus_informational);
    EXPECT_EQ(thrown_by([&] { std::ignore = set.SetProperty(CZtProperty("n", true)); }),
              bus_invalid_argument);
    EXPECT_EQ(traces,
              Strings{"4 clusapiprov: ERROR: CZtPropertySet::SetProperty(CZtProperty) Failed "
                      "to set property n, setting a property to the same value twice is "
                      "invalid."});
}

}  // namespace
