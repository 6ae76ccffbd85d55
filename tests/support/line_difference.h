// Two lists of lines, compared for a reader.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace support {

// Success when both are the same; otherwise a failure that shows both as one
// list: " " a line of both, "-" one that is missing, "+" one too many.
testing::AssertionResult same_lines(const std::string& what, const std::vector<std::string>& found,
                                    const std::vector<std::string>& wanted);

}  // namespace support
