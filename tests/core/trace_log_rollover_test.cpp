// The rollover of the trace log into its older generation, farlo.log.0.
#include "core/trace_log_fixture.h"

#include <io.h>

namespace {

using namespace support;

constexpr std::uintmax_t limit = 10'485'760;

class TraceLogRollover : public TraceLog {
  protected:
    // Creates a log of `size` bytes.
    void create_log(std::uintmax_t size) {
        std::ofstream(log, std::ios::binary) << std::string(size - 2, 'x') << "\r\n";
    }
};

TEST_F(TraceLogRollover, AppendsLineThatStaysBelowLimit) {
    FarloDll dll;
    write_lines(dll, L"x");
    const std::uintmax_t line = contents(log).find('\n') + 1;
    create_log(limit - line - 1);
    const std::string before = contents(log);
    EXPECT_EQ(CALL(dll, OnlineDgExW)(nullptr, L"x", nullptr, nullptr, 0, 0), FARLO_NULL_HANDLE);
    // The log is one byte below the limit after the first line; the second line rolls over.
    EXPECT_EQ(log_messages(log), Messages{second_line});
    const std::string rolled = contents(older);
    EXPECT_EQ(rolled.size(), limit - 1);
    EXPECT_EQ(rolled.substr(0, before.size()), before);
}

TEST_F(TraceLogRollover, RollsOverBeforeLineThatReachesLimit) {
    FarloDll dll;
    write_lines(dll, L"x");
    const std::uintmax_t line = contents(log).find('\n') + 1;
    std::ofstream(older) << "the generation before, longer than nothing";
    create_log(limit - line);
    const std::string before = contents(log);
    write_lines(dll, L"x");
    EXPECT_EQ(log_messages(log), (Messages{first_line("x"), second_line}));
    EXPECT_TRUE(contents(older) == before);
}

TEST_F(TraceLogRollover, CreatesOlderGeneration) {
    FarloDll dll;
    create_log(limit + 5);
    const std::string before = contents(log);
    write_lines(dll, L"x");
    EXPECT_EQ(log_messages(log), (Messages{first_line("x"), second_line}));
    EXPECT_TRUE(contents(older) == before);
}

// Returns what the process prints to stdout during `work`.
std::string printed_by(const std::filesystem::path& folder, const std::function<void()>& work) {
    const std::filesystem::path path = folder / L"stdout.txt";
    fflush(stdout);
    const int saved = _dup(1);
    FILE* file = _wfopen(path.c_str(), L"wb");
    _dup2(_fileno(file), 1);
    work();
    fflush(stdout);
    _dup2(saved, 1);
    _close(saved);
    fclose(file);
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

TEST_F(TraceLogRollover, DropsLinesWhileReaderHoldsOlderGeneration) {
    FarloDll dll;
    create_log(limit);
    std::ofstream(older) << "held";
    const HANDLE reader = CreateFileW(older.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    const std::string before = contents(log);
    EXPECT_EQ(printed_by(environment().folder(), [&] { write_lines(dll, L"x"); }),
              "\nError in copying into new file\n\nError in copying into new file\n");
    EXPECT_TRUE(contents(log) == before);
    CloseHandle(reader);
    EXPECT_EQ(contents(older), "held");
    // The next line rolls over.
    write_lines(dll, L"y");
    EXPECT_EQ(log_messages(log), (Messages{first_line("y"), second_line}));
    EXPECT_TRUE(contents(older) == before);
}

// The path of the older generation is two characters longer.
TEST_F(TraceLogRollover, RollsOverLogOfLongestPath) {
    for (const std::size_t length : {257u, 258u, 259u, 260u}) {
        SCOPED_TRACE(length);
        const LongFolder folder(length);
        std::ofstream(folder.log(), std::ios::binary) << std::string(limit - 2, 'x') << "\r\n";
        const std::string before = contents(folder.log());
        ASSERT_EQ(before.size(), limit);
        FarloDll dll;
        EXPECT_EQ(printed_by(environment().folder(), [&] { write_lines(dll, L"x"); }), "");
        EXPECT_TRUE(contents(folder.log().wstring() + L".0") == before);
        EXPECT_EQ(log_messages(folder.log()), (Messages{first_line("x"), second_line}));
    }
}

// Narrow paths are in the ANSI code page, which is 1252 in the lab node.
TEST_F(TraceLogRollover, RollsOverInFolderWithNonAsciiName) {
    wchar_t vmpath[MAX_PATH];
    GetEnvironmentVariableW(L"VMPATH", vmpath, MAX_PATH);
    const std::filesystem::path folder = environment().folder() / L"\u20ac \u00e4";
    std::filesystem::create_directories(folder / L"logs");
    const std::filesystem::path own_log = folder / LR"(logs\farlo.log)";
    std::ofstream(own_log, std::ios::binary) << std::string(limit - 2, 'x') << "\r\n";
    const std::string before = contents(own_log);
    SetEnvironmentVariableW(L"VMPATH", (folder.wstring() + LR"(\)").c_str());
    {
        FarloDll dll;
        write_lines(dll, L"x");
    }
    SetEnvironmentVariableW(L"VMPATH", vmpath);
    EXPECT_EQ(log_messages(own_log), (Messages{first_line("x"), second_line}));
    EXPECT_TRUE(contents(own_log.wstring() + L".0") == before);
    std::filesystem::remove_all(folder);
}

TEST_F(TraceLogRollover, ReplacesLongerOlderGenerationCompletely) {
    FarloDll dll;
    std::ofstream(older, std::ios::binary) << std::string(limit + 100'000, 'o');
    create_log(limit);
    const std::string before = contents(log);
    write_lines(dll, L"x");
    EXPECT_TRUE(contents(older) == before);
}

TEST_F(TraceLogRollover, DropsOnlyOneLineWhenStepFails) {
    static constexpr char message[] = "\nError in copying into new file\n";
    static constexpr char nothing[] = "";
    enum class Older { exists, missing };
    const auto expect_first_line_dropped =
        [&]<class Function>(Function*, const char* function, FailingCalls failing, auto result,
                            const char* printed, Older older_file = Older::exists) {
            SCOPED_TRACE(std::string(function) + " " + std::to_string(failing.call));
            environment().remove_logs();
            create_log(limit);
            if (older_file == Older::exists) {
                std::ofstream(older) << "older";
            }
            const std::string before = contents(log);
            FarloDll dll;
            const auto handles = kernel_handles();
            const std::string output = printed_by(environment().folder(), [&] {
                const Failure<Function> failure(dll.module(), function, failing, result);
                write_lines(dll, L"x");
            });
            EXPECT_EQ(output, printed);
            // The second line has rolled over.
            EXPECT_EQ(log_messages(log), Messages{second_line});
            EXPECT_TRUE(contents(older) == before);
            EXPECT_EQ(kernel_handles(), handles);
        };
    const DWORD denied = ERROR_ACCESS_DENIED;
    // Opening the log to copy it, the older generation, and the log to empty it.
    expect_first_line_dropped(CreateFileA, "CreateFileA", {.call = 2, .last_error = denied},
                              INVALID_HANDLE_VALUE, message);
    expect_first_line_dropped(MultiByteToWideChar, "MultiByteToWideChar", {.call = 1}, 0, message);
    expect_first_line_dropped(CreateFileW, "CreateFileW", {.call = 1, .last_error = denied},
                              INVALID_HANDLE_VALUE, message);
    expect_first_line_dropped(CreateFileA, "CreateFileA", {.call = 3, .last_error = denied},
                              INVALID_HANDLE_VALUE, nothing);
    // The older generation is created only if opening it failed because it does not exist.
    expect_first_line_dropped(CreateFileW, "CreateFileW", {.call = 1, .last_error = denied},
                              INVALID_HANDLE_VALUE, message, Older::missing);
    expect_first_line_dropped(CreateFileW, "CreateFileW",
                              {.call = 1, .last_error = ERROR_FILE_NOT_FOUND}, INVALID_HANDLE_VALUE,
                              message);
    expect_first_line_dropped(CreateFileW, "CreateFileW", {.call = 2, .last_error = denied},
                              INVALID_HANDLE_VALUE, message, Older::missing);
    expect_first_line_dropped(LockFileEx, "LockFileEx", {.call = 1}, FALSE, nothing);
    expect_first_line_dropped(LockFileEx, "LockFileEx", {.call = 2}, FALSE, nothing);
    expect_first_line_dropped(GetFileSizeEx, "GetFileSizeEx", {.call = 2}, FALSE, nothing);
    expect_first_line_dropped(ReadFile, "ReadFile", {.call = 1}, FALSE, message);
    expect_first_line_dropped(WriteFile, "WriteFile", {.call = 1}, FALSE, message);
}

// The first write of the copy writes one byte less.
TEST_F(TraceLogRollover, DropsLineWhenCopyIsIncomplete) {
    create_log(limit);
    const std::string before = contents(log);
    FarloDll dll;
    const std::string output = printed_by(environment().folder(), [&] {
        StandIn<decltype(WriteFile)> write(
            dll.module(), "WriteFile",
            [&](HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* offset) {
                const DWORD less = write.calls() == 1 ? size - 1 : size;
                return write.real(file, bytes, less, written, offset);
            });
        write_lines(dll, L"x");
    });
    EXPECT_EQ(output, "\nError in copying into new file\n");
    EXPECT_EQ(log_messages(log), Messages{second_line});
    EXPECT_TRUE(contents(older) == before);
}

// The log is opened to write to it and to copy it, the older generation to replace and then to
// create it, the log again to empty it.
TEST_F(TraceLogRollover, OpensFilesInOrderWithTheirDispositions) {
    create_log(limit);
    std::vector<DWORD> dispositions;
    FarloDll dll;
    StandIn<decltype(CreateFileA)> open(
        dll.module(), "CreateFileA",
        [&](const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
            DWORD disposition, DWORD flags, HANDLE pattern) {
            EXPECT_EQ(share, static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE));
            dispositions.push_back(disposition);
            return open.real(path, access, share, security, disposition, flags, pattern);
        });
    StandIn<decltype(CreateFileW)> open_older(
        dll.module(), "CreateFileW",
        [&](const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
            DWORD disposition, DWORD flags, HANDLE pattern) {
            EXPECT_EQ(share, static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE));
            dispositions.push_back(disposition);
            return open_older.real(path, access, share, security, disposition, flags, pattern);
        });
    EXPECT_EQ(CALL(dll, OfflineDgW)(nullptr, L"a", nullptr, 0), FARLO_NULL_HANDLE);
    EXPECT_EQ(dispositions, (std::vector<DWORD>{OPEN_ALWAYS, OPEN_EXISTING, TRUNCATE_EXISTING,
                                                CREATE_NEW, TRUNCATE_EXISTING}));
}

// When the log is emptied, a reader can already open the older generation without sharing it with
// a writer.
TEST_F(TraceLogRollover, ClosesEachFileBeforeOpeningNext) {
    create_log(limit);
    FarloDll dll;
    bool emptied = false;
    std::vector<HANDLE> opened;
    std::vector<HANDLE> closed;
    StandIn<decltype(CloseHandle)> close(dll.module(), "CloseHandle", [&](HANDLE file) {
        closed.push_back(file);
        return close.real(file);
    });
    StandIn<decltype(CreateFileA)> open(
        dll.module(), "CreateFileA",
        [&](const char* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
            DWORD disposition, DWORD flags, HANDLE pattern) {
            if (opened.size() == 1) {
                EXPECT_EQ(closed, opened);
            }
            if (disposition == TRUNCATE_EXISTING && log == std::filesystem::path(path)) {
                emptied = true;
                const HANDLE reader = CreateFileW(older.c_str(), GENERIC_READ, FILE_SHARE_READ,
                                                  nullptr, OPEN_EXISTING, 0, nullptr);
                EXPECT_NE(reader, INVALID_HANDLE_VALUE);
                CloseHandle(reader);
            }
            const HANDLE file =
                open.real(path, access, share, security, disposition, flags, pattern);
            opened.push_back(file);
            return file;
        });
    write_lines(dll, L"x");
    EXPECT_TRUE(emptied);
}

}  // namespace
