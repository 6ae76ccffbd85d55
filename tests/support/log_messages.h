// The messages of a trace log.
#pragma once

#include "support/farlo_dll.h"
#include "support/trace_lines.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace support {

// The messages of all lines, in order. A line that is not whole fails the test.
inline std::vector<std::string>
log_messages(const std::filesystem::path& path = environment().log_file()) {
    std::string error;
    std::vector<std::string> messages = read_log_messages(path, error);
    EXPECT_EQ(error, "");
    return messages;
}

}  // namespace support
