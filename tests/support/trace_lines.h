// The trace log as a test reads it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace support {

struct LogLine {
    unsigned process = 0;
    unsigned thread = 0;
    std::string text;
};

// A line that the DLL is to write, and its level. A wide text is meant as the
// log writes it: in the ANSI code page.
struct Expected {
    Expected(unsigned line_level, std::string line) : level(line_level), text(std::move(line)) {}
    Expected(unsigned line_level, const wchar_t* line);

    unsigned level;
    std::string text;
};

// Reads a log. A line that is not whole (date, time, ids, message, line end) or
// that holds parts of two is an error: `error` tells which, and is empty
// otherwise. No file is no line.
std::vector<LogLine> read_log(const std::filesystem::path& path, std::string& error);

// Parses one line without its line end.
bool parse_line(const std::string& line, LogLine& parsed);

}  // namespace support
