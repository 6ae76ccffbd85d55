// The records of disk groups and volumes, against bare bus calls and bare requests to the
// system's mount-point manager.
#include "bare_records.h"
#include "library.h"

#include <cstring>
#include <string>
#include <vector>

namespace {

using bench::repeat;

// Lines that the list of unusable volumes writes at any level of the log.
constexpr int unusable_lines = 1;

constexpr char group_guid[] = "g-1";

// The keys of a volume in the scenario, except its count and plexes.
constexpr char volume_keys[] =
    R"("name": "vol#", "device": "\\Device\\Lab\\vol#", "type": 1, "size": 1073741824,)"
    R"( "drive_letter": "E", "file_system": {"type": "NTFS", "label": "Data #"})";

// A buffer for the library and one for the bare calls, to compare their contents.
class Buffers {
  public:
    explicit Buffers(std::size_t size) : m_ours(size), m_bare(size) {}
    template <class Record> Record* ours() { return reinterpret_cast<Record*>(m_ours.data()); }
    template <class Record> Record* bare() { return reinterpret_cast<Record*>(m_bare.data()); }
    std::uint32_t size() const { return static_cast<std::uint32_t>(m_ours.size()); }
    bool same() const { return m_ours == m_bare; }

  private:
    std::vector<char> m_ours;
    std::vector<char> m_bare;
};

struct Rows {
    bench::Row group;
    bench::Row unusable;
};

// There is one disk for every four volumes. Every second volume is unusable by its state, the
// others because the machine has no such volume.
Rows measure_group(bench::Report& report, const bench::Library& farlo, std::uint32_t volumes) {
    const std::string half = std::to_string(volumes / 2);
    const std::uint32_t disks = volumes / 4;
    bench::load_scenario(
        R"({"disk_groups": [{"name": "dg1", "dgid": "g-1", "imported": true, "disks": [{"name": "disk#",)"
        R"( "signature": 7, "port": 1, "target": 2, "lun": 3, "count": )" +
        std::to_string(disks) + R"(}], "volumes": [{)" + volume_keys + R"(, "count": )" + half +
        R"(}, {"name": "off#", "device": "\\Device\\Lab\\off#", "state": 32, "count": )" + half +
        "}]}]}");
    const opal_handle handle = farlo.handle();
    const std::string of = " of " + std::to_string(volumes) + " volumes";
    Rows rows;

    const auto properties = farlo.entry<GetDgPropertiesW_fn>("GetDgPropertiesW");
    Buffers record(sizeof(DgInfo) + disks * sizeof(DgDiskInfo) + volumes * sizeof(VolInfo));
    rows.group = bench::compare_with_bare(
        report, "GetDgPropertiesW" + of,
        repeat("GetDgPropertiesW",
               [&] {
                   std::uint32_t size = record.size();
                   return properties(handle, nullptr, group_guid, record.ours<DgInfo>(), &size) ==
                          0;
               }),
        repeat("the bare record of a group", [&] {
            return bare_group_record(handle, group_guid, record.bare<DgInfo>(), record.size()) == 0;
        }));
    bench::require(record.same(), "the records of the group differ");

    const auto unusable = farlo.entry<GetUnusableVolumesInfo_fn>("GetUnusableVolumesInfo");
    Buffers list(volumes * sizeof(VolInfo));
    rows.unusable = bench::compare_with_bare(
        report, "GetUnusableVolumesInfo" + of,
        repeat("GetUnusableVolumesInfo",
               [&] {
                   std::uint32_t count = volumes;
                   return unusable(handle, nullptr, group_guid, list.ours<VolInfo>(), &count) ==
                              0 &&
                          count == volumes;
               }),
        repeat("the bare list of unusable volumes",
               [&] {
                   std::uint32_t count = 0;
                   return bare_unusable_volumes(handle, group_guid, list.bare<VolInfo>(), volumes,
                                                &count) == 0 &&
                          count == volumes;
               }),
        unusable_lines);
    bench::require(list.same(), "the lists of unusable volumes differ");
    return rows;
}

// One volume with one plex; each subdisk is on a disk of its own.
bench::Row measure_volume(bench::Report& report, const bench::Library& farlo,
                          std::uint32_t subdisks) {
    std::string pieces;
    for (std::uint32_t i = 1; i <= subdisks; ++i) {
        const std::string number = std::to_string(i);
        pieces += (i == 1 ? "" : ", ") + (R"({"name": "sub)" + number) + R"(", "disk": "disk)" +
                  number + R"("})";
    }
    bench::load_scenario(
        R"({"disk_groups": [{"name": "dg1", "dgid": "g-1", "disks": [{"name": "disk#",)"
        R"( "signature": 7, "count": )" +
        std::to_string(subdisks) + R"(}], "volumes": [{)" + volume_keys +
        R"(, "count": 1, "plexes": [{"name": "plex", "subdisks": [)" + pieces + "]}]}]}]}");

    const opal_handle handle = farlo.handle();
    const auto properties = farlo.entry<GetVolPropertiesW_fn>("GetVolPropertiesW");
    const wchar_t* const device = L"\\Device\\Lab\\vol1";
    Buffers record(sizeof(VolPropInfo) + subdisks * sizeof(DgDiskInfo) + sizeof(VolInfo));
    const bench::Row row = bench::compare_with_bare(
        report, "GetVolPropertiesW of " + std::to_string(subdisks) + " subdisks",
        repeat("GetVolPropertiesW",
               [&] {
                   std::uint32_t size = record.size();
                   return properties(handle, device, record.ours<VolPropInfo>(), &size) == 0;
               }),
        repeat("the bare record of a volume", [&] {
            return bare_volume_record(handle, device, record.bare<VolPropInfo>(), record.size()) ==
                   0;
        }));
    bench::require(record.same(), "the records of the volume differ");
    return row;
}

}  // namespace

// The log is below VMPATH; the result is written to the file named by the first argument.
int main(int argc, char** argv) {
    bench::require(argc == 2, "usage: records_bench RESULT.json");
    const bench::Library farlo;
    bench::Report report("Records of disk groups and volumes, against bare calls");
    measure_group(report, farlo, 10);
    const Rows fewer = measure_group(report, farlo, 200);
    const Rows most = measure_group(report, farlo, 2000);
    measure_volume(report, farlo, 1);
    const bench::Row few_subdisks = measure_volume(report, farlo, 16);
    const bench::Row most_subdisks = measure_volume(report, farlo, 256);
    report.compare_growth("GetDgPropertiesW a volume, 2,000 to 200", fewer.group, most.group, 10);
    report.compare_growth("GetUnusableVolumesInfo a volume, 2,000 to 200", fewer.unusable,
                          most.unusable, 10);
    report.compare_growth("GetVolPropertiesW a subdisk, 256 to 16", few_subdisks, most_subdisks,
                          16);
    return report.finish(argv[1]) ? 0 : 1;
}
