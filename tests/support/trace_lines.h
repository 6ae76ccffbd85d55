// Reads the trace log.
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

// A line that the DLL must log, and its level. A wide string is converted to the ANSI code page,
// like the library does before it logs one.
struct Expected {
    Expected(unsigned line_level, std::string line) : level(line_level), text(std::move(line)) {}
    Expected(unsigned line_level, const wchar_t* line);

    unsigned level;
    std::string text;
};

// Reads a log; none of its lines if there is no such file. `error` describes the first line that is
// incomplete (date, time, ids, message, line end) or mixed with another line, where reading stops.
// It is empty if there is none.
std::vector<LogLine> read_log(const std::filesystem::path& path, std::string& error);
// The messages of these lines.
std::vector<std::string> read_log_messages(const std::filesystem::path& path, std::string& error);

// Parses one line without its line end.
bool parse_line(const std::string& line, LogLine& parsed);

}  // namespace support
