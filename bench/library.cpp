#include "library.h"

#include "bare_log.h"
#include "log_level.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace bench {
void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "the measurement ends: %s\n", what);
        std::exit(2);
    }
}

void load_scenario(const std::string& json) {
    char error[256];
    require(LabLoadScenarioText(json.c_str(), error, sizeof error) == 0, error);
}

std::uint64_t bus_calls() {
    std::uint64_t count = 0;
    for (const char* name :
         {"DbGetObjects", "DbGetObjectsByQuery", "ObGetProperty", "ObGetChildObjects",
          "ObGetParentObjects", "PrCallDispatch", "PsFreeProperty", "PsCreatePropset",
          "PsAddProperty", "PsFindProperty", "PsDestroyPropset"}) {
        count += LabCallCount(name);
    }
    return count;
}

namespace {

HMODULE load_library() {
    log_errors_only();
    return LoadLibraryW(L"farlo.dll");
}

// Returns the number of lines that a call adds to the trace log.
template <class Call> std::ptrdiff_t lines_of(Call&& call) {
    char path[MAX_PATH] = "";
    ExpandEnvironmentStringsA("%VMPATH%logs\\farlo.log", path, MAX_PATH);
    std::error_code ignored;
    const auto size = [&] {
        return std::filesystem::exists(path) ? std::filesystem::file_size(path, ignored) : 0;
    };
    const std::uintmax_t before = size();
    call();
    std::ifstream log(path, std::ios::binary);
    log.seekg(static_cast<std::streamoff>(before <= size() ? before : 0));  // it may roll over
    return std::count(std::istreambuf_iterator<char>(log), {}, '\n');
}

}  // namespace

Library::Library() : m_module(load_library()) {
    require(m_module != nullptr, "farlo.dll cannot be loaded");
    const auto name = entry<GetDgNameW_fn>("GetDgNameW");
    require(lines_of([&] { name(nullptr, nullptr, nullptr); }) == 1,
            "the trace log is to have errors only: this one, and not that the call began");
    require(entry<ValidateClusterW_fn>("ValidateClusterW")(&m_handle) == 0,
            "there is no connection");
}

Library::~Library() {
    entry<UnInitializeClusterW_fn>("UnInitializeClusterW")(m_handle);
}

void* Library::address(const char* name) const {
    const FARPROC found = GetProcAddress(m_module, name);
    require(found != nullptr, name);
    return reinterpret_cast<void*>(found);
}

void write_bare_lines(int lines) {
    static char path[MAX_PATH];
    if (*path == '\0') {
        require(bare_log_path(path, MAX_PATH) != 0, "VMPATH is not set");
    }
    for (; lines != 0; --lines) {
        bare_log_line(path);
    }
}

Row compare_with_bare(Report& report, const std::string& name, const Code& ours, const Code& bare,
                      int lines) {
    const auto calls_of = [](const Code& code) {
        const std::uint64_t before = bus_calls();
        code(1);
        return bus_calls() - before;
    };
    const std::uint64_t calls = calls_of(ours);
    report.expect(name + ", bus calls", calls, calls_of(bare));
    const Row row = report.compare(name, bare_goal, ours, bare);
    if (lines != 0) {
        report.compare("  against these and its " + std::to_string(lines) + " log lines", bare_goal,
                       ours, [&](std::uint64_t times) {
                           for (; times != 0; --times) {
                               bare(1);
                               write_bare_lines(lines);
                           }
                       });
    }
    return row;
}

}  // namespace bench
