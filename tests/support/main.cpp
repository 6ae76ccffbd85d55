// The main of every test program. Reports the test and the code address of a crash.
#include "support/code_address.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <windows.h>

#include <cstdio>

namespace {

LONG CALLBACK report_crash(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    const support::CodeAddress address = support::code_address(record.ExceptionAddress);
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    std::fprintf(stderr, "\nCRASH in %s.%s: exception 0x%08lx in %s + 0x%zx",
                 test != nullptr ? test->test_suite_name() : "?",
                 test != nullptr ? test->name() : "?", record.ExceptionCode, address.module,
                 address.offset);
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
    // The first trace of a process starts a thread that keeps running. Started here, it does not
    // count as a leak of a test.
    { SCOPED_TRACE("first"); }
    return RUN_ALL_TESTS();
}
