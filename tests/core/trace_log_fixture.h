// Tests of the trace log call exports that log their two lines and return.
#pragma once

#include "support/farlo_test.h"
#include "support/log_messages.h"

#include <fstream>

namespace support {

class TraceLog : public testing::Test {
  protected:
    void SetUp() override {
        environment().set_trace_level(0);
        environment().remove_logs();
    }

    const std::filesystem::path log = environment().log_file();
    const std::filesystem::path older = environment().log_file().wstring() + L".0";

    // Makes the library log two lines: the call and, because the handle is NULL, its failure.
    static void write_lines(const FarloDll& dll, const std::wstring& name) {
        EXPECT_EQ(CALL(dll, OnlineDgExW)(nullptr, name.c_str(), nullptr, nullptr, 0, 0),
                  FARLO_NULL_HANDLE);
    }
    static std::string first_line(const std::string& name) {
        return "OnlineDg " + name + " is called with flag 0x0";
    }
    static constexpr char second_line[] = "OnlineDgExW() failed , NULL opal_handle, error=(0x64) ";

    // A folder with a folder "logs" in it. The path of the log there has `path_length` characters.
    // VMPATH is the folder until the object is destroyed.
    class LongFolder {
      public:
        explicit LongFolder(std::size_t path_length) {
            constexpr std::size_t tail = sizeof R"(logs\farlo.log)" - 1;
            std::wstring folder = environment().folder().wstring() + LR"(\)";
            folder += std::wstring(100, L'f') + LR"(\)";
            folder += std::wstring(path_length - tail - 1 - folder.size(), L'x') + LR"(\)";
            // Paths of this length need the prefix.
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

    // The contents of a file; empty if it does not exist.
    static std::string contents(const std::filesystem::path& path) {
        std::error_code missing;
        const std::uintmax_t size = std::filesystem::file_size(path, missing);
        std::string result(missing ? 0 : size, '\0');
        std::ifstream(path, std::ios::binary)
            .read(result.data(), static_cast<std::streamsize>(result.size()));
        return result;
    }
};

using Messages = std::vector<std::string>;

}  // namespace support
