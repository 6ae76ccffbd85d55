// Compares two lists of lines.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace support {

// Succeeds if both lists are equal. Otherwise the failure shows them as one list, in which "-"
// marks a missing line and "+" an unexpected one.
testing::AssertionResult same_lines(const std::string& what, const std::vector<std::string>& found,
                                    const std::vector<std::string>& wanted);

}  // namespace support
