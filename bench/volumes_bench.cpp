// Operations on volumes, at 10, 1,000 and 10,000 of them, against bare bus calls: bring one
// online, find one by any of its names, and collect the folders in which each is mounted.
#include "bare_volumes.h"
#include "core/trace_log.h"
#include "library.h"
#include "log_level.h"
#include "volume/find_volume.h"
#include "volume/mount_points.h"

#include <cwchar>
#include <new>
#include <string>
#include <tuple>
#include <vector>

namespace {

using bench::repeat;

// Lines that an online writes at any level of the log.
constexpr int online_lines = 2;

constexpr char group_guid[] = "g-1";

struct Rows {
    bench::Row online;
    bench::Row found;
    bench::Row mounts;
};

// One group; each volume is mounted in two folders of a volume with a letter.
void load_volumes(const std::string& count, const std::string& more) {
    bench::load_scenario(
        R"({"node": {"role": 1}, "disk_groups": [{"name": "dg1", "dgid": "g-1", "imported": true,)"
        R"( "volumes": [{"name": "vol#", "device": "\\Device\\Lab\\vol#", "count": )" +
        count + more +
        R"(, "mount_points": [{"path": "data\\vol#", "volume": "holder"},)"
        R"( {"path": "logs\\vol#", "volume": "holder"}]},)"
        R"( {"name": "holder", "device": "\\Device\\Lab\\holder", "drive_letter": "E"}]}]})");
}

std::vector<opal_objid> volume_ids(std::uint64_t volumes) {
    std::vector<opal_objid> ids(volumes);
    for (std::uint64_t i = 0; i < volumes; ++i) {
        bench::require(LabFindObject(("vol" + std::to_string(i + 1)).c_str(), &ids[i]) == 0,
                       "a volume is missing");
    }
    return ids;
}

// Calls the library's own routine: no export does this alone. Finds the last volume.
bench::Row measure_find(bench::Report& report, opal_handle handle, const std::string& name,
                        const std::wstring& wanted) {
    return bench::compare_with_bare(
        report, name,
        repeat("FindVolIdByDLorDevName",
               [&] {
                   farlo::CZtObject volume;
                   return farlo::FindVolIdByDLorDevName(handle, volume, wanted.c_str());
               }),
        repeat("the bare search for a volume", [&] {
            opal_objid volume;
            return bare_find_volume(handle, wanted.c_str(), &volume) == 0;
        }));
}

// The mount points of every volume in turn.
bench::Row measure_mounts(bench::Report& report, opal_handle handle, std::uint64_t volumes) {
    const std::vector<opal_objid> ids = volume_ids(volumes);
    const std::wstring last = std::to_wstring(volumes);
    const std::wstring wanted = L"E:\\data\\vol" + last + L"; E:\\logs\\vol" + last;
    wchar_t mounts[farlo::mount_string_capacity];
    return bench::compare_with_bare(
        report, "GetMountPoints of " + std::to_string(volumes) + " volumes",
        repeat("GetMountPoints",
               [&] {
                   for (const opal_objid& id : ids) {
                       *mounts = L'\0';
                       // The string is compared below.
                       std::ignore = farlo::GetMountPoints(handle, mounts, id);
                   }
                   return mounts == wanted;
               }),
        repeat("the bare mount points", [&] {
            for (const opal_objid& id : ids) {
                bare_mount_points(handle, &id, mounts);
            }
            return mounts == wanted;
        }));
}

Rows measure(bench::Report& report, const bench::Library& farlo, std::uint64_t volumes) {
    const std::string count = std::to_string(volumes);
    load_volumes(count, "");
    const opal_handle handle = farlo.handle();
    const auto online = farlo.entry<OnlineVolW_fn>("OnlineVolW");
    const std::wstring device = L"\\Device\\Lab\\vol" + std::to_wstring(volumes);
    const std::string at = " at " + count + " volumes";
    Rows rows;

    rows.online = bench::compare_with_bare(
        report, "OnlineVolW on a running node" + at,
        repeat("OnlineVolW",
               [&] { return online(handle, group_guid, device.c_str(), 0, 1000) == 0; }),
        repeat("the bare online of a volume",
               [&] { return bare_online_volume(handle, group_guid, device.c_str()) == 0; }),
        online_lines);
    rows.found = measure_find(report, handle, "FindVolIdByDLorDevName" + at, device);
    rows.mounts = measure_mounts(report, handle, volumes);
    return rows;
}

}  // namespace

// The log is below VMPATH; the result is written to the file named by the first argument.
int main(int argc, char** argv) {
    bench::require(argc == 2, "usage: volumes_bench RESULT.json");
    // The log of the library's routines in this program was created with the node's registry.
    bench::log_errors_only();
    new (&farlo::trace_log) farlo::TraceLog;
    bench::require(farlo::trace_log.threshold() == 0, "the trace level is not 0");
    const bench::Library farlo;
    bench::Report report("Volumes, against bare bus calls");
    measure(report, farlo, 10);
    const Rows thousand = measure(report, farlo, 1000);
    const Rows most = measure(report, farlo, 10'000);
    report.compare_growth("FindVolIdByDLorDevName a volume, 10,000 to 1,000", thousand.found,
                          most.found, 10);
    report.compare_growth("GetMountPoints a volume, 10,000 to 1,000", thousand.mounts, most.mounts,
                          10);
    // A property that cannot be read raises an exception in the library.
    load_volumes("1000", R"(, "without": ["DRIVE LETTER"])");
    measure_find(report, farlo.handle(), "FindVolIdByDLorDevName at 1000 without letter property",
                 L"\\Device\\Lab\\vol1000");
    return report.finish(argv[1]) ? 0 : 1;
}
