#include "trace_lines.h"

#include <cstdio>
#include <fstream>
#include <iterator>

namespace support {

bool parse_line(const std::string& line, LogLine& parsed) {
    unsigned month, day, year, hour, minute, second;
    int used = 0;
    if (std::sscanf(line.c_str(), "%2u/%2u/%2u %2u:%2u:%2u [PID:%u,TID:%u] %n", &month, &day, &year,
                    &hour, &minute, &second, &parsed.process, &parsed.thread, &used) != 8 ||
        used == 0) {
        return false;
    }
    // Written again as the log writes it: no blank or digit may differ.
    char again[80];
    std::snprintf(again, sizeof again, "%02u/%02u/%02u %02u:%02u:%02u [PID:%02u,TID:%02u] ", month,
                  day, year, hour, minute, second, parsed.process, parsed.thread);
    const std::string front = again;
    if (line.compare(0, front.size(), front) != 0) {
        return false;
    }
    parsed.text = line.substr(front.size());
    return true;
}

std::vector<LogLine> read_log(const std::filesystem::path& path, std::string& error) {
    error.clear();
    std::ifstream file(path, std::ios::binary);
    const std::string contents{std::istreambuf_iterator<char>(file), {}};
    std::vector<LogLine> lines;
    for (std::size_t at = 0; at < contents.size();) {
        const std::size_t end = contents.find("\r\n", at);
        LogLine line;
        if (end == std::string::npos || !parse_line(contents.substr(at, end - at), line)) {
            error = "line " + std::to_string(lines.size() + 1) + " is not whole: " +
                    contents.substr(at, end == std::string::npos ? end : end - at);
            return lines;
        }
        lines.push_back(line);
        at = end + 2;
    }
    return lines;
}

}  // namespace support
