// The cost of a log line: suppressed, and written.
#include "harness.h"
#include "spdlog_probe.h"
#include "trace_log.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr std::uint64_t suppressed_calls = 20'000'000;
constexpr std::uint64_t written_calls = 300;
constexpr double no_slower = 1.05;  // "beyond noise"

void suppressed(std::uint64_t calls) {
    const wchar_t* name = L"dg_data";
    for (std::uint64_t i = 0; i < calls; ++i) {
        farlo::log(6, L"Entering %s with flag 0x%x", name, static_cast<unsigned>(i));
        asm volatile("" ::: "memory");
    }
}

std::uint32_t threshold = 0;
[[gnu::noinline]] void never_reached() {
    std::puts("the bench's threshold is 0");
}

void inlined_comparison(std::uint64_t calls) {
    for (std::uint64_t i = 0; i < calls; ++i) {
        if (6 <= threshold) {
            never_reached();
        }
        asm volatile("" ::: "memory");
    }
}

char log_path[MAX_PATH];

void written(std::uint64_t calls) {
    for (std::uint64_t i = 0; i < calls; ++i) {
        farlo::log(0, L"OnlineDg %s is called with flag 0x%x", L"dg_data",
                   static_cast<unsigned>(i));
    }
}

// What a line cannot do without: open, size, lock, seek, write, close.
void six_calls(std::uint64_t calls) {
    char line[] =
        "11/20/26 19:21:38 [PID:1234,TID:1234] OnlineDg dg_data is called with flag 0x1\r\n";
    for (std::uint64_t i = 0; i < calls; ++i) {
        const HANDLE file = CreateFileA(log_path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                        nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        LARGE_INTEGER size;
        GetFileSizeEx(file, &size);
        OVERLAPPED offset{};
        LockFileEx(file, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &offset);
        const LARGE_INTEGER none{};
        SetFilePointerEx(file, none, nullptr, FILE_END);
        DWORD count = 0;
        WriteFile(file, line, sizeof line - 1, &count, nullptr);
        CloseHandle(file);
    }
}

}  // namespace

// The folder of the log comes in VMPATH; the result goes to the file named by
// the first argument.
int main(int argc, char** argv) {
    if (argc != 2 ||
        ExpandEnvironmentStringsA("%VMPATH%logs\\farlo.log", log_path, MAX_PATH) == 0) {
        std::fprintf(stderr, "usage: trace_log_bench RESULT.json, with VMPATH set\n");
        return 2;
    }
    DeleteFileA(log_path);
    bench::Report report("Trace log");
    report.compare("suppressed line / inlined comparison", no_slower, suppressed_calls, suppressed,
                   inlined_comparison);
    report.compare("suppressed line / disabled level of spdlog", no_slower, suppressed_calls,
                   suppressed, spdlog_suppressed);
    report.compare("written line / its six system calls", 1.05, written_calls, written, six_calls);
    return report.finish(argv[1]) ? 0 : 1;
}
