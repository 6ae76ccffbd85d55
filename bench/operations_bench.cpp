// Operations over the embedded storage against the same bus calls written by
// hand: what the library adds to them, at 10, 1,000 and 10,000 disk groups.
#include "bare_calls.h"
#include "farlo.h"
#include "harness.h"
#include "lab_bus.h"

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr double goal = 1.05;

struct Farlo {
    HMODULE module = LoadLibraryW(L"farlo.dll");
    template <class Function> Function entry(const char* name) const {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
    }
    ValidateClusterW_fn connect = entry<ValidateClusterW_fn>("ValidateClusterW");
    UnInitializeClusterW_fn release = entry<UnInitializeClusterW_fn>("UnInitializeClusterW");
    OnlineDgExW_fn online = entry<OnlineDgExW_fn>("OnlineDgExW");
    OfflineDgW_fn offline = entry<OfflineDgW_fn>("OfflineDgW");
    GetDgGuidW_fn guid = entry<GetDgGuidW_fn>("GetDgGuidW");
    GetDgNameListW_fn names = entry<GetDgNameListW_fn>("GetDgNameListW");
};

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "operations_bench: %s\n", what);
        std::exit(2);
    }
}

// Every second group is imported; the last is the one that comes and goes.
void load_groups(std::uint64_t count) {
    const std::string half = std::to_string(count / 2);
    const std::string json =
        R"({"disk_groups": [{"name": "in#", "dgid": "in-#", "imported": true, "count": )" + half +
        R"(}, {"name": "out#", "dgid": "out-#", "count": )" + half + "}]}";
    char error[256];
    require(LabLoadScenarioText(json.c_str(), error, sizeof error) == 0, error);
}

std::uint64_t all_calls() {
    std::uint64_t count = 0;
    for (const char* name : {"DbGetObjects", "ObGetProperty", "PsFreeProperty", "PrCallDispatch",
                             "PsCreatePropset", "PsAddProperty", "PsDestroyPropset"}) {
        count += LabCallCount(name);
    }
    return count;
}

template <class Work> std::uint64_t calls_of(Work&& work) {
    const std::uint64_t before = all_calls();
    work(1);
    return all_calls() - before;
}

void measure(bench::Report& report, const Farlo& farlo, opal_handle handle, std::uint64_t groups) {
    load_groups(groups);
    const std::string last = std::to_string(groups / 2);
    const std::wstring name = L"out" + std::wstring(last.begin(), last.end());
    const std::string guid = "out-" + last;
    const std::string at = " at " + std::to_string(groups) + " groups";
    const std::uint64_t calls = groups <= 10 ? 2000 : groups <= 1000 ? 20 : 4;

    const auto compare = [&](const std::string& what, const auto& ours, const auto& bare) {
        report.expect(what + at + ", bus calls", calls_of(ours), calls_of(bare));
        report.compare(what + at, goal, calls, ours, bare);
    };

    std::vector<wchar_t> buffer(groups * 8);
    const auto bytes = static_cast<std::uint32_t>(buffer.size() * sizeof(wchar_t));
    compare(
        "GetDgNameListW",
        [&](std::uint64_t times) {
            for (; times != 0; --times) {
                wchar_t* pointer = buffer.data();
                std::uint32_t size = bytes;
                std::uint32_t count = 0;
                require(farlo.names(handle, &pointer, &size, &count) == 0 && count == groups / 2,
                        "GetDgNameListW failed");
            }
        },
        [&](std::uint64_t times) {
            for (; times != 0; --times) {
                std::uint32_t count = 0;
                require(bare_name_list(handle, buffer.data(), bytes, &count) == 0 &&
                            count == groups / 2,
                        "the bare name list failed");
            }
        });

    char text[65];
    compare(
        "GetDgGuidW",
        [&](std::uint64_t times) {
            for (; times != 0; --times) {
                require(farlo.guid(handle, name.c_str(), text) == 0, "GetDgGuidW failed");
            }
        },
        [&](std::uint64_t times) {
            for (; times != 0; --times) {
                require(bare_guid(handle, name.c_str(), text) == 0, "the bare lookup failed");
            }
        });

    // Each import needs a deport before the next: the pair is measured.
    compare(
        "OnlineDgExW and OfflineDgW",
        [&](std::uint64_t times) {
            for (; times != 0; --times) {
                require(farlo.online(handle, name.c_str(), guid.c_str(), nullptr, 0, 0) == 0 &&
                            farlo.offline(handle, name.c_str(), guid.c_str(), 0) == 0,
                        "an import or deport failed");
            }
        },
        [&](std::uint64_t times) {
            for (; times != 0; --times) {
                require(bare_online(handle, name.c_str(), guid.c_str()) == 0 &&
                            bare_offline(handle, guid.c_str()) == 0,
                        "a bare import or deport failed");
            }
        });
}

// Nothing may grow over many calls.
void measure_growth(bench::Report& report, const Farlo& farlo, opal_handle handle) {
    load_groups(10);
    const auto work = [&](int calls) {
        wchar_t names[100];
        char text[65];
        for (int i = 0; i < calls; ++i) {
            wchar_t* pointer = names;
            std::uint32_t size = sizeof names;
            std::uint32_t count = 0;
            farlo.names(handle, &pointer, &size, &count);
            farlo.guid(handle, L"out5", text);
            farlo.online(handle, L"out5", "out-5", nullptr, 0, 0);
            farlo.offline(handle, L"out5", "out-5", 0);
        }
    };
    const auto heap_bytes = [] {
        std::uint64_t bytes = 0;
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(GetProcessHeap());
        while (HeapWalk(GetProcessHeap(), &entry) != FALSE) {
            bytes += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0 ? entry.cbData : 0;
        }
        HeapUnlock(GetProcessHeap());
        return bytes;
    };
    const auto handles = [] {
        DWORD count = 0;
        GetProcessHandleCount(GetCurrentProcess(), &count);
        return count;
    };
    work(100);
    const std::uint64_t heap_before = heap_bytes();
    const DWORD handles_before = handles();
    work(25'000);
    const std::uint64_t heap_after = heap_bytes();
    report.expect("kernel handles after 100,000 calls", handles(), handles_before);
    report.expect("KiB of heap that 100,000 calls left",
                  heap_after > heap_before ? (heap_after - heap_before) / 1024 : 0, 0);
}

}  // namespace

// VMPATH tells where the log is; the result goes to the file named by the first
// argument.
int main(int argc, char** argv) {
    require(argc == 2, "usage: operations_bench RESULT.json");
    const Farlo farlo;
    require(farlo.module != nullptr, "farlo.dll cannot be loaded");
    opal_handle handle = nullptr;
    require(farlo.connect(&handle) == 0, "there is no connection");
    bench::Report report("Operations over the embedded storage, against bare bus calls");
    for (const std::uint64_t groups : {10u, 1000u, 10'000u}) {
        measure(report, farlo, handle, groups);
    }
    measure_growth(report, farlo, handle);
    farlo.release(handle);
    return report.finish(argv[1]) ? 0 : 1;
}
