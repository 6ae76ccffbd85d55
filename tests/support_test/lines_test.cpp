// What the tests stand on, tested: reading the log and comparing lines.
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

    // The texts of a log with these contents.
    Lines read(const std::string& contents) {
        std::ofstream(m_path, std::ios::binary) << contents;
        Lines texts;
        for (const LogLine& line : support::read_log(m_path, error)) {
            texts.push_back(line.text);
        }
        return texts;
    }

    std::string error;

  private:
    std::filesystem::path m_path = std::filesystem::temp_directory_path() /
                                   ("log-" + std::to_string(GetCurrentProcessId()) + ".txt");
};

const std::string front = "11/20/26 08:03:09 [PID:32,TID:1036] ";

TEST_F(LogFile, WholeLinesAreRead) {
    EXPECT_EQ(read(front + "Entering X\r\n" + front + "\r\n" + front + "ends in\n\r\n"),
              (Lines{"Entering X", "", "ends in\n"}));
    EXPECT_EQ(error, "");
}

TEST_F(LogFile, TheIdsAreTold) {
    LogLine line;
    ASSERT_TRUE(support::parse_line("11/20/26 08:03:09 [PID:07,TID:1036] text", line));
    EXPECT_EQ(line.process, 7u);
    EXPECT_EQ(line.thread, 1036u);
}

TEST_F(LogFile, NoFileIsNoLine) {
    EXPECT_TRUE(support::read_log("no such file", error).empty());
    EXPECT_EQ(error, "");
}

TEST_F(LogFile, ATornLineIsAnError) {
    EXPECT_EQ(read(front + "whole\r\n" + front + "torn"), Lines{"whole"});
    EXPECT_EQ(error, "line 2 has no end: \"" + front + "torn\"");
}

TEST_F(LogFile, TwoLinesMixedAreAnError) {
    EXPECT_EQ(read(front + "Entering" + front + "Exiting X\r\n"), Lines{});
    EXPECT_EQ(error, "line 1 is not whole: \"" + front + "Entering" + front + "Exiting X\"");
}

TEST_F(LogFile, EveryPartOfTheFrontCounts) {
    for (const char* wrong : {
             "text",
             "",
             "11/20/26 08:03:09 [PID:32,TID:1036]",        // no blank after the ids
             "11/20/26  08:03:09 [PID:32,TID:1036] text",  // two blanks
             "11/20/2026 08:03:09 [PID:32,TID:1036] text",
             "20/11/26 08:03:09 [PID:32,TID:1036] text",
             "11/20/26 8:03:09 [PID:32,TID:1036] text",
             "11/20/26 08:60:09 [PID:32,TID:1036] text",
             "11/20/26 08:03:09 [PID:7,TID:1036] text",  // two digits at least
             "11/20/26 08:03:09 [PID:032,TID:1036] text",
             "11/20/26 08:03:09 [TID:1036,PID:32] text",
             "11.20.26 08:03:09 [PID:32,TID:1036] text",
         }) {
        read(std::string(wrong) + "\r\n");
        EXPECT_NE(error, "") << wrong;
    }
}

TEST_F(LogFile, ALineEndAloneIsNoLineEnd) {
    read(front + "text\n");
    EXPECT_NE(error, "");
}

TEST(ExpectedLine, WideTextIsMeantInTheCodePage) {
    EXPECT_EQ(support::Expected(2, L"Exiting X").text, "Exiting X");
    EXPECT_EQ(support::Expected(2, L"\u4e16").text, "?");
}

TEST(SameLines, EqualListsAreTheSame) {
    EXPECT_TRUE(same_lines("lines", {}, {}));
    EXPECT_TRUE(same_lines("lines", {"a", "b"}, {"a", "b"}));
}

TEST(SameLines, EveryDifferenceIsShownInItsPlace) {
    const auto message = [](const Lines& found, const Lines& wanted) {
        const testing::AssertionResult result = same_lines("lines", found, wanted);
        EXPECT_FALSE(result);
        return std::string(result.message());
    };
    const std::string head = "lines differ (- is missing, + is too many):\n";
    EXPECT_EQ(message({"a", "c"}, {"a", "b", "c"}), head + "    a\n  - b\n    c\n");
    EXPECT_EQ(message({"a", "b", "c"}, {"a", "c"}), head + "    a\n  + b\n    c\n");
    EXPECT_EQ(message({"a", "x"}, {"a", "y"}), head + "    a\n  - y\n  + x\n");
    EXPECT_EQ(message({"b", "a"}, {"a", "b"}), head + "  - a\n    b\n  + a\n");
    EXPECT_EQ(message({}, {"a"}), head + "  - a\n");
    EXPECT_EQ(message({"a"}, {}), head + "  + a\n");
}

}  // namespace
