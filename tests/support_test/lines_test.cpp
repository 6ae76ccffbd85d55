// Tests of support/trace_lines.h and support/line_difference.h.
#include "support/line_difference.h"
#include "support/trace_lines.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <filesystem>
#include <fstream>

namespace {

using support::LogLine;
using support::same_lines;
using Lines = std::vector<std::string>;

class LogFile : public testing::Test {
  protected:
    ~LogFile() override { std::filesystem::remove(m_path); }

    // Reads a log with these contents.
    Lines read(const std::string& contents) {
        std::ofstream(m_path, std::ios::binary) << contents;
        return support::read_log_messages(m_path, error);
    }

    std::string error;

  private:
    std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                   ("log-" + std::to_string(GetCurrentProcessId()) + ".txt");
};

const std::string prefix = "11/20/26 08:03:09 [PID:32,TID:1036] ";

TEST_F(LogFile, ReadsCompleteLines) {
    EXPECT_EQ(read(prefix + "Entering X\r\n" + prefix + "\r\n" + prefix + "ends in\n\r\n"),
              (Lines{"Entering X", "", "ends in\n"}));
    EXPECT_EQ(error, "");
}

TEST_F(LogFile, ParsesProcessAndThreadIds) {
    LogLine line;
    ASSERT_TRUE(support::parse_line("11/20/26 08:03:09 [PID:07,TID:1036] text", line));
    EXPECT_EQ(line.process, 7u);
    EXPECT_EQ(line.thread, 1036u);
}

TEST_F(LogFile, ReadsNoLinesFromMissingFile) {
    EXPECT_TRUE(support::read_log("no such file", error).empty());
    EXPECT_EQ(error, "");
}

TEST_F(LogFile, RejectsLineWithoutEnd) {
    EXPECT_EQ(read(prefix + "whole\r\n" + prefix + "torn"), Lines{"whole"});
    EXPECT_EQ(error, "line 2 has no line end: \"" + prefix + "torn\"");
}

TEST_F(LogFile, RejectsMixedLines) {
    EXPECT_EQ(read(prefix + "Entering" + prefix + "Exiting X\r\n"), Lines{});
    EXPECT_EQ(error, "line 1 is malformed: \"" + prefix + "Entering" + prefix + "Exiting X\"");
}

TEST_F(LogFile, RejectsMalformedPrefixes) {
    for (const char* wrong : {
             "text",
             "",
             "11/20/26 08:03:09 [PID:32,TID:1036]",        // no blank after the ids
             "11/20/26  08:03:09 [PID:32,TID:1036] text",  // two blanks
             "11/20/2026 08:03:09 [PID:32,TID:1036] text",
             "20/11/26 08:03:09 [PID:32,TID:1036] text",
             "11/20/26 8:03:09 [PID:32,TID:1036] text",
             "11/20/26 08:60:09 [PID:32,TID:1036] text",
             "11/20/26 08:03:09 [PID:7,TID:1036] text",  // fewer than two digits
             "11/20/26 08:03:09 [PID:032,TID:1036] text",
             "11/20/26 08:03:09 [TID:1036,PID:32] text",
             "11.20.26 08:03:09 [PID:32,TID:1036] text",
         }) {
        read(std::string(wrong) + "\r\n");
        EXPECT_NE(error, "") << wrong;
    }
}

TEST_F(LogFile, RejectsLineFeedAlone) {
    read(prefix + "text\n");
    EXPECT_NE(error, "");
}

TEST(ExpectedLine, ConvertsWideStringToCodePage) {
    EXPECT_EQ(support::Expected(2, L"Exiting X").text, "Exiting X");
    EXPECT_EQ(support::Expected(2, L"\u4e16").text, "?");
}

TEST(SameLines, AcceptsEqualLists) {
    EXPECT_TRUE(same_lines("lines", {}, {}));
    EXPECT_TRUE(same_lines("lines", {"a", "b"}, {"a", "b"}));
}

TEST(SameLines, ShowsEveryDifferenceInPlace) {
    const auto message = [](const Lines& found, const Lines& wanted) {
        const testing::AssertionResult result = same_lines("lines", found, wanted);
        EXPECT_FALSE(result);
        return std::string(result.message());
    };
    const std::string head = "lines differ (- is missing, + is unexpected):\n";
    EXPECT_EQ(message({"a", "c"}, {"a", "b", "c"}), head + "    a\n  - b\n    c\n");
    EXPECT_EQ(message({"a", "b", "c"}, {"a", "c"}), head + "    a\n  + b\n    c\n");
    EXPECT_EQ(message({"a", "x"}, {"a", "y"}), head + "    a\n  - y\n  + x\n");
    EXPECT_EQ(message({"b", "a"}, {"a", "b"}), head + "  - a\n    b\n  + a\n");
    EXPECT_EQ(message({}, {"a"}), head + "  - a\n");
    EXPECT_EQ(message({"a"}, {}), head + "  + a\n");
}

}  // namespace
