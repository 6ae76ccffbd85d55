// Many processes and threads write to one trace log while it rolls over.
#include "service/process.h"
#include "support/farlo_dll.h"
#include "support/trace_lines.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <map>

namespace {

using namespace support;

constexpr int processes = 8;
constexpr int threads = 4;
// Each call writes two lines: 20,000 in all.
constexpr int calls = 10'000 / (processes * threads);
// Wide enough for exactly one rollover.
constexpr int width = 1100;

HANDLE start_writer(int number) {
    std::wstring command = beside_this_program(L"log_writer.exe") + L" " + std::to_wstring(number) +
                           L" " + std::to_wstring(threads) + L" " + std::to_wstring(calls) + L" " +
                           std::to_wstring(width);
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                       &startup, &process) == FALSE) {
        return nullptr;
    }
    CloseHandle(process.hThread);
    return process.hProcess;
}

TEST(LogWriters, WriteEveryLineWholeAndInOrderAcrossRollover) {
    environment().remove_logs();
    std::vector<HANDLE> writers;
    for (int number = 0; number < processes; ++number) {
        writers.push_back(start_writer(number));
        ASSERT_NE(writers.back(), nullptr);
    }
    for (const HANDLE writer : writers) {
        WaitForSingleObject(writer, INFINITE);
        DWORD code = 1;
        GetExitCodeProcess(writer, &code);
        EXPECT_EQ(code, 0u);
        CloseHandle(writer);
    }

    const std::filesystem::path older = environment().log_file().wstring() + L".0";
    ASSERT_TRUE(std::filesystem::exists(older)) << "the log did not roll over";
    std::string error;
    std::vector<LogLine> lines = read_log(older, error);
    EXPECT_EQ(error, "");
    const std::vector<LogLine> newer = read_log(environment().log_file(), error);
    EXPECT_EQ(error, "");
    EXPECT_FALSE(newer.empty());
    lines.insert(lines.end(), newer.begin(), newer.end());

    // Every line of every thread is complete, present once and in order.
    std::map<std::pair<int, int>, int> next;
    std::size_t failures = 0;
    for (const LogLine& line : lines) {
        if (line.text == "OnlineDgExW() failed , NULL opal_handle, error=(0x64) ") {
            ++failures;
            continue;
        }
        int process = -1;
        int thread = -1;
        int number = -1;
        ASSERT_EQ(
            std::sscanf(line.text.c_str(), "OnlineDg p%d t%d n%d ", &process, &thread, &number), 3)
            << line.text;
        std::string name = "p" + std::to_string(process) + " t" + std::to_string(thread) + " n" +
                           std::to_string(number) + " ";
        name.resize(width, static_cast<char>('a' + thread));
        EXPECT_EQ(line.text, "OnlineDg " + name + " is called with flag 0x0");
        const int wanted = next[std::make_pair(process, thread)]++;
        EXPECT_EQ(number, wanted) << "process " << process << ", thread " << thread;
    }
    EXPECT_EQ(lines.size(), static_cast<std::size_t>(2 * processes * threads * calls));
    EXPECT_EQ(failures, static_cast<std::size_t>(processes * threads * calls));
    EXPECT_EQ(next.size(), static_cast<std::size_t>(processes * threads));
}

}  // namespace
