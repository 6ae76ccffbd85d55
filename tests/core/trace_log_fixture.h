// The trace log, through exports that write a line and touch nothing else.
#pragma once

#include "support/farlo_test.h"

#include <fstream>

namespace support {

class Log : public testing::Test {
  protected:
    void SetUp() override {
        environment().set_trace_level(0);
        environment().remove_logs();
    }

    const std::filesystem::path log = environment().log_file();
    const std::filesystem::path older = environment().log_file().wstring() + L".0";

    // Two lines: the call and, as the handle is NULL, its failure.
    static void write_lines(const FarloDll& dll, const std::wstring& name) {
        EXPECT_EQ(CALL(dll, OnlineDgExW)(nullptr, name.c_str(), nullptr, nullptr, 0, 0), 100u);
    }
    static std::string first_line(const std::string& name) {
        return "OnlineDg " + name + " is called with flag 0x0";
    }
    static constexpr char second_line[] = "OnlineDgExW() failed , NULL opal_handle, error=(0x64) ";

    static std::vector<std::string> texts(const std::filesystem::path& path) {
        std::string error;
        std::vector<std::string> result;
        for (const LogLine& line : read_log(path, error)) {
            result.push_back(line.text);
        }
        EXPECT_EQ(error, "");
        return result;
    }

    // A folder, made with its "logs", in which the log's path has that many characters.
    // VMPATH names it until the object's end.
    class LongFolder {
      public:
        explicit LongFolder(std::size_t path_length) {
            constexpr std::size_t tail = sizeof R"(logs\farlo.log)" - 1;
            std::wstring folder = environment().folder().wstring() + LR"(\)";
            folder += std::wstring(100, L'f') + LR"(\)";
            folder += std::wstring(path_length - tail - 1 - folder.size(), L'x') + LR"(\)";
            // Beyond the limit of paths without this prefix.
            const std::wstring logs = LR"(\\?\)" + folder + L"logs";
            std::filesystem::create_directories(logs);
            m_log = logs + LR"(\farlo.log)";
            GetEnvironmentVariableW(L"VMPATH", m_vmpath, MAX_PATH);
            SetEnvironmentVariableW(L"VMPATH", folder.c_str());
        }
        ~LongFolder() {
            SetEnvironmentVariableW(L"VMPATH", m_vmpath);
            std::filesystem::remove_all(LR"(\\?\)" + environment().folder().wstring() + LR"(\)" +
                                        std::wstring(100, L'f'));
        }
        LongFolder(const LongFolder&) = delete;
        LongFolder& operator=(const LongFolder&) = delete;

        const std::filesystem::path& log() const { return m_log; }

      private:
        std::filesystem::path m_log;
        wchar_t m_vmpath[MAX_PATH];
    };

    // Of a file; empty when there is none.
    static std::string contents(const std::filesystem::path& path) {
        std::error_code missing;
        const std::uintmax_t size = std::filesystem::file_size(path, missing);
        std::string text(missing ? 0 : size, '\0');
        std::ifstream(path, std::ios::binary)
            .read(text.data(), static_cast<std::streamsize>(text.size()));
        return text;
    }
};

using Texts = std::vector<std::string>;

}  // namespace support
