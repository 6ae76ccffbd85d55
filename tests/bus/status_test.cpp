// is_failure. The statuses are chosen by their bits, not by their meaning.
#include "bus/status.h"

#include <gtest/gtest.h>

using farlo::is_failure;

TEST(IsFailure, Facility100FailsOnlyWithBothTopBits) {
    EXPECT_TRUE(is_failure(0xC1000001));
    EXPECT_FALSE(is_failure(0x81000001));
    EXPECT_FALSE(is_failure(0x41000012));
    EXPECT_FALSE(is_failure(0x01000001));
    EXPECT_TRUE(is_failure(0xF1000001));
}

TEST(IsFailure, Facility0FailsUnlessZero) {
    EXPECT_FALSE(is_failure(0));
    EXPECT_TRUE(is_failure(1));
    EXPECT_TRUE(is_failure(0x40000001));
    EXPECT_TRUE(is_failure(0x80000000));
    EXPECT_TRUE(is_failure(0xF0000000));
    EXPECT_TRUE(is_failure(0x0000FFFF));
}

TEST(IsFailure, OtherFacilitiesFailWithTopBit) {
    EXPECT_TRUE(is_failure(0x80070005));
    EXPECT_TRUE(is_failure(0xE5150047));
    EXPECT_FALSE(is_failure(0x40070005));
    EXPECT_FALSE(is_failure(0x00010000));
    EXPECT_TRUE(is_failure(0x80FF0000));
    EXPECT_FALSE(is_failure(0x41010000));
}
