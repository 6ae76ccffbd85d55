// The main of every test program. A crash says in which test it was, and where.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <psapi.h>

#include <cstdint>
#include <cstdio>

namespace {

LONG CALLBACK report_crash(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    HMODULE module = nullptr;
    char name[MAX_PATH] = "?";
    if (GetModuleHandleExA(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                               GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                           static_cast<const char*>(record.ExceptionAddress), &module) != FALSE) {
        K32GetModuleBaseNameA(GetCurrentProcess(), module, name, sizeof name);
    }
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::fprintf(stderr, "\nCRASH in %s.%s: exception 0x%08lx in %s + 0x%zx",
                 test != nullptr ? test->test_suite_name() : "?",
                 test != nullptr ? test->name() : "?", record.ExceptionCode, name,
                 reinterpret_cast<std::uintptr_t>(record.ExceptionAddress) -
                     reinterpret_cast<std::uintptr_t>(module));
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
        std::fprintf(stderr, ", which %s 0x%zx",
                     record.ExceptionInformation[0] == 0 ? "reads" : "writes or runs",
                     static_cast<std::size_t>(record.ExceptionInformation[1]));
    }
    std::fputs("\n", stderr);
    std::fflush(stderr);
    TerminateProcess(GetCurrentProcess(), 3);
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

int main(int argument_count, char** arguments) {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
    SetUnhandledExceptionFilter(report_crash);
    testing::InitGoogleMock(&argument_count, arguments);
    // The first one in a process starts a thread that stays: no test is to count it.
    { SCOPED_TRACE("the first"); }
    return RUN_ALL_TESTS();
}
