// Files of the project whose contents tests check. FARLO_PROJECT is the project's folder.
#pragma once

#include "service/process.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cwchar>
#include <string>

namespace support {

// The contents of a file of the project, without carriage returns.
inline std::string project_file(const wchar_t* name) {
    std::string contents = read_text(std::wstring(FARLO_PROJECT) + name);
    EXPECT_NE(contents, "") << "there is no " << std::string(name, name + std::wcslen(name));
    std::erase(contents, '\r');
    return contents;
}

// The part between two marks, or "" if one of them is missing.
inline std::string between(const std::string& contents, const std::string& begin,
                           const std::string& end) {
    const std::size_t from = contents.find(begin);
    if (from == std::string::npos) {
        return "";
    }
    const std::size_t to = contents.find(end, from + begin.size());
    return to == std::string::npos ? ""
                                   : contents.substr(from + begin.size(), to - from - begin.size());
}

}  // namespace support
