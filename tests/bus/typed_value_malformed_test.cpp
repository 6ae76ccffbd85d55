// Values that do not fit their property's type, count or size. Each one is traced like a value
// of another type, freed and rejected; the caller's value stays unchanged. The values lie in
// memory that ends where they end.
#include "bus/property_set.h"
#include "bus/traces.h"
#include "support/guarded_buffer.h"
#include "support/interposer.h"

#include <cstring>
#include <iterator>

namespace {

using namespace farlo;
using namespace bus_test;
using namespace support;

class TypedValue : public ClassLayer {
  protected:
    // Reads `property` under the name "p", which fails. `type` ends the trace.
    template <class T>
    static void expect_rejected(const std::string& type, T& value, const opal_property& property) {
        traces.clear();
        const StandIn<decltype(PsFindProperty)> find(class_layer(), "PsFindProperty",
                                                     [&](auto, auto, opal_property* found) {
                                                         *found = property;
                                                         return ZTSTATUS_OK;
                                                     });
        const StandIn<decltype(PsFreeProperty)> free(
            class_layer(), "PsFreeProperty", [&](const opal_property* freed) {
                traces.push_back(freed->value == property.value ? "freed"
                                                                : "another property is freed");
                return ZTSTATUS_OK;
            });
        const CZtPropertySet set;
        EXPECT_EQ(thrown_by([&] { set.GetProp("p", value); }), bus_no_property);
        EXPECT_EQ(traces,
                  (Strings{"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property p is "
                           "not " +
                               type,
                           "freed"}));
    }
    // The same for a property of these bytes with `count` elements.
    template <class T>
    static void expect_rejected(const std::string& type, T& value, std::uint32_t count,
                                const void* bytes, std::size_t size) {
        const GuardedBuffer buffer(size);
        std::memcpy(buffer.data(), bytes, size);
        expect_rejected(type, value,
                        opal_property{"name in the set", TypeTag<T>::tag, count,
                                      static_cast<std::uint32_t>(size), buffer.data()});
    }
    // Reads arrays whose count is one more than the elements that their bytes hold: one element
    // of two, and the only element without its last byte. A container of three stays as it is.
    template <class Container, class Raw>
    static void expect_short_array_rejected(const char* type, const Raw& raw) {
        SCOPED_TRACE(type);
        Container values(3);
        expect_rejected(type, values, 2, &raw, sizeof raw);
        expect_rejected(type, values, 1, &raw, sizeof raw - 1);
        EXPECT_EQ(std::size(values), 3u);
    }
    template <class T, class Raw>
    static void expect_short_value_rejected(const char* type, const Raw& raw) {
        SCOPED_TRACE(type);
        T value{};
        expect_rejected(type, value, 1, &raw, sizeof raw - 1);
        expect_rejected(type, value, 1, &raw, 0);
    }
};

TEST_F(TypedValue, RejectsArrayShorterThanItsCount) {
    const GUID guid{};
    const opal_objid id{};
    const opal_i18n message = {1, "name", "catalog"};
    const opal_i18n_format format = {"f", 0, nullptr};
    const CZtTempPropertySet nested;
    expect_short_array_rejected<std::vector<std::int32_t>>("of TYPE_INT32Z", std::int32_t{7});
    expect_short_array_rejected<std::vector<std::uint32_t>>("of TYPE_UINT32Z", std::uint32_t{7});
    expect_short_array_rejected<std::vector<std::int64_t>>("of TYPE_INT64Z", std::int64_t{7});
    expect_short_array_rejected<std::vector<std::uint64_t>>("of TYPE_UINT64Z", std::uint64_t{7});
    expect_short_array_rejected<std::vector<ZtTime>>("of TYPE_TIMEZ", std::int64_t{7});
    expect_short_array_rejected<std::vector<bool>>("of TYPE_BOOLEANZ", opal_true);
    expect_short_array_rejected<std::vector<GUID>>("or TYPE_GUIDZ", guid);
    expect_short_array_rejected<std::vector<opal_objid>>("of TYPE_ZTOBJIDZ or TYPE_GUIDZ", id);
    const char* const narrow = "text";
    expect_short_array_rejected<Strings>("of TYPE_STRZ", narrow);
    const wchar_t* const wide = L"wide";
    expect_short_array_rejected<std::vector<std::wstring>>("of TYPE_WSTRZ", wide);
    expect_short_array_rejected<std::vector<ZtI18n>>("of TYPE_I18NZ", message);
    expect_short_array_rejected<std::list<ZtI18n>>("of TYPE_I18NZ", message);
    expect_short_array_rejected<std::vector<ZtI18nFormat>>("of TYPE_I18NFORMATSTRINGZ", format);
    expect_short_array_rejected<std::list<ZtI18nFormat>>("of TYPE_I18NFORMATSTRINGZ", format);
    expect_short_array_rejected<std::vector<CZtTempPropertySet>>("of TYPE_PROPSETZ",
                                                                 nested.handle());
}

TEST_F(TypedValue, RejectsValueShorterThanItsType) {
    const GUID guid{};
    const opal_objid id{};
    const CZtTempPropertySet nested;
    expect_short_value_rejected<bool>("of TYPE_BOOLEAN", opal_true);
    expect_short_value_rejected<std::int32_t>("of TYPE_INT32", std::int32_t{7});
    expect_short_value_rejected<std::uint32_t>("of TYPE_UINT32", std::uint32_t{7});
    expect_short_value_rejected<std::int64_t>("of TYPE_INT64", std::int64_t{7});
    expect_short_value_rejected<std::uint64_t>("of TYPE_UINT64", std::uint64_t{7});
    expect_short_value_rejected<ZtTime>("of TYPE_TIME", std::int64_t{7});
    expect_short_value_rejected<GUID>("of TYPE_GUID", guid);
    expect_short_value_rejected<opal_objid>("of TYPE_ZTOBJID or TYPE_GUID", id);
    expect_short_value_rejected<ZtI18n>("of TYPE_I18N", opal_i18n{1, "name", "catalog"});
    expect_short_value_rejected<ZtI18nFormat>("of TYPE_I18NFORMATSTRING",
                                              opal_i18n_format{"f", 0, nullptr});
    expect_short_value_rejected<CZtTempPropertySet>("of TYPE_PROPSET", nested.handle());
    std::uint32_t number = 42;
    expect_rejected("of TYPE_UINT32", number, 1, "abc", 3);
    EXPECT_EQ(number, 42u);
}

TEST_F(TypedValue, RejectsStringWithoutTerminator) {
    std::string narrow = "as it was";
    expect_rejected("of TYPE_STR", narrow, 1, "text", 4);
    expect_rejected("of TYPE_STR", narrow, 1, "", 0);
    EXPECT_EQ(narrow, "as it was");
    std::wstring wide = L"as it was";
    expect_rejected("of TYPE_WSTR", wide, 1, L"wide", 4 * sizeof(wchar_t));
    // The size ends within the second character.
    expect_rejected("of TYPE_WSTR", wide, 1, L"w", sizeof(wchar_t) + 1);
    EXPECT_EQ(wide, L"as it was");
}

TEST_F(TypedValue, RejectsStringInPlaceWithoutTerminator) {
    NarrowString narrow;
    expect_rejected("of TYPE_STR", narrow, 1, "text", 4);
    expect_rejected("of TYPE_STR", narrow,
                    opal_property{"name in the set", TYPE_STR, 1, 1, nullptr});
    EXPECT_STREQ(narrow.c_str(), "");
    EXPECT_EQ(narrow.length(), 0u);
    WideString wide;
    expect_rejected("of TYPE_WSTR", wide, 1, L"wide", 4 * sizeof(wchar_t));
    EXPECT_STREQ(wide.c_str(), L"");
    EXPECT_EQ(wide.length(), 0u);
}

TEST_F(TypedValue, RejectsBinaryWithoutBytes) {
    ZtBinary value;
    expect_rejected("of TYPE_BINARY", value,
                    opal_property{"name in the set", TYPE_BINARY, 1, 3, nullptr});
    EXPECT_EQ(value.size, 0u);
}

// The caller does not receive the elements before the NULL pointer either.
TEST_F(TypedValue, RejectsNullPointers) {
    Strings strings = {"as it was"};
    const char* const narrow[] = {"a", nullptr};
    expect_rejected("of TYPE_STRZ", strings, 2, narrow, sizeof narrow);
    EXPECT_EQ(strings, Strings{"as it was"});
    std::vector<std::wstring> wide_strings = {L"as it was"};
    const wchar_t* const wide[] = {L"a", nullptr};
    expect_rejected("of TYPE_WSTRZ", wide_strings, 2, wide, sizeof wide);
    EXPECT_EQ(wide_strings, std::vector<std::wstring>{L"as it was"});

    ZtI18n message = {9, "as it", "was"};
    for (const opal_i18n& raw : {opal_i18n{1, nullptr, "c"}, opal_i18n{1, "n", nullptr}}) {
        expect_rejected("of TYPE_I18N", message, 1, &raw, sizeof raw);
    }
    EXPECT_EQ(message.message_id, 9u);
    EXPECT_EQ(message.name, "as it");
    EXPECT_EQ(message.catalog, "was");
    std::vector<ZtI18n> messages = {message};
    const opal_i18n raw_messages[] = {{1, "n", "c"}, {2, "n", nullptr}};
    expect_rejected("of TYPE_I18NZ", messages, 2, raw_messages, sizeof raw_messages);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().message_id, 9u);
}

TEST_F(TypedValue, RejectsFormatWithMissingOrUnconvertibleString) {
    opal_insertion none[] = {{"one", nullptr}, {nullptr, nullptr}};
    opal_insertion not_convertible[] = {{"one", nullptr}, {nullptr, not_in_the_code_page}};
    const opal_i18n_format raws[] = {{nullptr, 0, nullptr},
                                     {"%1", 1, nullptr},
                                     {"%1 %2", 2, none},
                                     {"%1 %2", 2, not_convertible}};
    ZtI18nFormat format = {"as it", {"was"}};
    for (const opal_i18n_format& raw : raws) {
        SCOPED_TRACE(&raw - raws);
        expect_rejected("of TYPE_I18NFORMATSTRING", format, 1, &raw, sizeof raw);
        EXPECT_EQ(format.pattern, "as it");
        EXPECT_EQ(format.insertions, Strings{"was"});
    }
}

}  // namespace
