#include "support/trace_lines.h"

#include <windows.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <utility>

namespace support {
namespace {

constexpr char ids_begin[] = "[PID:";

std::string in_code_page(const wchar_t* string) {
    const int size = WideCharToMultiByte(CP_ACP, 0, string, -1, nullptr, 0, nullptr, nullptr);
    std::string result(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, string, -1, result.data(), size, nullptr, nullptr);
    result.pop_back();
    return result;
}

}  // namespace

Expected::Expected(unsigned line_level, const wchar_t* line)
    : level(line_level), text(in_code_page(line)) {}

bool parse_line(const std::string& line, LogLine& parsed) {
    unsigned month, day, year, hour, minute, second;
    int used = 0;
    if (std::sscanf(line.c_str(), "%2u/%2u/%2u %2u:%2u:%2u [PID:%u,TID:%u]%n", &month, &day, &year,
                    &hour, &minute, &second, &parsed.process, &parsed.thread, &used) != 8 ||
        used == 0 || month < 1 || month > 12 || day < 1 || day > 31 || hour > 23 || minute > 59 ||
        second > 60) {
        return false;
    }
    // Formats the prefix again, because sscanf accepts other blanks and digits than the log has.
    char formatted[80];
    std::snprintf(formatted, sizeof formatted, "%02u/%02u/%02u %02u:%02u:%02u [PID:%02u,TID:%02u] ",
                  month, day, year, hour, minute, second, parsed.process, parsed.thread);
    const std::string prefix = formatted;
    if (line.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    parsed.text = line.substr(prefix.size());
    return parsed.text.find(ids_begin) == std::string::npos &&
           parsed.text.find('\0') == std::string::npos;
}

std::vector<LogLine> read_log(const std::filesystem::path& path, std::string& error) {
    error.clear();
    std::ifstream file(path, std::ios::binary);
    const std::string contents{std::istreambuf_iterator<char>(file), {}};
    std::vector<LogLine> lines;
    for (std::size_t at = 0; at < contents.size();) {
        const std::size_t end = contents.find("\r\n", at);
        const std::string text = contents.substr(at, end - at);
        LogLine line;
        if (end == std::string::npos || !parse_line(text, line)) {
            error = "line " + std::to_string(lines.size() + 1) +
                    (end == std::string::npos ? " has no line end: \"" : " is malformed: \"") +
                    text + "\"";
            return lines;
        }
        lines.push_back(line);
        at = end + 2;
    }
    return lines;
}

std::vector<std::string> read_log_messages(const std::filesystem::path& path, std::string& error) {
    std::vector<std::string> messages;
    for (const LogLine& line : read_log(path, error)) {
        messages.push_back(line.text);
    }
    return messages;
}

}  // namespace support
