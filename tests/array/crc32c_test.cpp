#include "array/crc32c.h"

#include <gtest/gtest.h>

#include <string>

namespace {

// The examples of RFC 3720, B.4, and the usual check value.
TEST(Crc32c, MatchesThePublishedExamples) {
    EXPECT_EQ(lab::crc32c("123456789", 9), 0xe3069283U);
    EXPECT_EQ(lab::crc32c(std::string(32, '\0').data(), 32), 0x8a9136aaU);
    EXPECT_EQ(lab::crc32c(std::string(32, '\xff').data(), 32), 0x62a8ab43U);
    EXPECT_EQ(lab::crc32c("", 0), 0U);
}

}  // namespace
