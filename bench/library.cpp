#include "library.h"

#include "bare_log.h"

#include <cstdio>
#include <cstdlib>

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

Library::Library() : m_module(LoadLibraryW(L"farlo.dll")) {
    require(m_module != nullptr, "farlo.dll cannot be loaded");
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
