#include "lab/every_type.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

namespace lab_tests {
namespace {

// Compares the elements of a value one by one.
template <class T> std::function<void(const void*)> elements(std::vector<T> wanted) {
    return [wanted](const void* value) {
        for (std::size_t i = 0; i < wanted.size(); ++i) {
            EXPECT_EQ(static_cast<const T*>(value)[i], wanted[i]) << i;
        }
    };
}

std::function<void(const void*)> bytes(std::string wanted) {
    return [wanted](const void* value) {
        EXPECT_EQ(std::memcmp(value, wanted.data(), wanted.size()), 0);
    };
}

const opal_propset* sets(const void* value) {
    return static_cast<const opal_propset*>(value);
}

void expect_number_in(opal_propset set, const char* name, std::int32_t wanted) {
    opal_property property;
    ASSERT_EQ(PsFindProperty(set, name, &property), ZTSTATUS_OK);
    EXPECT_EQ(property.type, TYPE_INT32);
    EXPECT_EQ(*static_cast<const std::int32_t*>(property.value), wanted);
    EXPECT_EQ(PsFreeProperty(&property), ZTSTATUS_OK);
}

const char guid_bytes[] = "\x33\x22\x11\x00\x55\x44\x77\x66\x88\x99\xaa\xbb\xcc\xdd\xee\xff";

void expect_message(const opal_i18n& value, std::uint32_t id, const char* name,
                    const char* catalog) {
    EXPECT_EQ(value.message_id, id);
    EXPECT_STREQ(value.name, name);
    EXPECT_STREQ(value.catalog, catalog);
}

std::vector<TypeCase> element_types() {
    return {
        {"BOOLEAN", 1, "true", "true", 1, 1, elements<opal_bool>({opal_true})},
        {"INT32", 2, "-7", "-7", 1, 4, elements<std::int32_t>({-7})},
        {"UINT32", 3, "4294967295", "4294967295", 1, 4, elements<std::uint32_t>({0xffffffff})},
        {"INT64", 4, "-8", "-8", 1, 8, elements<std::int64_t>({-8})},
        {"UINT64", 5, "18446744073709551615", "18446744073709551615", 1, 8,
         elements<std::uint64_t>({UINT64_MAX})},
        {"STR", 6, R"("a\"b")", R"("a\"b")", 1, 4, bytes(std::string("a\"b\0", 4))},
        {"WSTR", 7, R"("\u00e9x")", R"("\u00e9x")", 1, 6,
         elements<wchar_t>({L'\u00e9', L'x', L'\0'})},
        {"BINARY", 8, "\"00ff10\"", "00ff10", 1, 3, bytes(std::string("\0\xff\x10", 3))},
        {"GUID", 9, "\"{00112233-4455-6677-8899-aabbccddeeff}\"",
         "{00112233-4455-6677-8899-aabbccddeeff}", 1, 16, bytes(std::string(guid_bytes, 16))},
        {"PROPSET", 10, R"({"n": {"type": "INT32", "value": 5}})", R"({"n": INT32 5})", 1,
         sizeof(opal_propset), [](const void* value) { expect_number_in(*sets(value), "n", 5); }},
        {"ZTOBJID", 11, "\"null\"", "@null", 1, 16, bytes(std::string(16, '\0'))},
        {"I18N", 16, R"({"id": 9, "name": "n", "catalog": "c"})", R"(message 9 "n" "c")", 1,
         sizeof(opal_i18n),
         [](const void* value) {
             expect_message(*static_cast<const opal_i18n*>(value), 9, "n", "c");
         }},
        {"I18NFORMATSTRING", 17, R"({"pattern": "%s", "insertions": ["a", {"wide": "b"}]})",
         R"(format "%s" ["a" "b"])", 1, sizeof(opal_i18n_format),
         [](const void* value) {
             const auto& format = *static_cast<const opal_i18n_format*>(value);
             EXPECT_STREQ(format.pattern, "%s");
             ASSERT_EQ(format.insertion_count, 2u);
             EXPECT_STREQ(format.insertions[0].string, "a");
             EXPECT_EQ(format.insertions[0].wide_string, nullptr);
             EXPECT_EQ(format.insertions[1].string, nullptr);
             EXPECT_STREQ(format.insertions[1].wide_string, L"b");
         }},
        {"TIME", 0x10005, "132000000000000000", "132000000000000000", 1, 8,
         elements<std::int64_t>({132000000000000000})},
    };
}

std::vector<TypeCase> array_types() {
    return {
        {"BOOLEANZ", 0x80000001, "[true, false]", "[true false]", 2, 2,
         elements<opal_bool>({opal_true, opal_false})},
        {"INT32Z", 0x80000002, "[1, -1]", "[1 -1]", 2, 8, elements<std::int32_t>({1, -1})},
        {"UINT32Z", 0x80000003, "[3]", "[3]", 1, 4, elements<std::uint32_t>({3})},
        {"INT64Z", 0x80000004, "[-4, 4]", "[-4 4]", 2, 16, elements<std::int64_t>({-4, 4})},
        {"UINT64Z", 0x80000005, "[]", "[]", 0, 0,
         [](const void* value) { EXPECT_EQ(value, nullptr); }},
        {"STRZ", 0x80000006, R"(["", "b"])", R"(["" "b"])", 2, 2 * sizeof(char*),
         [](const void* value) {
             EXPECT_STREQ(static_cast<const char* const*>(value)[0], "");
             EXPECT_STREQ(static_cast<const char* const*>(value)[1], "b");
         }},
        {"WSTRZ", 0x80000007, R"(["w", ""])", R"(["w" ""])", 2, 2 * sizeof(wchar_t*),
         [](const void* value) {
             EXPECT_STREQ(static_cast<const wchar_t* const*>(value)[0], L"w");
             EXPECT_STREQ(static_cast<const wchar_t* const*>(value)[1], L"");
         }},
        {"GUIDZ", 0x80000009,
         R"(["{00000000-0000-0000-0000-000000000000}", "{00112233-4455-6677-8899-aabbccddeeff}"])",
         "[{00000000-0000-0000-0000-000000000000} {00112233-4455-6677-8899-aabbccddeeff}]", 2, 32,
         bytes(std::string(16, '\0') + std::string(guid_bytes, 16))},
        {"PROPSETZ", 0x8000000a, R"([{}, {"n": {"type": "INT32", "value": 6}}])",
         R"([{} {"n": INT32 6}])", 2, 2 * sizeof(opal_propset),
         [](const void* value) {
             opal_property none;
             EXPECT_EQ(PsFindProperty(sets(value)[0], "n", &none), ZTERROR_PROPERTY);
             expect_number_in(sets(value)[1], "n", 6);
         }},
        {"ZTOBJIDZ", 0x8000000b, R"(["null", "null"])", "[@null @null]", 2, 32,
         bytes(std::string(32, '\0'))},
        {"I18NZ", 0x80000010,
         R"([{"id": 1, "name": "", "catalog": "x"}, {"id": 2, "name": "y", "catalog": ""}])",
         R"([message 1 "" "x" message 2 "y" ""])", 2, 2 * sizeof(opal_i18n),
         [](const void* value) {
             expect_message(static_cast<const opal_i18n*>(value)[0], 1, "", "x");
             expect_message(static_cast<const opal_i18n*>(value)[1], 2, "y", "");
         }},
        {"I18NFORMATSTRINGZ", 0x80000011, R"([{"pattern": "s"}])", R"([format "s" []])", 1,
         sizeof(opal_i18n_format),
         [](const void* value) {
             const auto& format = *static_cast<const opal_i18n_format*>(value);
             EXPECT_STREQ(format.pattern, "s");
             EXPECT_EQ(format.insertion_count, 0u);
             EXPECT_EQ(format.insertions, nullptr);
         }},
        {"TIMEZ", 0x80010005, "[0, 1]", "[0 1]", 2, 16, elements<std::int64_t>({0, 1})},
    };
}

}  // namespace

const std::vector<TypeCase>& every_type() {
    static const std::vector<TypeCase> cases = [] {
        std::vector<TypeCase> all = element_types();
        for (TypeCase& type : array_types()) {
            all.push_back(std::move(type));
        }
        return all;
    }();
    return cases;
}

std::string scenario_with(const TypeCase& type) {
    return R"({"objects": [{"name": "o", "type": "thing", "properties": {"p": {"type": ")" +
           type.type + R"(", "value": )" + type.json + "}}}]}";
}

}  // namespace lab_tests
