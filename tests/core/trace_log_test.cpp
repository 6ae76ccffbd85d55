// Lines of the trace log: their form, when they are written, and when one is dropped.
#include "core/trace_log_fixture.h"

#include <algorithm>
#include <clocale>
#include <cstdarg>

namespace {

using namespace support;

TEST_F(TraceLog, WritesDateTimeIdsAndMessage) {
    FarloDll dll;
    SYSTEMTIME before;
    GetLocalTime(&before);
    write_lines(dll, L"dg1");
    SYSTEMTIME after;
    GetLocalTime(&after);

    const std::string file = contents(log);
    const auto expected = [](const SYSTEMTIME& time) {
        char line[200];
        snprintf(line, sizeof line, "%02d/%02d/%02d %02d:%02d:%02d [PID:%02lu,TID:%02lu] %s\r\n",
                 time.wMonth, time.wDay, time.wYear % 100, time.wHour, time.wMinute, time.wSecond,
                 GetCurrentProcessId(), GetCurrentThreadId(), first_line("dg1").c_str());
        return std::string(line);
    };
    const std::string line = file.substr(0, file.find('\n') + 1);
    EXPECT_TRUE(line == expected(before) || line == expected(after)) << line;
}

DWORD WINAPI low_process_id() {
    return 7;
}
DWORD WINAPI low_thread_id() {
    return 8;
}

TEST_F(TraceLog, WritesIdsWithAtLeastTwoDigits) {
    FarloDll dll;
    const Interposer process(dll.module(), "GetCurrentProcessId", low_process_id);
    const Interposer thread(dll.module(), "GetCurrentThreadId", low_thread_id);
    write_lines(dll, L"dg1");
    const std::string file = contents(log);
    constexpr std::size_t date_and_time = sizeof "mm/dd/yy hh:mm:ss " - 1;
    EXPECT_EQ(file.substr(date_and_time, file.find('\r') - date_and_time),
              "[PID:07,TID:08] " + first_line("dg1"));
}

TEST_F(TraceLog, WritesLinesBeforeCallReturns) {
    FarloDll dll;
    write_lines(dll, L"a");
    EXPECT_EQ(log_messages(log), (Messages{first_line("a"), second_line}));
    write_lines(dll, L"b");
    EXPECT_EQ(log_messages(log),
              (Messages{first_line("a"), second_line, first_line("b"), second_line}));
}

TEST_F(TraceLog, WritesOnlyLevel0WithoutRegistryValue) {
    environment().clear_trace_level();
    FarloDll dll;
    write_lines(dll, L"a");
    opal_handle handle = nullptr;
    EXPECT_EQ(CALL(dll, OfflineDgW)(handle, L"a", nullptr, 0), FARLO_NULL_HANDLE);
    EXPECT_EQ(log_messages(log),
              (Messages{first_line("a"), second_line,
                        "OfflineDgW() failed , NULL opal_handle, error=(0x64)"}));
}

TEST_F(TraceLog, IgnoresTraceLevelOfAnotherType) {
    const DWORD six = 6;
    environment().set_registry(tracing_key, L"TRACELEVEL", REG_BINARY, &six, sizeof six);
    {
        FarloDll dll;
        EXPECT_EQ(log_messages(log), Messages{});
    }
    environment().set_registry(tracing_key, L"TRACELEVEL", std::wstring(L"6"));
    FarloDll dll;
    EXPECT_EQ(log_messages(log), Messages{});
}

TEST_F(TraceLog, WritesAllLinesAtAnyLevelFrom6) {
    for (const DWORD level : {6u, 7u, 0x100u, 0x10000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        environment().set_trace_level(level);
        environment().remove_logs();
        FarloDll dll;
        EXPECT_EQ(log_messages(log), Messages{"=====Farlo DllMain ,Created farlo.log====="})
            << level;
    }
}

TEST_F(TraceLog, ReadsLevelAtLoadOnly) {
    FarloDll dll;
    environment().set_trace_level(6);
    EXPECT_EQ(CALL(dll, OfflineDgW)(nullptr, L"a", nullptr, 0), FARLO_NULL_HANDLE);
    EXPECT_EQ(log_messages(log), Messages{"OfflineDgW() failed , NULL opal_handle, error=(0x64)"});
}

// The variable is not expanded then: the folder is called "%VMPATH%logs".
TEST_F(TraceLog, WritesToRelativePathWithoutVmpath) {
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
    EXPECT_EQ(log_messages(environment().folder() / L"%VMPATH%logs" / L"farlo.log"),
              (Messages{first_line("kept"), second_line}));
    std::filesystem::remove_all(L"%VMPATH%logs");
    std::filesystem::current_path(before);
    SetEnvironmentVariableW(L"VMPATH", vmpath);
    EXPECT_EQ(log_messages(log), Messages{});
}

// The level is not read then and stays 0.
TEST_F(TraceLog, WritesNothingWhenVmpathIsTooLong) {
    wchar_t vmpath[MAX_PATH];
    GetEnvironmentVariableW(L"VMPATH", vmpath, MAX_PATH);
    environment().set_trace_level(6);
    SetEnvironmentVariableW(L"VMPATH", (L"C:\\" + std::wstring(300, L'x') + L"\\").c_str());
    {
        FarloDll dll;
        write_lines(dll, L"dropped");
    }
    SetEnvironmentVariableW(L"VMPATH", vmpath);
    EXPECT_EQ(log_messages(log), Messages{});
}

TEST_F(TraceLog, TruncatesLineTo2047Bytes) {
    FarloDll dll;
    write_lines(dll, std::wstring(100'000, L'n'));
    const std::string file = contents(log);
    const std::string line = file.substr(0, file.find('\n') + 1);
    EXPECT_EQ(line.size(), 2047u);
    EXPECT_EQ(line.substr(line.size() - 4), "nn\r\n");
    EXPECT_EQ(log_messages(log)[1], second_line);
}

TEST_F(TraceLog, WritesLongestMessageThatFitsCompletely) {
    FarloDll dll;
    write_lines(dll, L"x");
    const std::string file = contents(log);
    const std::size_t before_message = file.find(first_line("x"));
    const std::size_t room = 2047 - before_message - 2;
    for (const std::size_t extra : {0u, 1u}) {
        environment().remove_logs();
        const std::size_t name = room - first_line("").size() + extra;
        write_lines(dll, std::wstring(name, L'n'));
        EXPECT_EQ(log_messages(log)[0] == first_line(std::string(name, 'n')), extra == 0);
    }
}

// The level is not read then. Lines of level 0 are still attempted, with an empty path.
TEST_F(TraceLog, WritesNothingWhenPathCannotBeExpanded) {
    environment().set_trace_level(6);
    for (const DWORD result : {0u, 263u, 1000u}) {
        SCOPED_TRACE(result);
        std::vector<std::string> opened;
        std::unique_ptr<StandIn<decltype(ExpandEnvironmentStringsA)>> expand;
        std::unique_ptr<StandIn<decltype(CreateFileA)>> open;
        FarloDll dll([&](HMODULE module) {
            expand = std::make_unique<StandIn<decltype(ExpandEnvironmentStringsA)>>(
                module, "ExpandEnvironmentStringsA",
                [&](const char* source, char* path, DWORD capacity) -> DWORD {
                    EXPECT_STREQ(source, R"(%VMPATH%logs\farlo.log)");
                    EXPECT_EQ(capacity, 262u);
                    std::fill_n(path, capacity, 'x');
                    return result;
                });
            open = std::make_unique<StandIn<decltype(CreateFileA)>>(
                module, "CreateFileA", [&](const char* path, auto...) -> HANDLE {
                    opened.emplace_back(path);
                    return INVALID_HANDLE_VALUE;
                });
        });
        EXPECT_EQ(expand->calls(), 1u);
        write_lines(dll, L"dropped");
        EXPECT_EQ(CALL(dll, OfflineDgW)(nullptr, L"a", nullptr, 0), FARLO_NULL_HANDLE);
        EXPECT_EQ(opened, (std::vector<std::string>{"", "", ""}));
    }
}

// An account with read access only gets the setting as well.
TEST_F(TraceLog, OpensLevelForReadingOnly) {
    environment().set_trace_level(6);
    std::vector<REGSAM> requested;
    std::unique_ptr<StandIn<decltype(RegOpenKeyExA)>> open;
    FarloDll dll([&](HMODULE module) {
        open = std::make_unique<StandIn<decltype(RegOpenKeyExA)>>(
            module, "RegOpenKeyExA",
            [&](HKEY root, const char* name, DWORD options, REGSAM access, HKEY* key) {
                requested.push_back(access);
                return open->real(root, name, options, access, key);
            });
    });
    EXPECT_EQ(requested, std::vector<REGSAM>{KEY_READ});
    EXPECT_EQ(log_messages(log), Messages{"=====Farlo DllMain ,Created farlo.log====="});
}

// With a longer path the level is not read.
TEST_F(TraceLog, WritesToPathOfUpTo260Characters) {
    environment().set_trace_level(6);
    for (const std::size_t length : {259u, 260u, 261u, 262u}) {
        SCOPED_TRACE(length);
        const LongFolder folder(length);
        {
            FarloDll dll;
            write_lines(dll, L"x");
        }
        const Messages written = {"=====Farlo DllMain ,Created farlo.log=====", first_line("x"),
                                  second_line};
        const bool fits = length <= 260;
        EXPECT_EQ(std::filesystem::exists(folder.log()), fits);
        EXPECT_EQ(log_messages(folder.log()), fits ? written : Messages{});
    }
    EXPECT_EQ(log_messages(log), Messages{});
}

// Windows may return a count that is larger by one.
TEST_F(TraceLog, ChecksLengthOfPathNotReturnedCount) {
    for (const std::size_t length : {260u, 261u}) {
        for (const DWORD count : {DWORD{261}, DWORD{262}}) {
            SCOPED_TRACE(std::to_string(length) + " " + std::to_string(count));
            const std::string path(length, 'p');
            std::vector<std::string> opened;
            std::unique_ptr<StandIn<decltype(ExpandEnvironmentStringsA)>> expand;
            std::unique_ptr<StandIn<decltype(CreateFileA)>> open;
            FarloDll dll([&](HMODULE module) {
                expand = std::make_unique<StandIn<decltype(ExpandEnvironmentStringsA)>>(
                    module, "ExpandEnvironmentStringsA",
                    [&](const char*, char* buffer, DWORD capacity) -> DWORD {
                        EXPECT_EQ(capacity, 262u);
                        std::copy_n(path.c_str(), path.size() + 1, buffer);
                        return count;
                    });
                open = std::make_unique<StandIn<decltype(CreateFileA)>>(
                    module, "CreateFileA", [&](const char* name, auto...) -> HANDLE {
                        opened.emplace_back(name);
                        return INVALID_HANDLE_VALUE;
                    });
            });
            EXPECT_EQ(expand->calls(), 1u);
            write_lines(dll, L"dropped");
            const std::string expected = length == 260 ? path : "";
            EXPECT_EQ(opened, (std::vector<std::string>{expected, expected}));
        }
    }
}

// The ANSI code page of the lab node is 1252.
TEST_F(TraceLog, WritesAnsiCharactersAndQuestionMarks) {
    ASSERT_EQ(GetACP(), 1252u);
    FarloDll dll;
    write_lines(dll, L"d\u00e4ta \u20ac \u4e2d");
    EXPECT_EQ(log_messages(log)[0], first_line("d\xe4ta \x80 ?"));
}

TEST_F(TraceLog, WritesDateIndependentlyOfLocale) {
    FarloDll dll;
    ASSERT_NE(setlocale(LC_TIME, "German_Germany.1252"), nullptr);
    write_lines(dll, L"x");
    EXPECT_STREQ(setlocale(LC_TIME, nullptr), "C");
    const std::string line = contents(log);
    EXPECT_EQ(line[2], '/');
    EXPECT_EQ(line[5], '/');
}

TEST_F(TraceLog, IgnoresTraceLevelOfEightBytes) {
    const std::uint64_t six = 6;
    environment().set_registry(tracing_key, L"TRACELEVEL", REG_DWORD, &six, sizeof six);
    FarloDll dll;
    EXPECT_EQ(log_messages(log), Messages{});
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

int failing_format(wchar_t* buffer, std::size_t capacity, const wchar_t* format,
                   std::va_list arguments) {
    return failures_left-- > 0 ? -1 : _vsnwprintf(buffer, capacity, format, arguments);
}

TEST_F(TraceLog, DropsLineWhoseCallFailsAndWritesNext) {
    const auto expect_first_line_dropped = [&](const char* function, auto* replacement) {
        SCOPED_TRACE(function);
        environment().remove_logs();
        FarloDll dll;
        const auto before = kernel_handles();
        const Interposer interposer(dll.module(), function, replacement);
        failures_left = 1;
        write_lines(dll, L"x");
        EXPECT_EQ(log_messages(log), Messages{second_line});
        EXPECT_EQ(kernel_handles(), before);
    };
    expect_first_line_dropped("CreateFileA", failing_open);
    expect_first_line_dropped("GetFileSizeEx", failing_size);
    expect_first_line_dropped("LockFileEx", failing_lock);
    expect_first_line_dropped("SetFilePointerEx", failing_seek);
    expect_first_line_dropped("WideCharToMultiByte", failing_conversion);
    expect_first_line_dropped("_vsnwprintf", failing_format);
}

std::string call_order;
HANDLE WINAPI recorded_open(const char* path, DWORD access, DWORD share,
                            SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flags,
                            HANDLE pattern) {
    call_order += "open ";
    return CreateFileA(path, access, share, security, disposition, flags, pattern);
}
BOOL WINAPI recorded_size(HANDLE file, LARGE_INTEGER* size) {
    call_order += "size ";
    return GetFileSizeEx(file, size);
}
BOOL WINAPI recorded_lock(HANDLE file, DWORD flags, DWORD reserved, DWORD low, DWORD high,
                          OVERLAPPED* offset) {
    call_order += "lock ";
    return LockFileEx(file, flags, reserved, low, high, offset);
}
BOOL WINAPI recorded_seek(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* result, DWORD from) {
    call_order += "seek ";
    return SetFilePointerEx(file, distance, result, from);
}
BOOL WINAPI recorded_write(HANDLE file, const void* bytes, DWORD count, DWORD* written,
                           OVERLAPPED* overlapped) {
    call_order += "write ";
    return WriteFile(file, bytes, count, written, overlapped);
}
BOOL WINAPI recorded_close(HANDLE handle) {
    call_order += "close ";
    return CloseHandle(handle);
}

TEST_F(TraceLog, WritesLineWithSixCallsInOrder) {
    FarloDll dll;
    const Interposer open(dll.module(), "CreateFileA", recorded_open);
    const Interposer size(dll.module(), "GetFileSizeEx", recorded_size);
    const Interposer lock(dll.module(), "LockFileEx", recorded_lock);
    const Interposer seek(dll.module(), "SetFilePointerEx", recorded_seek);
    const Interposer write(dll.module(), "WriteFile", recorded_write);
    const Interposer close(dll.module(), "CloseHandle", recorded_close);
    call_order.clear();
    write_lines(dll, L"x");
    EXPECT_EQ(call_order, "open size lock seek write close open size lock seek write close ");
}

}  // namespace
