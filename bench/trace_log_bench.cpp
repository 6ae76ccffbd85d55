// The cost of a log line: suppressed, and written.
#include "bare_log.h"
#include "core/trace_log.h"
#include "harness.h"
#include "log_level.h"
#include "spdlog_probe.h"

#include <windows.h>

#include <cstdio>
#include <new>

namespace {

constexpr double goal = 1.05;

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

void six_calls(std::uint64_t calls) {
    for (std::uint64_t i = 0; i < calls; ++i) {
        bare_log_line(log_path);
    }
}

}  // namespace

// The log is below VMPATH; the result is written to the file named by the first argument.
int main(int argc, char** argv) {
    if (argc != 2 || bare_log_path(log_path, MAX_PATH) == 0) {
        std::fprintf(stderr, "usage: trace_log_bench RESULT.json, with VMPATH set\n");
        return 2;
    }
    // The log was created before main, with the node's registry.
    bench::log_errors_only();
    new (&farlo::trace_log) farlo::TraceLog;
    if (farlo::trace_log.threshold() != 0) {
        std::fputs("the measurement ends: the trace level is not 0\n", stderr);
        return 2;
    }
    bench::Report report("Trace log");
    report.compare("suppressed line / inlined comparison", goal, suppressed, inlined_comparison);
    report.compare("suppressed line / disabled level of spdlog", goal, suppressed,
                   spdlog_suppressed);
    report.compare("written line / its six system calls", goal, written, six_calls);
    return report.finish(argv[1]) ? 0 : 1;
}
