// Values that are not what their property says. They are read from memory that
// ends where the value does; the caller's value stays as it was.
#include "property_set.h"

#include "guarded_buffer.h"
#include "traces.h"

#include <cstring>
#include <iterator>

namespace {

using namespace farlo;
using namespace bus_test;
using support::GuardedBuffer;

class MalformedValues : public ClassLayer {
  protected:
    // Reads `size` bytes as a property that says it has `count` elements.
    template <class T>
    static void refuses(T& value, std::uint32_t count, const void* bytes, std::size_t size) {
        const GuardedBuffer buffer(size);
        std::memcpy(buffer.data(), bytes, size);
        const opal_property property = {"p", TypeTag<T>::tag, count,
                                        static_cast<std::uint32_t>(size), buffer.data()};
        EXPECT_EQ(thrown_by([&] { copy_value(property, value); }), 0xc100003au);
    }
    // A container of three keeps its three when an array says it has one element
    // more than its bytes hold: after one whole element, or a byte too little.
    template <class Container, class Raw> static void refuses_a_short_array(const Raw& raw) {
        SCOPED_TRACE(TypeTag<Container>::tag);
        Container values(3);
        refuses(values, 2, &raw, sizeof raw);
        refuses(values, 1, &raw, sizeof raw - 1);
        EXPECT_EQ(std::size(values), 3u);
    }
    template <class T, class Raw> static void refuses_a_short_value(const Raw& raw) {
        SCOPED_TRACE(TypeTag<T>::tag);
        T value{};
        refuses(value, 1, &raw, sizeof raw - 1);
        refuses(value, 1, &raw, 0);
    }
};

TEST_F(MalformedValues, ArraysThatHaveFewerElementsThanTheySay) {
    const GUID guid{};
    const opal_objid id{};
    const opal_i18n message = {1, "name", "catalog"};
    const opal_i18n_format format = {"f", 0, nullptr};
    const CZtTempPropertySet nested;
    refuses_a_short_array<std::vector<std::int32_t>>(std::int32_t{7});
    refuses_a_short_array<std::vector<std::uint32_t>>(std::uint32_t{7});
    refuses_a_short_array<std::vector<std::int64_t>>(std::int64_t{7});
    refuses_a_short_array<std::vector<std::uint64_t>>(std::uint64_t{7});
    refuses_a_short_array<std::vector<ZtTime>>(std::int64_t{7});
    refuses_a_short_array<std::vector<bool>>(opal_true);
    refuses_a_short_array<std::vector<GUID>>(guid);
    refuses_a_short_array<std::vector<opal_objid>>(id);
    const char* const text = "text";
    refuses_a_short_array<Texts>(text);
    const wchar_t* const wide = L"wide";
    refuses_a_short_array<std::vector<std::wstring>>(wide);
    refuses_a_short_array<std::vector<ZtI18n>>(message);
    refuses_a_short_array<std::list<ZtI18n>>(message);
    refuses_a_short_array<std::vector<ZtI18nFormat>>(format);
    refuses_a_short_array<std::list<ZtI18nFormat>>(format);
    refuses_a_short_array<std::vector<CZtTempPropertySet>>(nested.handle());
}

TEST_F(MalformedValues, ValuesThatAreShorterThanTheirType) {
    const GUID guid{};
    const opal_objid id{};
    const CZtTempPropertySet nested;
    refuses_a_short_value<bool>(opal_true);
    refuses_a_short_value<std::int32_t>(std::int32_t{7});
    refuses_a_short_value<std::uint32_t>(std::uint32_t{7});
    refuses_a_short_value<std::int64_t>(std::int64_t{7});
    refuses_a_short_value<std::uint64_t>(std::uint64_t{7});
    refuses_a_short_value<ZtTime>(std::int64_t{7});
    refuses_a_short_value<GUID>(guid);
    refuses_a_short_value<opal_objid>(id);
    refuses_a_short_value<ZtI18n>(opal_i18n{1, "name", "catalog"});
    refuses_a_short_value<ZtI18nFormat>(opal_i18n_format{"f", 0, nullptr});
    refuses_a_short_value<CZtTempPropertySet>(nested.handle());
    std::uint32_t number = 42;
    refuses(number, 1, "abc", 3);
    EXPECT_EQ(number, 42u);
}

TEST_F(MalformedValues, TextsWithoutATerminatorInTheirSize) {
    std::string text = "as it was";
    refuses(text, 1, "text", 4);
    refuses(text, 1, "", 0);
    EXPECT_EQ(text, "as it was");
    std::wstring wide = L"as it was";
    refuses(wide, 1, L"wide", 4 * sizeof(wchar_t));
    // Half a character behind the last whole one.
    refuses(wide, 1, L"w", sizeof(wchar_t) + 1);
    EXPECT_EQ(wide, L"as it was");
}

TEST_F(MalformedValues, BytesThatAreNowhere) {
    ZtBinary value;
    const opal_property property = {"p", TYPE_BINARY, 1, 3, nullptr};
    EXPECT_EQ(thrown_by([&] { copy_value(property, value); }), 0xc100003au);
    EXPECT_EQ(value.size, 0u);
}

// What stands in front of the element that is none is not given to the caller.
TEST_F(MalformedValues, PointersThatAreNull) {
    Texts texts = {"as it was"};
    const char* const narrow[] = {"a", nullptr};
    refuses(texts, 2, narrow, sizeof narrow);
    EXPECT_EQ(texts, Texts{"as it was"});
    std::vector<std::wstring> wide_texts = {L"as it was"};
    const wchar_t* const wide[] = {L"a", nullptr};
    refuses(wide_texts, 2, wide, sizeof wide);
    EXPECT_EQ(wide_texts, std::vector<std::wstring>{L"as it was"});

    ZtI18n message = {9, "as it", "was"};
    for (const opal_i18n& raw : {opal_i18n{1, nullptr, "c"}, opal_i18n{1, "n", nullptr}}) {
        refuses(message, 1, &raw, sizeof raw);
    }
    EXPECT_EQ(message.message_id, 9u);
    EXPECT_EQ(message.name, "as it");
    EXPECT_EQ(message.catalog, "was");
    std::vector<ZtI18n> messages = {message};
    const opal_i18n raw_messages[] = {{1, "n", "c"}, {2, "n", nullptr}};
    refuses(messages, 2, raw_messages, sizeof raw_messages);
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
        refuses(format, 1, &raw, sizeof raw);
        EXPECT_EQ(format.pattern, "as it");
        EXPECT_EQ(format.insertions, Texts{"was"});
    }
}

}  // namespace
