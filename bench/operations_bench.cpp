// The time that the library adds to the bus calls of its operations: over the embedded storage,
// against the same calls written by hand, at 10, 1,000 and 10,000 disk groups.
#include "bare_calls.h"
#include "library.h"
#include "support/heap_watch.h"
#include "support/kernel_handles.h"

#include <cstdio>
#include <string>
#include <vector>

namespace {

using bench::repeat;

// Lines that an import writes at any level of the log; a deport writes none.
constexpr int online_lines = 2;

struct Farlo : bench::Library {
    OnlineDgExW_fn online = entry<OnlineDgExW_fn>("OnlineDgExW");
    OfflineDgW_fn offline = entry<OfflineDgW_fn>("OfflineDgW");
    GetDgGuidW_fn guid = entry<GetDgGuidW_fn>("GetDgGuidW");
    GetDgNameListW_fn names = entry<GetDgNameListW_fn>("GetDgNameListW");
};

// Every second group is imported; the last one is imported and deported.
void load_groups(std::uint64_t count) {
    const std::string half = std::to_string(count / 2);
    bench::load_scenario(
        R"({"disk_groups": [{"name": "in#", "dgid": "in-#", "imported": true, "count": )" + half +
        R"(}, {"name": "out#", "dgid": "out-#", "count": )" + half + "}]}");
}

struct Rows {
    bench::Row names;
    bench::Row guid;
    bench::Row pair;
};

Rows measure(bench::Report& report, const Farlo& farlo, std::uint64_t groups) {
    load_groups(groups);
    const opal_handle handle = farlo.handle();
    const std::string last = std::to_string(groups / 2);
    const std::wstring name = L"out" + std::wstring(last.begin(), last.end());
    const std::string guid = "out-" + last;
    const std::string at = " at " + std::to_string(groups) + " groups";
    Rows rows;

    std::vector<wchar_t> buffer(groups * 8);
    const auto bytes = static_cast<std::uint32_t>(buffer.size() * sizeof(wchar_t));
    rows.names = bench::compare_with_bare(
        report, "GetDgNameListW" + at,
        repeat("GetDgNameListW",
               [&] {
                   wchar_t* pointer = buffer.data();
                   std::uint32_t size = bytes;
                   std::uint32_t count = 0;
                   return farlo.names(handle, &pointer, &size, &count) == 0 && count == groups / 2;
               }),
        repeat("the bare name list", [&] {
            std::uint32_t count = 0;
            return bare_name_list(handle, buffer.data(), bytes, &count) == 0 && count == groups / 2;
        }));

    char found_guid[65];
    rows.guid = bench::compare_with_bare(
        report, "GetDgGuidW" + at,
        repeat("GetDgGuidW", [&] { return farlo.guid(handle, name.c_str(), found_guid) == 0; }),
        repeat("the bare lookup",
               [&] { return bare_guid(handle, name.c_str(), found_guid) == 0; }));

    // A group must be deported before its next import, so the pair is measured.
    rows.pair = bench::compare_with_bare(
        report, "OnlineDgExW and OfflineDgW" + at,
        repeat("an import or deport",
               [&] {
                   return farlo.online(handle, name.c_str(), guid.c_str(), nullptr, 0, 0) == 0 &&
                          farlo.offline(handle, name.c_str(), guid.c_str(), 0) == 0;
               }),
        repeat("a bare import or deport",
               [&] {
                   return bare_online(handle, name.c_str(), guid.c_str()) == 0 &&
                          bare_offline(handle, guid.c_str()) == 0;
               }),
        online_lines);
    return rows;
}

// Many calls must leave no handle, heap block or bus object.
void measure_leaks(bench::Report& report, const Farlo& farlo) {
    const opal_handle handle = farlo.handle();
    load_groups(10);
    const auto work = [&](int calls) {
        wchar_t names[100];
        char found_guid[65];
        for (int i = 0; i < calls; ++i) {
            wchar_t* pointer = names;
            std::uint32_t size = sizeof names;
            std::uint32_t count = 0;
            farlo.names(handle, &pointer, &size, &count);
            farlo.guid(handle, L"out5", found_guid);
            farlo.online(handle, L"out5", "out-5", nullptr, 0, 0);
            farlo.offline(handle, L"out5", "out-5", 0);
        }
    };
    work(100);
    const support::HeapWatch heap(farlo.module());
    lab_live live_before;
    LabGetLive(&live_before);
    const auto handles_before = support::kernel_handles();
    work(25'000);
    lab_live live;
    LabGetLive(&live);
    report.expect("kernel handles that 100,000 calls left",
                  support::new_kernel_handles(handles_before).size(), 0);
    report.expect("heap blocks that they left", static_cast<std::uint64_t>(heap.live_blocks()), 0);
    report.expect("what they hold of the bus", live.property_sets + live.properties + live.blocks,
                  live_before.property_sets + live_before.properties + live_before.blocks);
}

}  // namespace

// The log is below VMPATH; the result is written to the file named by the first argument.
int main(int argc, char** argv) {
    bench::require(argc == 2, "usage: operations_bench RESULT.json");
    const Farlo farlo;
    bench::Report report("Operations on disk groups, against bare bus calls");
    measure(report, farlo, 10);
    const Rows thousand = measure(report, farlo, 1000);
    const Rows most = measure(report, farlo, 10'000);
    report.compare_growth("GetDgNameListW a group, 10,000 to 1,000", thousand.names, most.names,
                          10);
    report.compare_growth("GetDgGuidW a group, 10,000 to 1,000", thousand.guid, most.guid, 10);
    report.compare_growth("OnlineDgExW and OfflineDgW a group, 10,000 to 1,000", thousand.pair,
                          most.pair, 10);
    measure_leaks(report, farlo);
    return report.finish(argv[1]) ? 0 : 1;
}
