// The bodies of frames, byte by byte.
#include "service/wire_values.h"
#include "wire/frame.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

namespace {

using namespace lab;

using ByteList = std::vector<std::uint8_t>;

ByteList written(const PropertySet& set) {
    Writer writer;
    writer.set(set);
    return writer.take();
}

// The reader refers to the bytes, so both live in one function.
template <class Read> auto read_all(const ByteList& bytes, Read&& read) {
    Reader reader(bytes);
    auto result = read(reader);
    reader.finish();
    return result;
}

PropertySet read_set(const ByteList& bytes) {
    return read_all(bytes, [](Reader& reader) { return reader.set(); });
}

// A body of little-endian words.
ByteList words(std::initializer_list<std::uint32_t> values) {
    Writer writer;
    for (const std::uint32_t value : values) {
        writer.number(value);
    }
    return writer.take();
}

Value read_value(const ByteList& bytes) {
    return read_all(bytes, [](Reader& reader) { return reader.value(); });
}

TEST(Wire, CarriesEveryType) {
    const PropertySet all = set_of_every_type();
    std::set<std::uint32_t> types;
    for (const Property& property : all) {
        SCOPED_TRACE(property.name);
        types.insert(property.value.type);
        const PropertySet one{property};
        EXPECT_TRUE(same(read_set(written(one)), one));
    }
    // 14 types, of which 13 have an array type.
    EXPECT_EQ(types.size(), 27u);
    EXPECT_TRUE(same(read_set(written(all)), all));
}

TEST(Wire, DistinguishesUnequalSets) {
    // The other tests rely on this comparison.
    const PropertySet one{{"a", {TYPE_INT32, {1}}}};
    EXPECT_FALSE(same(one, PropertySet{{"a", {TYPE_INT32, {2}}}}));
    EXPECT_FALSE(same(one, PropertySet{{"b", {TYPE_INT32, {1}}}}));
    EXPECT_FALSE(same(one, PropertySet{}));
    EXPECT_FALSE(same(one, PropertySet{{"a", {TYPE_UINT32, {1u}}}}));
}

TEST(Wire, IsLittleEndian) {
    const PropertySet set{{"ab", {TYPE_UINT32, {0x01020304u}}},
                          {"c", {TYPE_WSTRZ, {std::wstring(L"\u1234")}}}};
    const ByteList expected = {2,    0,   0, 0,               // two properties
                               2,    0,   0, 0,    'a', 'b',  // name
                               3,    0,   0, 0,               // TYPE_UINT32
                               1,    0,   0, 0,               // one element
                               4,    3,   2, 1,               //
                               1,    0,   0, 0,    'c',       // name
                               7,    0,   0, 0x80,            // TYPE_WSTRZ
                               1,    0,   0, 0,               // one element
                               1,    0,   0, 0,               // one character
                               0x34, 0x12};
    EXPECT_EQ(written(set), expected);
    EXPECT_TRUE(same(read_set(expected), set));
}

TEST(Wire, WritesHeaderInTwentyBytes) {
    const FrameHeader header{frame_magic, frame_version, 3, 0x0a0b0c0d, 5};
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&header);
    const ByteList expected = {'Z', 'T', 'L',  'B',  2,    0,    0, 0, 3, 0,
                               0,   0,   0x0d, 0x0c, 0x0b, 0x0a, 5, 0, 0, 0};
    EXPECT_EQ(ByteList(bytes, bytes + sizeof header), expected);
}

TEST(Wire, CarriesObjectsAndStrings) {
    Writer writer;
    writer.objects({sample_id, opal_objid{}});
    writer.guid(sample_guid);
    writer.flag(true);
    writer.big_number(0x1122334455667788);
    writer.text("narrow");
    writer.wide(L"wide");
    const ByteList bytes = writer.take();
    Reader reader(bytes);
    const std::vector<opal_objid> ids = reader.objects();
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_EQ(std::memcmp(&ids[0], &sample_id, sizeof sample_id), 0);
    EXPECT_EQ(ids[1].bytes[0], 0);
    EXPECT_TRUE(IsEqualGUID(reader.guid(), sample_guid));
    EXPECT_TRUE(reader.flag());
    EXPECT_EQ(reader.big_number(), 0x1122334455667788u);
    EXPECT_EQ(reader.text(), "narrow");
    EXPECT_EQ(reader.wide(), L"wide");
    EXPECT_NO_THROW(reader.finish());
}

TEST(Wire, RejectsEveryTruncatedBody) {
    const ByteList whole = written(set_of_every_type());
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const ByteList part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_THROW(read_set(part), Malformed) << size;
    }
}

TEST(Wire, RejectsBytesAfterTheBody) {
    ByteList bytes = written(set_of_every_type());
    bytes.push_back(0);
    EXPECT_THROW(read_set(bytes), Malformed);
}

TEST(Wire, RejectsCountsBeyondTheBody) {
    const auto text = [](Reader& reader) { return reader.text(); };
    const auto wide = [](Reader& reader) { return reader.wide(); };
    const auto objects = [](Reader& reader) { return reader.objects(); };
    for (const std::uint32_t count : {5u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        SCOPED_TRACE(count);
        const ByteList bytes = words({count, 0});  // 4 bytes after the count
        EXPECT_THROW(read_all(bytes, text), Malformed);
        EXPECT_THROW(read_all(bytes, wide), Malformed);
        EXPECT_THROW(read_all(bytes, objects), Malformed);
        EXPECT_THROW(read_set(bytes), Malformed);
        EXPECT_THROW(read_value(words({TYPE_UINT32Z, count, 0})), Malformed);
        EXPECT_THROW(read_value(words({TYPE_PROPSETZ, count, 0})), Malformed);
        EXPECT_THROW(read_value(words({TYPE_I18NFORMATSTRING, 1, 0, count, 0})), Malformed);
    }
    // The largest counts that fit.
    EXPECT_EQ(read_all(words({4, 0x64636261}), text), "abcd");
    EXPECT_EQ(read_all(words({2, 0x00620061}), wide), L"ab");
    EXPECT_EQ(read_value(words({TYPE_UINT32Z, 1, 9})).elements.size(), 1u);
}

TEST(Wire, RejectsUnknownTypes) {
    for (const std::uint32_t type :
         {0u, 12u, 15u, 18u, 0x10004u, 0x7fffffffu, 0x80000000u, TYPE_ARRAY_BIT | TYPE_BINARY}) {
        SCOPED_TRACE(type);
        EXPECT_THROW(read_value(words({type, 1, 0, 0, 0, 0})), Malformed);
        EXPECT_THROW(read_value(words({type, 0})), Malformed);
    }
}

TEST(Wire, RejectsScalarsWithoutExactlyOneElement) {
    EXPECT_THROW(read_value(words({TYPE_UINT32, 0})), Malformed);
    EXPECT_THROW(read_value(words({TYPE_UINT32, 2, 1, 1})), Malformed);
    EXPECT_EQ(std::get<std::uint32_t>(read_value(words({TYPE_UINT32, 1, 8})).elements.at(0)), 8u);
}

TEST(Wire, RejectsInvalidFlags) {
    EXPECT_THROW(read_value(words({TYPE_BOOLEAN, 1, 2})), Malformed);
    EXPECT_THROW(read_value(words({TYPE_I18NFORMATSTRING, 1, 0, 1, 2, 0})), Malformed);
}

TEST(Wire, RejectsSetsNestedTooDeeply) {
    const auto nested = [](int depth) {
        PropertySet set;
        for (int i = 1; i < depth; ++i) {
            set = {{"p", {TYPE_PROPSET, {nested_set(set)}}}};
        }
        return set;
    };
    EXPECT_NO_THROW(read_set(written(nested(16))));
    EXPECT_THROW(read_set(written(nested(17))), Malformed);
    // Many sets at one level are not nested.
    Value many{TYPE_PROPSETZ, {}};
    for (int i = 0; i < 100; ++i) {
        many.elements.push_back(nested_set({}));
    }
    EXPECT_NO_THROW(read_set(written({{"many", many}})));
}

}  // namespace
