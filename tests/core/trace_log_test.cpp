// The trace log, through exports that write a line and touch nothing else.
#include "farlo_test.h"

#include <fstream>

namespace {

using namespace support;

constexpr std::uintmax_t limit = 10'485'760;

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

    // A log of so many bytes, all whole lines but for the first.
    void make_log(std::uintmax_t size) {
        const std::string line = "11/20/26 19:21:38 [PID:11,TID:22] filled\r\n";
        std::string contents;
        while (contents.size() + line.size() <= size) {
            contents += line;
        }
        contents.insert(0, "11/20/26 19:21:38 [PID:11,TID:22] " +
                               std::string(line.size() + size - contents.size(), 'x'));
        contents.resize(size);
        std::ofstream(log, std::ios::binary) << contents;
    }
    static std::string contents(const std::filesystem::path& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

using Texts = std::vector<std::string>;

TEST_F(Log, ALineIsDateTimeIdsMessage) {
    FarloDll dll;
    SYSTEMTIME before;
    GetLocalTime(&before);
    write_lines(dll, L"dg1");
    SYSTEMTIME after;
    GetLocalTime(&after);

    const std::string text = contents(log);
    const auto expected = [](const SYSTEMTIME& time) {
        char line[200];
        snprintf(line, sizeof line, "%02d/%02d/%02d %02d:%02d:%02d [PID:%02lu,TID:%02lu] %s\r\n",
                 time.wMonth, time.wDay, time.wYear % 100, time.wHour, time.wMinute, time.wSecond,
                 GetCurrentProcessId(), GetCurrentThreadId(), first_line("dg1").c_str());
        return std::string(line);
    };
    const std::string line = text.substr(0, text.find('\n') + 1);
    EXPECT_TRUE(line == expected(before) || line == expected(after)) << line;
}

TEST_F(Log, EachLineIsOnDiskWhenTheCallReturns) {
    FarloDll dll;
    write_lines(dll, L"a");
    EXPECT_EQ(texts(log), (Texts{first_line("a"), second_line}));
    write_lines(dll, L"b");
    EXPECT_EQ(texts(log), (Texts{first_line("a"), second_line, first_line("b"), second_line}));
}

TEST_F(Log, WithoutARegistryValueOnlyLevel0IsWritten) {
    environment().clear_trace_level();
    FarloDll dll;
    write_lines(dll, L"a");
    opal_handle handle = nullptr;
    EXPECT_EQ(CALL(dll, OfflineDgW)(handle, L"a", nullptr, 0), 100u);
    EXPECT_EQ(texts(log), (Texts{first_line("a"), second_line,
                                 "OfflineDgW() failed , NULL opal_handle, error=(0x64)"}));
}

TEST_F(Log, ATraceLevelOfAnotherTypeIsIgnored) {
    const DWORD six = 6;
    environment().set_registry(tracing_key, L"TRACELEVEL", REG_BINARY, &six, sizeof six);
    {
        FarloDll dll;
        EXPECT_EQ(texts(log), Texts{});
    }
    environment().set_registry(tracing_key, L"TRACELEVEL", std::wstring(L"6"));
    FarloDll dll;
    EXPECT_EQ(texts(log), Texts{});
}

TEST_F(Log, AnyNumberIsAThreshold) {
    for (const DWORD level : {6u, 7u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        environment().set_trace_level(level);
        environment().remove_logs();
        FarloDll dll;
        EXPECT_EQ(texts(log), Texts{"=====Farlo DllMain ,Created farlo.log====="}) << level;
    }
}

TEST_F(Log, TheLevelIsReadAtLoadOnly) {
    FarloDll dll;
    environment().set_trace_level(6);
    EXPECT_EQ(CALL(dll, OfflineDgW)(nullptr, L"a", nullptr, 0), 100u);
    EXPECT_EQ(texts(log), Texts{"OfflineDgW() failed , NULL opal_handle, error=(0x64)"});
}

// Without VMPATH the text is not expanded and names a relative file.
TEST_F(Log, VmpathUndefined) {
    wchar_t vmpath[MAX_PATH];
    GetEnvironmentVariableW(L"VMPATH", vmpath, MAX_PATH);
    SetEnvironmentVariableW(L"VMPATH", nullptr);
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(environment().folder());
    {
        FarloDll dll;
        write_lines(dll, L"dropped");
        std::filesystem::create_directory(L"%VMPATH%logs");
        write_lines(dll, L"kept");
    }
    EXPECT_EQ(texts(environment().folder() / L"%VMPATH%logs" / L"farlo.log"),
              (Texts{first_line("kept"), second_line}));
    std::filesystem::remove_all(L"%VMPATH%logs");
    std::filesystem::current_path(before);
    SetEnvironmentVariableW(L"VMPATH", vmpath);
    EXPECT_EQ(texts(log), Texts{});
}

// A path that does not fit: set-up stops, and the level stays 0.
TEST_F(Log, VmpathTooLong) {
    wchar_t vmpath[MAX_PATH];
    GetEnvironmentVariableW(L"VMPATH", vmpath, MAX_PATH);
    environment().set_trace_level(6);
    SetEnvironmentVariableW(L"VMPATH", (L"C:\\" + std::wstring(300, L'x') + L"\\").c_str());
    {
        FarloDll dll;
        write_lines(dll, L"dropped");
    }
    SetEnvironmentVariableW(L"VMPATH", vmpath);
    EXPECT_EQ(texts(log), Texts{});
}

TEST_F(Log, AMessageThatDoesNotFitIsCutShort) {
    FarloDll dll;
    write_lines(dll, std::wstring(100'000, L'n'));
    const std::string text = contents(log);
    const std::string line = text.substr(0, text.find('\n') + 1);
    // Date, time and ids; then the message up to the line end at byte 2047.
    EXPECT_EQ(line.size(), 2047u);
    EXPECT_EQ(line.substr(line.size() - 4), "nn\r\n");
    EXPECT_EQ(texts(log)[1], second_line);
}

TEST_F(Log, TheLastMessageThatFitsIsWhole) {
    FarloDll dll;
    write_lines(dll, L"x");
    const std::string text = contents(log);
    const std::size_t front = text.find(first_line("x"));
    const std::size_t room = 2047 - front - 2;
    for (const std::size_t extra : {0u, 1u}) {
        environment().remove_logs();
        const std::size_t name = room - first_line("").size() + extra;
        write_lines(dll, std::wstring(name, L'n'));
        EXPECT_EQ(texts(log)[0] == first_line(std::string(name, 'n')), extra == 0);
    }
}

// ------------------------------------------------------------------- rollover

TEST_F(Log, ALineThatStaysBelowTheLimitIsAppended) {
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

TEST_F(Log, ALineThatReachesTheLimitRollsOver) {
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

TEST_F(Log, TheOlderGenerationIsMadeWhereThereIsNone) {
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

TEST_F(Log, AReaderThatHoldsTheOlderGenerationLosesTheLine) {
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

// --------------------------------------------------------------- failing calls

int failures_left;
BOOL WINAPI failing_lock(HANDLE file, DWORD flags, DWORD reserved, DWORD low, DWORD high,
                         OVERLAPPED* offset) {
    EXPECT_EQ(flags, static_cast<DWORD>(LOCKFILE_EXCLUSIVE_LOCK));
    EXPECT_EQ(low, 1u);
    EXPECT_EQ(high, 0u);
    EXPECT_EQ(offset->Offset, 0u);
    EXPECT_EQ(offset->OffsetHigh, 0u);
    return failures_left-- > 0 ? FALSE : LockFileEx(file, flags, reserved, low, high, offset);
}
BOOL WINAPI failing_seek(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* result, DWORD from) {
    EXPECT_EQ(from, static_cast<DWORD>(FILE_END));
    return failures_left-- > 0 ? FALSE : SetFilePointerEx(file, distance, result, from);
}
BOOL WINAPI failing_size(HANDLE file, LARGE_INTEGER* size) {
    return failures_left-- > 0 ? FALSE : GetFileSizeEx(file, size);
}
HANDLE WINAPI failing_open(const char* path, DWORD access, DWORD share,
                           SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                           HANDLE pattern) {
    EXPECT_EQ(access, static_cast<DWORD>(GENERIC_WRITE));
    EXPECT_EQ(share, static_cast<DWORD>(FILE_SHARE_READ | FILE_SHARE_WRITE));
    EXPECT_EQ(disposition, static_cast<DWORD>(OPEN_ALWAYS));
    EXPECT_EQ(flags, static_cast<DWORD>(FILE_ATTRIBUTE_NORMAL));
    return failures_left-- > 0
               ? INVALID_HANDLE_VALUE
               : CreateFileA(path, access, share, security, disposition, flags, pattern);
}
int WINAPI failing_conversion(UINT code_page, DWORD flags, const wchar_t* wide, int length,
                              char* narrow, int capacity, const char* unknown, BOOL* used) {
    EXPECT_EQ(code_page, 0u);
    EXPECT_EQ(flags, 0u);
    EXPECT_EQ(capacity, 2048);
    return failures_left-- > 0 ? 0
                               : WideCharToMultiByte(code_page, flags, wide, length, narrow,
                                                     capacity, unknown, used);
}

TEST_F(Log, ALineWhoseCallFailsIsDroppedAndTheNextIsWritten) {
    const auto drops_one = [&](const char* function, auto* replacement) {
        SCOPED_TRACE(function);
        environment().remove_logs();
        FarloDll dll;
        const auto before = kernel_handles();
        const Interposer interposer(dll.module(), function, replacement);
        failures_left = 1;
        write_lines(dll, L"x");
        EXPECT_EQ(texts(log), Texts{second_line});
        EXPECT_EQ(kernel_handles(), before);
    };
    drops_one("CreateFileA", failing_open);
    drops_one("GetFileSizeEx", failing_size);
    drops_one("LockFileEx", failing_lock);
    drops_one("SetFilePointerEx", failing_seek);
    drops_one("WideCharToMultiByte", failing_conversion);
}

std::string call_order;
HANDLE WINAPI counted_open(const char* path, DWORD access, DWORD share,
                           SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                           HANDLE pattern) {
    call_order += "open ";
    return CreateFileA(path, access, share, security, disposition, flags, pattern);
}
BOOL WINAPI counted_size(HANDLE file, LARGE_INTEGER* size) {
    call_order += "size ";
    return GetFileSizeEx(file, size);
}
BOOL WINAPI counted_lock(HANDLE file, DWORD flags, DWORD reserved, DWORD low, DWORD high,
                         OVERLAPPED* offset) {
    call_order += "lock ";
    return LockFileEx(file, flags, reserved, low, high, offset);
}
BOOL WINAPI counted_seek(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* result, DWORD from) {
    call_order += "seek ";
    return SetFilePointerEx(file, distance, result, from);
}
BOOL WINAPI counted_write(HANDLE file, const void* bytes, DWORD count, DWORD* written,
                          OVERLAPPED* overlapped) {
    call_order += "write ";
    return WriteFile(file, bytes, count, written, overlapped);
}
BOOL WINAPI counted_close(HANDLE handle) {
    call_order += "close ";
    return CloseHandle(handle);
}

TEST_F(Log, ALineCostsSixCallsInTheirOrder) {
    FarloDll dll;
    const Interposer open(dll.module(), "CreateFileA", counted_open);
    const Interposer size(dll.module(), "GetFileSizeEx", counted_size);
    const Interposer lock(dll.module(), "LockFileEx", counted_lock);
    const Interposer seek(dll.module(), "SetFilePointerEx", counted_seek);
    const Interposer write(dll.module(), "WriteFile", counted_write);
    const Interposer close(dll.module(), "CloseHandle", counted_close);
    call_order.clear();
    write_lines(dll, L"x");
    EXPECT_EQ(call_order, "open size lock seek write close open size lock seek write close ");
}

}  // namespace
