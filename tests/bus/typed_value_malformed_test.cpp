// Values that are not what their property says: each is traced as a value of
// another type is, freed and refused. They are read from memory that ends where
// the value does; the caller's value stays as it was.
#include "bus/property_set.h"
#include "bus/traces.h"
#include "support/guarded_buffer.h"
#include "support/interposer.h"

#include <cstring>
#include <iterator>

namespace {

using namespace farlo;
using namespace bus_test;
using support::GuardedBuffer;
using support::StandIn;

class MalformedValues : public ClassLayer {
  protected:
    // Reads a property that is refused, as "p". `type` ends the trace.
    template <class T>
    static void refuses(const std::string& type, T& value, const opal_property& property) {
        traces.clear();
        const StandIn<decltype(PsFindProperty)> find(class_layer(), "PsFindProperty",
                                                     [&](auto, auto, opal_property* found) {
                                                         *found = property;
                                                         return ZTSTATUS_OK;
                                                     });
        const StandIn<decltype(PsFreeProperty)> free(
            class_layer(), "PsFreeProperty", [&](const opal_property* freed) {
                traces.push_back(freed->value == property.value ? "freed" : "another is freed");
                return ZTSTATUS_OK;
            });
        const CZtPropertySet set;
        EXPECT_EQ(thrown_by([&] { set.GetProp("p", value); }), 0xc100003au);
        EXPECT_EQ(traces, (Texts{"6 clusapiprov: ERROR: CZtPropertySet::GetProp() : Property p is "
                                 "not " +
                                     type,
                                 "freed"}));
    }
    // Reads `size` bytes as a property that says it has `count` elements.
    template <class T>
    static void refuses(const std::string& type, T& value, std::uint32_t count, const void* bytes,
                        std::size_t size) {
        const GuardedBuffer buffer(size);
        std::memcpy(buffer.data(), bytes, size);
        refuses(type, value,
                opal_property{"name in the set", TypeTag<T>::tag, count,
                              static_cast<std::uint32_t>(size), buffer.data()});
    }
    // A container of three keeps its three when an array says it has one element
    // more than its bytes hold: after one whole element, or a byte too little.
    template <class Container, class Raw>
    static void refuses_a_short_array(const char* type, const Raw& raw) {
        SCOPED_TRACE(type);
        Container values(3);
        refuses(type, values, 2, &raw, sizeof raw);
        refuses(type, values, 1, &raw, sizeof raw - 1);
        EXPECT_EQ(std::size(values), 3u);
    }
    template <class T, class Raw>
    static void refuses_a_short_value(const char* type, const Raw& raw) {
        SCOPED_TRACE(type);
        T value{};
        refuses(type, value, 1, &raw, sizeof raw - 1);
        refuses(type, value, 1, &raw, 0);
    }
};

TEST_F(MalformedValues, ArraysThatHaveFewerElementsThanTheySay) {
    const GUID guid{};
    const opal_objid id{};
    const opal_i18n message = {1, "name", "catalog"};
    const opal_i18n_format format = {"f", 0, nullptr};
    const CZtTempPropertySet nested;
    refuses_a_short_array<std::vector<std::int32_t>>("of TYPE_INT32Z", std::int32_t{7});
    refuses_a_short_array<std::vector<std::uint32_t>>("of TYPE_UINT32Z", std::uint32_t{7});
    refuses_a_short_array<std::vector<std::int64_t>>("of TYPE_INT64Z", std::int64_t{7});
    refuses_a_short_array<std::vector<std::uint64_t>>("of TYPE_UINT64Z", std::uint64_t{7});
    refuses_a_short_array<std::vector<ZtTime>>("of TYPE_TIMEZ", std::int64_t{7});
    refuses_a_short_array<std::vector<bool>>("of TYPE_BOOLEANZ", opal_true);
    refuses_a_short_array<std::vector<GUID>>("or TYPE_GUIDZ", guid);
    refuses_a_short_array<std::vector<opal_objid>>("of TYPE_ZTOBJIDZ or TYPE_GUIDZ", id);
    const char* const text = "text";
    refuses_a_short_array<Texts>("of TYPE_STRZ", text);
    const wchar_t* const wide = L"wide";
    refuses_a_short_array<std::vector<std::wstring>>("of TYPE_WSTRZ", wide);
    refuses_a_short_array<std::vector<ZtI18n>>("of TYPE_I18NZ", message);
    refuses_a_short_array<std::list<ZtI18n>>("of TYPE_I18NZ", message);
    refuses_a_short_array<std::vector<ZtI18nFormat>>("of TYPE_I18NFORMATSTRINGZ", format);
    refuses_a_short_array<std::list<ZtI18nFormat>>("of TYPE_I18NFORMATSTRINGZ", format);
    refuses_a_short_array<std::vector<CZtTempPropertySet>>("of TYPE_PROPSETZ", nested.handle());
}

TEST_F(MalformedValues, ValuesThatAreShorterThanTheirType) {
    const GUID guid{};
    const opal_objid id{};
    const CZtTempPropertySet nested;
    refuses_a_short_value<bool>("of TYPE_BOOLEAN", opal_true);
    refuses_a_short_value<std::int32_t>("of TYPE_INT32", std::int32_t{7});
    refuses_a_short_value<std::uint32_t>("of TYPE_UINT32", std::uint32_t{7});
    refuses_a_short_value<std::int64_t>("of TYPE_INT64", std::int64_t{7});
    refuses_a_short_value<std::uint64_t>("of TYPE_UINT64", std::uint64_t{7});
    refuses_a_short_value<ZtTime>("of TYPE_TIME", std::int64_t{7});
    refuses_a_short_value<GUID>("of TYPE_GUID", guid);
    refuses_a_short_value<opal_objid>("of TYPE_ZTOBJID or TYPE_GUID", id);
    refuses_a_short_value<ZtI18n>("of TYPE_I18N", opal_i18n{1, "name", "catalog"});
    refuses_a_short_value<ZtI18nFormat>("of TYPE_I18NFORMATSTRING",
                                        opal_i18n_format{"f", 0, nullptr});
    refuses_a_short_value<CZtTempPropertySet>("of TYPE_PROPSET", nested.handle());
    std::uint32_t number = 42;
    refuses("of TYPE_UINT32", number, 1, "abc", 3);
    EXPECT_EQ(number, 42u);
}

TEST_F(MalformedValues, TextsWithoutATerminatorInTheirSize) {
    std::string text = "as it was";
    refuses("of TYPE_STR", text, 1, "text", 4);
    refuses("of TYPE_STR", text, 1, "", 0);
    EXPECT_EQ(text, "as it was");
    std::wstring wide = L"as it was";
    refuses("of TYPE_WSTR", wide, 1, L"wide", 4 * sizeof(wchar_t));
    // Half a character after the last whole one.
    refuses("of TYPE_WSTR", wide, 1, L"w", sizeof(wchar_t) + 1);
    EXPECT_EQ(wide, L"as it was");
}

TEST_F(MalformedValues, StringsReadInPlaceWithoutATerminatorInTheirSize) {
    NarrowText narrow;
    refuses("of TYPE_STR", narrow, 1, "text", 4);
    refuses("of TYPE_STR", narrow, opal_property{"name in the set", TYPE_STR, 1, 1, nullptr});
    EXPECT_STREQ(narrow.c_str(), "");
    EXPECT_EQ(narrow.length(), 0u);
    WideText wide;
    refuses("of TYPE_WSTR", wide, 1, L"wide", 4 * sizeof(wchar_t));
    EXPECT_STREQ(wide.c_str(), L"");
    EXPECT_EQ(wide.length(), 0u);
}

TEST_F(MalformedValues, BytesThatAreNowhere) {
    ZtBinary value;
    refuses("of TYPE_BINARY", value, opal_property{"name in the set", TYPE_BINARY, 1, 3, nullptr});
    EXPECT_EQ(value.size, 0u);
}

// The elements before the NULL one are not given to the caller either.
TEST_F(MalformedValues, PointersThatAreNull) {
    Texts texts = {"as it was"};
    const char* const narrow[] = {"a", nullptr};
    refuses("of TYPE_STRZ", texts, 2, narrow, sizeof narrow);
    EXPECT_EQ(texts, Texts{"as it was"});
    std::vector<std::wstring> wide_texts = {L"as it was"};
    const wchar_t* const wide[] = {L"a", nullptr};
    refuses("of TYPE_WSTRZ", wide_texts, 2, wide, sizeof wide);
    EXPECT_EQ(wide_texts, std::vector<std::wstring>{L"as it was"});

    ZtI18n message = {9, "as it", "was"};
    for (const opal_i18n& raw : {opal_i18n{1, nullptr, "c"}, opal_i18n{1, "n", nullptr}}) {
        refuses("of TYPE_I18N", message, 1, &raw, sizeof raw);
    }
    EXPECT_EQ(message.message_id, 9u);
    EXPECT_EQ(message.name, "as it");
    EXPECT_EQ(message.catalog, "was");
    std::vector<ZtI18n> messages = {message};
    const opal_i18n raw_messages[] = {{1, "n", "c"}, {2, "n", nullptr}};
    refuses("of TYPE_I18NZ", messages, 2, raw_messages, sizeof raw_messages);
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages.front().message_id, 9u);
}

TEST_F(MalformedValues, FormatsWithoutTheirTexts) {
    opal_insertion none[] = {{"one", nullptr}, {nullptr, nullptr}};
    opal_insertion not_convertible[] = {{"one", nullptr}, {nullptr, not_in_the_code_page}};
    const opal_i18n_format raws[] = {{nullptr, 0, nullptr},
                                     {"%1", 1, nullptr},
                                     {"%1 %2", 2, none},
                                     {"%1 %2", 2, not_convertible}};
    ZtI18nFormat format = {"as it", {"was"}};
    for (const opal_i18n_format& raw : raws) {
        SCOPED_TRACE(&raw - raws);
        refuses("of TYPE_I18NFORMATSTRING", format, 1, &raw, sizeof raw);
        EXPECT_EQ(format.pattern, "as it");
        EXPECT_EQ(format.insertions, Texts{"was"});
    }
}

}  // namespace
