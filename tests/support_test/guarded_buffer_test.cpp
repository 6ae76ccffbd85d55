// Tests of support/guarded_buffer.h: buffers beside forbidden memory.
#include "support/guarded_buffer.h"
#include "support_test/misdeeds_dll.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <cstring>

namespace {

using support::GuardedBuffer;
using testing::HasSubstr;
using testing::StartsWith;

class Buffer : public testing::Test {
  protected:
    void write(GuardedBuffer& buffer, std::ptrdiff_t offset) {
        misdeeds.write_byte(buffer.as<char>(), static_cast<std::size_t>(offset), 'x');
    }

    const Misdeeds misdeeds;
};

TEST_F(Buffer, EndsAtForbiddenPage) {
    GuardedBuffer buffer(65);
    EXPECT_EQ((reinterpret_cast<std::uintptr_t>(buffer.data()) + 65) % 4096, 0u);
    write(buffer, 64);
    EXPECT_EQ(buffer.overrun(), "");
}

TEST_F(Buffer, BeginsAtForbiddenPage) {
    GuardedBuffer buffer(65, GuardedBuffer::Guard::before);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % 4096, 0u);
    write(buffer, 0);
    EXPECT_EQ(buffer.overrun(), "");
}

TEST_F(Buffer, ReportsWriteOneByteAfterEnd) {
    GuardedBuffer buffer(65);
    write(buffer, 65);
    EXPECT_THAT(buffer.overrun(), StartsWith("write at offset 65 by misdeeds.dll + 0x"));
}

TEST_F(Buffer, ReportsWriteOneByteBeforeBeginning) {
    GuardedBuffer guarded(65, GuardedBuffer::Guard::before);
    write(guarded, -1);
    EXPECT_THAT(guarded.overrun(), StartsWith("write at offset -1 by misdeeds.dll + 0x"));

    GuardedBuffer watched(65);
    write(watched, -1);
    EXPECT_EQ(watched.overrun(), "write at offset -1");
}

TEST_F(Buffer, ReportsReadOneByteAfterEnd) {
    GuardedBuffer buffer(65);
    misdeeds.read_byte(buffer.as<char>(), 65);
    EXPECT_THAT(buffer.overrun(), StartsWith("read at offset 65 by misdeeds.dll + 0x"));
}

TEST_F(Buffer, ReportsFirstAccess) {
    GuardedBuffer buffer(65);
    write(buffer, 66);
    write(buffer, 65);
    EXPECT_THAT(buffer.overrun(), StartsWith("write at offset 66 "));
}

TEST_F(Buffer, ReportsWriteToEmptyBuffer) {
    GuardedBuffer buffer(0);
    EXPECT_TRUE(buffer.untouched());
    write(buffer, 0);
    EXPECT_THAT(buffer.overrun(), StartsWith("write at offset 0 "));
}

TEST_F(Buffer, ReportsWriteAfterUnalignedBuffer) {
    GuardedBuffer buffer(8, GuardedBuffer::Guard::after, 3);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % 8, 5u);
    write(buffer, 8);
    EXPECT_EQ(buffer.overrun(), "write at offset 8");
}

TEST_F(Buffer, FailsTestInDestructor) {
    EXPECT_NONFATAL_FAILURE(
        {
            GuardedBuffer buffer(4);
            write(buffer, 4);
        },
        "beside a buffer of 4 bytes");
}

TEST_F(Buffer, ReportsWhetherItIsUntouched) {
    const GuardedBuffer buffer(4);
    EXPECT_TRUE(buffer.untouched());
    buffer.data()[2] = 1;
    EXPECT_FALSE(buffer.untouched());
    EXPECT_FALSE(buffer.untouched_from(2));
    EXPECT_TRUE(buffer.untouched_from(3));
}

TEST_F(Buffer, ComparesAllBytes) {
    constexpr std::uint8_t canary = GuardedBuffer::canary;
    const GuardedBuffer buffer(4);
    std::memcpy(buffer.data(), "\1\2", 2);
    EXPECT_EQ(buffer.difference({1, 2, canary, canary}), "");
    EXPECT_EQ(buffer.difference({1, 3, canary, canary}), "byte 1 is 0x2, wanted 0x3");
    EXPECT_EQ(buffer.difference({1, 2}), "sizes differ: 4, wanted 2");
    EXPECT_TRUE(buffer.holds({1, 2}));
    EXPECT_STREQ(buffer.holds({1, 3}).message(), "byte 1 is 0x2, wanted 0x3");
    EXPECT_STREQ(buffer.holds({1}).message(), "byte 1 was written: 0x2, wanted are 1 bytes");
    EXPECT_FALSE(buffer.holds({1, 2, 3, 4, 5}));
}

TEST_F(Buffer, ComparesStringsWithTerminator) {
    const GuardedBuffer narrow(8);
    std::memcpy(narrow.data(), "guid", 4);
    EXPECT_FALSE(narrow.holds_string("guid"));
    narrow.data()[4] = 0;
    EXPECT_TRUE(narrow.holds_string("guid"));
    EXPECT_FALSE(narrow.holds_string("gui"));
    EXPECT_FALSE(narrow.holds_string("guide"));

    const GuardedBuffer wide(8);
    std::memcpy(wide.data(), L"dg1", 8);
    EXPECT_TRUE(wide.holds_string(L"dg1"));
    EXPECT_FALSE(wide.holds_string(L"dg2"));
}

}  // namespace
