// Values of every type, for tests of the protocol.
#pragma once

#include "store/value.h"

#include <cstdint>
#include <limits>
#include <memory>
#include <string>

namespace lab {

inline constexpr GUID sample_guid = {
    0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};
inline constexpr opal_objid sample_id = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};

inline Scalar nested_set(PropertySet set) {
    return std::make_shared<PropertySet>(std::move(set));
}

// Returns a set with properties of every type, including awkward values.
inline PropertySet set_of_every_type() {
    using std::int32_t;
    using std::int64_t;
    using std::uint32_t;
    using std::uint64_t;
    const I18n message{7, "name", "catalog"};
    const I18n empty_message{0, "", ""};
    const I18nFormat format{"%1 of %2", {std::string("narrow"), std::wstring(L"w\u00efde")}};
    return {
        {"boolean", {TYPE_BOOLEAN, {true}}},
        {"int32", {TYPE_INT32, {std::numeric_limits<int32_t>::min()}}},
        {"uint32", {TYPE_UINT32, {std::numeric_limits<uint32_t>::max()}}},
        {"int64", {TYPE_INT64, {std::numeric_limits<int64_t>::min()}}},
        {"uint64", {TYPE_UINT64, {std::numeric_limits<uint64_t>::max()}}},
        {"str", {TYPE_STR, {std::string("text")}}},
        {"empty str", {TYPE_STR, {std::string()}}},
        {"str with a NUL", {TYPE_STR, {std::string("a\0b", 3)}}},
        {"wstr", {TYPE_WSTR, {std::wstring(L"t\u00ebxt \U0001f600")}}},
        {"empty wstr", {TYPE_WSTR, {std::wstring()}}},
        {"binary", {TYPE_BINARY, {Bytes{0x00, 0x7f, 0x80, 0xff}}}},
        {"empty binary", {TYPE_BINARY, {Bytes{}}}},
        {"guid", {TYPE_GUID, {sample_guid}}},
        {"propset",
         {TYPE_PROPSET,
          {nested_set({{"inner", {TYPE_PROPSET, {nested_set({{"x", {TYPE_INT32, {-1}}}})}}},
                       {"", {TYPE_STR, {std::string("a property without a name")}}}})}}},
        {"empty propset", {TYPE_PROPSET, {nested_set({})}}},
        {"objid", {TYPE_ZTOBJID, {sample_id}}},
        {"i18n", {TYPE_I18N, {message}}},
        {"i18n format", {TYPE_I18NFORMATSTRING, {format}}},
        {"time", {TYPE_TIME, {int64_t{133'000'000'000'000'000}}}},
        {"booleans", {TYPE_BOOLEANZ, {true, false, true}}},
        {"int32s", {TYPE_INT32Z, {int32_t{-1}, int32_t{0}, int32_t{1}}}},
        {"uint32s", {TYPE_UINT32Z, {uint32_t{1}, uint32_t{2}}}},
        {"no uint32s", {TYPE_UINT32Z, {}}},
        {"int64s", {TYPE_INT64Z, {int64_t{-1}}}},
        {"uint64s", {TYPE_UINT64Z, {uint64_t{1} << 63}}},
        {"strs", {TYPE_STRZ, {std::string(), std::string("b")}}},
        {"wstrs", {TYPE_WSTRZ, {std::wstring(L"a"), std::wstring()}}},
        {"guids", {TYPE_GUIDZ, {sample_guid, GUID{}}}},
        {"propsets", {TYPE_PROPSETZ, {nested_set({}), nested_set({{"y", {TYPE_UINT32, {1u}}}})}}},
        {"objids", {TYPE_ZTOBJIDZ, {opal_objid{}, sample_id}}},
        {"i18ns", {TYPE_I18NZ, {message, empty_message}}},
        {"i18n formats", {TYPE_I18NFORMATSTRINGZ, {format, I18nFormat{"none", {}}}}},
        {"times", {TYPE_TIMEZ, {int64_t{0}, int64_t{-1}}}},
    };
}

}  // namespace lab
