// Lines of the trace log: what is written, when, and what a failing call loses.
#include "core/trace_log_fixture.h"

#include <algorithm>
#include <clocale>
#include <cstdarg>

namespace {

using namespace support;

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

DWORD WINAPI low_process_id() {
    return 7;
}
DWORD WINAPI low_thread_id() {
    return 8;
}

TEST_F(Log, IdsHaveTwoDigitsAtLeast) {
    FarloDll dll;
    const Interposer process(dll.module(), "GetCurrentProcessId", low_process_id);
    const Interposer thread(dll.module(), "GetCurrentThreadId", low_thread_id);
    write_lines(dll, L"dg1");
    const std::string text = contents(log);
    constexpr std::size_t date_and_time = sizeof "mm/dd/yy hh:mm:ss " - 1;
    EXPECT_EQ(text.substr(date_and_time, text.find('\r') - date_and_time),
              "[PID:07,TID:08] " + first_line("dg1"));
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
    for (const DWORD level : {6u, 7u, 0x100u, 0x10000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
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

// A path that cannot be told: the level is not even read, so that only lines of
// level 0 are tried, and no path is left to write them to.
TEST_F(Log, AnExpansionThatFailsStopsTheSetUp) {
    environment().set_trace_level(6);
    for (const DWORD result : {0u, 263u, 1000u}) {
        SCOPED_TRACE(result);
        std::vector<std::string> opened;
        std::unique_ptr<StandIn<decltype(ExpandEnvironmentStringsA)>> expand;
        std::unique_ptr<StandIn<decltype(CreateFileA)>> open;
        FarloDll dll([&](HMODULE module) {
            expand = std::make_unique<StandIn<decltype(ExpandEnvironmentStringsA)>>(
                module, "ExpandEnvironmentStringsA",
                [&](const char* text, char* path, DWORD capacity) -> DWORD {
                    EXPECT_STREQ(text, R"(%VMPATH%logs\farlo.log)");
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
        EXPECT_EQ(CALL(dll, OfflineDgW)(nullptr, L"a", nullptr, 0), 100u);
        EXPECT_EQ(opened, (std::vector<std::string>{"", "", ""}));
    }
}

// An account that may only read the setting has it.
TEST_F(Log, TheLevelIsOpenedForReadingOnly) {
    environment().set_trace_level(6);
    std::vector<REGSAM> asked;
    std::unique_ptr<StandIn<decltype(RegOpenKeyExA)>> open;
    FarloDll dll([&](HMODULE module) {
        open = std::make_unique<StandIn<decltype(RegOpenKeyExA)>>(
            module, "RegOpenKeyExA",
            [&](HKEY root, const char* name, DWORD options, REGSAM access, HKEY* key) {
                asked.push_back(access);
                return open->real(root, name, options, access, key);
            });
    });
    EXPECT_EQ(asked, std::vector<REGSAM>{KEY_READ});
    EXPECT_EQ(texts(log), Texts{"=====Farlo DllMain ,Created farlo.log====="});
}

// The longest path has 260 characters; a longer one stops the set-up, so that not
// even the level is read.
TEST_F(Log, TheLongestPath) {
    environment().set_trace_level(6);
    for (const std::size_t length : {259u, 260u, 261u, 262u}) {
        SCOPED_TRACE(length);
        const LongFolder folder(length);
        {
            FarloDll dll;
            write_lines(dll, L"x");
        }
        const Texts written = {"=====Farlo DllMain ,Created farlo.log=====", first_line("x"),
                               second_line};
        const bool fits = length <= 260;
        EXPECT_EQ(std::filesystem::exists(folder.log()), fits);
        EXPECT_EQ(texts(folder.log()), fits ? written : Texts{});
    }
    EXPECT_EQ(texts(log), Texts{});
}

// Windows may count a character beyond the terminator.
TEST_F(Log, ThePathsLengthDecidesNotTheCount) {
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
            const std::string tried = length == 260 ? path : "";
            EXPECT_EQ(opened, (std::vector<std::string>{tried, tried}));
        }
    }
}

// The ANSI code page of the lab node is 1252.
TEST_F(Log, CharactersOutsideAscii) {
    ASSERT_EQ(GetACP(), 1252u);
    FarloDll dll;
    write_lines(dll, L"d\u00e4ta \u20ac \u4e2d");
    EXPECT_EQ(texts(log)[0], first_line("d\xe4ta \x80 ?"));
}

TEST_F(Log, TheDateDoesNotDependOnTheAgentsLocale) {
    FarloDll dll;
    ASSERT_NE(setlocale(LC_TIME, "German_Germany.1252"), nullptr);
    write_lines(dll, L"x");
    EXPECT_STREQ(setlocale(LC_TIME, nullptr), "C");
    const std::string line = contents(log);
    EXPECT_EQ(line[2], '/');
    EXPECT_EQ(line[5], '/');
}

TEST_F(Log, ATraceLevelThatIsLongerThanANumberIsIgnored) {
    const std::uint64_t six = 6;
    environment().set_registry(tracing_key, L"TRACELEVEL", REG_DWORD, &six, sizeof six);
    FarloDll dll;
    EXPECT_EQ(texts(log), Texts{});
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
    drops_one("_vsnwprintf", failing_format);
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
