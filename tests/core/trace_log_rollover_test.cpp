// The trace log's older generation.
#include "core/trace_log_fixture.h"

#include <io.h>

namespace {

using namespace support;

constexpr std::uintmax_t limit = 10'485'760;

class Rollover : public Log {
  protected:
    // A log of so many bytes.
    void make_log(std::uintmax_t size) {
        std::ofstream(log, std::ios::binary) << std::string(size - 2, 'x') << "\r\n";
    }
};

TEST_F(Rollover, ALineThatStaysBelowTheLimitIsAppended) {
    FarloDll dll;
    write_lines(dll, L"x");
    const std::uintmax_t line = contents(log).find('\n') + 1;
    make_log(limit - line - 1);
    const std::string before = contents(log);
    EXPECT_EQ(CALL(dll, OnlineDgExW)(nullptr, L"x", nullptr, nullptr, 0, 0), 100u);
    // The first line fits to the byte below the limit; the second rolls over.
    EXPECT_EQ(texts(log), Texts{second_line});
    const std::string rolled = contents(older);
    EXPECT_EQ(rolled.size(), limit - 1);
    EXPECT_EQ(rolled.substr(0, before.size()), before);
}

TEST_F(Rollover, ALineThatReachesTheLimitRollsOver) {
    FarloDll dll;
    write_lines(dll, L"x");
    const std::uintmax_t line = contents(log).find('\n') + 1;
    std::ofstream(older) << "the generation before, longer than nothing";
    make_log(limit - line);
    const std::string before = contents(log);
    write_lines(dll, L"x");
    EXPECT_EQ(texts(log), (Texts{first_line("x"), second_line}));
    EXPECT_TRUE(contents(older) == before);
}

TEST_F(Rollover, TheOlderGenerationIsMadeWhereThereIsNone) {
    FarloDll dll;
    make_log(limit + 5);
    const std::string before = contents(log);
    write_lines(dll, L"x");
    EXPECT_EQ(texts(log), (Texts{first_line("x"), second_line}));
    EXPECT_TRUE(contents(older) == before);
}

// What the process prints while it writes lines.
std::string printed(const std::filesystem::path& folder, const std::function<void()>& work) {
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

TEST_F(Rollover, AReaderThatHoldsTheOlderGenerationLosesTheLine) {
    FarloDll dll;
    make_log(limit);
    std::ofstream(older) << "held";
    const HANDLE reader = CreateFileW(older.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(reader, INVALID_HANDLE_VALUE);
    const std::string before = contents(log);
    EXPECT_EQ(printed(environment().folder(), [&] { write_lines(dll, L"x"); }),
              "\nError in copying into new file\n\nError in copying into new file\n");
    EXPECT_TRUE(contents(log) == before);
    CloseHandle(reader);
    EXPECT_EQ(contents(older), "held");
    // Later it succeeds.
    write_lines(dll, L"y");
    EXPECT_EQ(texts(log), (Texts{first_line("y"), second_line}));
    EXPECT_TRUE(contents(older) == before);
}

// Its name is the log's and two characters more.
TEST_F(Rollover, TheOlderGenerationOfTheLongestPath) {
    for (const std::size_t length : {257u, 258u, 259u, 260u}) {
        SCOPED_TRACE(length);
        const LongFolder folder(length);
        std::ofstream(folder.log(), std::ios::binary) << std::string(limit - 2, 'x') << "\r\n";
        const std::string before = contents(folder.log());
        ASSERT_EQ(before.size(), limit);
        FarloDll dll;
        EXPECT_EQ(printed(environment().folder(), [&] { write_lines(dll, L"x"); }), "");
        EXPECT_TRUE(contents(folder.log().wstring() + L".0") == before);
        EXPECT_EQ(texts(folder.log()), (Texts{first_line("x"), second_line}));
    }
}

// Narrow paths are in the ANSI code page, which is 1252 in the lab node.
TEST_F(Rollover, TheOlderGenerationIsBesideItsLogInAnyFolder) {
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
    EXPECT_EQ(texts(own_log), (Texts{first_line("x"), second_line}));
    EXPECT_TRUE(contents(own_log.wstring() + L".0") == before);
    std::filesystem::remove_all(folder);
}

TEST_F(Rollover, AnOlderGenerationThatIsLongerLeavesNothingBehind) {
    FarloDll dll;
    std::ofstream(older, std::ios::binary) << std::string(limit + 100'000, 'o');
    make_log(limit);
    const std::string before = contents(log);
    write_lines(dll, L"x");
    EXPECT_TRUE(contents(older) == before);
}

// The first line is lost, with its message or without; the second rolls over.
TEST_F(Rollover, AStepThatFailsLosesTheLineAndNothingElse) {
    static constexpr char message[] = "\nError in copying into new file\n";
    const auto lose = [&]<class Function>(Function*, const char* function, FailingCalls failing,
                                          auto result, bool tells, bool has_older = true) {
        SCOPED_TRACE(std::string(function) + " " + std::to_string(failing.call));
        environment().remove_logs();
        make_log(limit);
        if (has_older) {
            std::ofstream(older) << "older";
        }
        const std::string before = contents(log);
        FarloDll dll;
        const auto handles = kernel_handles();
        const std::string told = printed(environment().folder(), [&] {
            const Failure<Function> failure(dll.module(), function, failing, result);
            write_lines(dll, L"x");
        });
        EXPECT_EQ(told, tells ? message : "");
        EXPECT_EQ(texts(log), Texts{second_line});
        EXPECT_TRUE(contents(older) == before);
        EXPECT_EQ(kernel_handles(), handles);
    };
    const DWORD denied = ERROR_ACCESS_DENIED;
    // Of the log to be copied, of the older generation, and of the log to be emptied.
    lose(CreateFileA, "CreateFileA", {.call = 2, .last_error = denied}, INVALID_HANDLE_VALUE, true);
    lose(MultiByteToWideChar, "MultiByteToWideChar", {.call = 1}, 0, true);
    lose(CreateFileW, "CreateFileW", {.call = 1, .last_error = denied}, INVALID_HANDLE_VALUE, true);
    lose(CreateFileA, "CreateFileA", {.call = 3, .last_error = denied}, INVALID_HANDLE_VALUE,
         false);
    // Made new only where there is none, and not for another reason.
    lose(CreateFileW, "CreateFileW", {.call = 1, .last_error = denied}, INVALID_HANDLE_VALUE, true,
         false);
    lose(CreateFileW, "CreateFileW", {.call = 1, .last_error = ERROR_FILE_NOT_FOUND},
         INVALID_HANDLE_VALUE, true);
    lose(CreateFileW, "CreateFileW", {.call = 2, .last_error = denied}, INVALID_HANDLE_VALUE, true,
         false);
    lose(LockFileEx, "LockFileEx", {.call = 1}, FALSE, false);
    lose(LockFileEx, "LockFileEx", {.call = 2}, FALSE, false);
    lose(GetFileSizeEx, "GetFileSizeEx", {.call = 2}, FALSE, false);
    lose(ReadFile, "ReadFile", {.call = 1}, FALSE, true);
    lose(WriteFile, "WriteFile", {.call = 1}, FALSE, true);
}

TEST_F(Rollover, ACopyThatIsNotWholeIsNone) {
    make_log(limit);
    const std::string before = contents(log);
    FarloDll dll;
    const std::string told = printed(environment().folder(), [&] {
        StandIn<decltype(WriteFile)> write(
            dll.module(), "WriteFile",
            [&](HANDLE file, const void* bytes, DWORD size, DWORD* written, OVERLAPPED* offset) {
                const DWORD less = write.calls() == 1 ? size - 1 : size;
                return write.real(file, bytes, less, written, offset);
            });
        write_lines(dll, L"x");
    });
    EXPECT_EQ(told, "\nError in copying into new file\n");
    EXPECT_EQ(texts(log), Texts{second_line});
    EXPECT_TRUE(contents(older) == before);
}

// Dispositions of the files that a rollover opens: the log twice, the older
// generation, the log to empty it.
TEST_F(Rollover, OpensItsFilesAsItMust) {
    make_log(limit);
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
    EXPECT_EQ(CALL(dll, OfflineDgW)(nullptr, L"a", nullptr, 0), 100u);
    EXPECT_EQ(dispositions, (std::vector<DWORD>{OPEN_ALWAYS, OPEN_EXISTING, TRUNCATE_EXISTING,
                                                CREATE_NEW, TRUNCATE_EXISTING}));
}

// The log is closed before it rolls over, and the older generation before the log
// is emptied: a reader that shares it with no writer may have it then.
TEST_F(Rollover, ClosesWhatItIsDoneWith) {
    make_log(limit);
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
