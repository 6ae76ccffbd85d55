// A running service, and labctl.exe, which changes it.
#pragma once

#include "service/service_fixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <string>

namespace support {

class LabctlTest : public ServiceTest {
  protected:
    // Runs labctl for the service. What it prints has plain line feeds.
    DWORD labctl(const std::wstring& arguments) {
        const Process process(L"labctl.exe " + arguments);
        const std::optional<DWORD> code = process.wait(hang_ms);
        EXPECT_TRUE(code.has_value()) << "it still runs";
        output = without_returns(process.output());
        errors = without_returns(process.errors());
        return code.value_or(~0u);
    }
    // Expects success without a message.
    void expect_done(const std::wstring& arguments) {
        EXPECT_EQ(labctl(arguments), 0u);
        EXPECT_EQ(output, "");
        EXPECT_EQ(errors, "");
    }
    void expect_printed(const std::wstring& arguments, const std::string& lines) {
        EXPECT_EQ(labctl(arguments), 0u);
        EXPECT_EQ(output, lines);
        EXPECT_EQ(errors, "");
    }
    // Expects one line on stderr, after the program's name.
    void expect_refused(const std::wstring& arguments, const std::string& reason) {
        EXPECT_EQ(labctl(arguments), 1u);
        EXPECT_EQ(output, "");
        EXPECT_EQ(errors, "labctl: " + reason + "\n");
    }
    // The same for a command line that is wrong.
    void expect_misused(const std::wstring& arguments, const std::string& reason) {
        EXPECT_EQ(labctl(arguments), 2u);
        EXPECT_EQ(output, "");
        EXPECT_EQ(errors, "labctl: " + reason + "\n");
    }

    std::string output;
    std::string errors;

  private:
    static std::string without_returns(std::string text) {
        std::erase(text, '\r');
        return text;
    }
};

// JSON as an argument.
inline std::wstring json(const std::wstring& text) {
    std::wstring argument = L"\"";
    for (const wchar_t character : text) {
        argument += character == L'"' ? std::wstring(L"\\\"") : std::wstring(1, character);
    }
    return argument + L"\"";
}

}  // namespace support
