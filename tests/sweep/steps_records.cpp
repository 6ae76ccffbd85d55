// Records of groups, volumes and disks.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <string>

using namespace support;

namespace sweep {
namespace {

// A property that cannot be read is left out of the record; so below.
Steps read_disk(const std::string& disk) {
    return {{get_property(disk, "Name"), continues()},
            {get_property(disk, "SIGNATURE"), continues()},
            {get_property(disk, "DISKID"), continues()},
            {get_property(disk, "PORT"), continues()},
            {get_property(disk, "DISK TARGET ID"), continues()},
            {get_property(disk, "LUN ID"), continues()}};
}

// The folders in which a volume is mounted, and its drive letter.
Steps read_mount_points() {
    return {{create_set(), continues()},
            {call_method(method::get_mount_points), continues()},
            {find_property("ALL MOUNT POINTS ARRAY"), continues()},
            {find_property("NUMBER OF MOUNT POINTS"), continues()},
            {find_property("MEMBERIDZ"), continues()},
            {add_property("FromMM"), continues()},
            {call_method(method::get_drive_letter), continues()},
            {find_property("DRIVE LETTER"), continues()}};
}

Steps read_volume(const std::string& volume) {
    const std::string file_system = volume + " file system";
    return Steps{{get_property(volume, "DEVICE NAME"), continues()}} + read_mount_points() +
           Steps{{get_children(volume, object_type::file_system), continues()},
                 {get_property(file_system, "type of file system"), continues()},
                 {get_property(file_system, "label"), continues()},
                 {get_property(volume, "type"), continues()},
                 {get_property(volume, "ztvmstate"), continues()},
                 {get_property(volume, "size"), continues()}};
}

// Asks the system's mount manager for the links to a volume.
Steps query_volume_links(const Outcome& no_links) {
    return {{call_of("CreateFileW"), no_links}, {call_of("DeviceIoControl"), no_links}};
}

Steps read_light_volume(const std::string& volume) {
    return Steps{{get_property(volume, "DEVICE NAME"), continues()},
                 {get_property(volume, "type"), continues()}} +
           query_volume_links(continues()) + Steps{{get_property(volume, "size"), continues()}};
}

// Collects related objects, of which there may be none.
Steps get_related(const CallPattern& call, const Outcome& none) {
    return {{call.without_output(), none}, {call, returns(FARLO_EXCEPTION)}};
}

Steps get_disks() {
    return get_related(get_children("@dgc", object_type::disk), continues());
}

Steps get_volumes(const Outcome& none) {
    return get_related(get_children("@dgc", object_type::volume), none);
}

// Finds the group's first volume by its device name.
Steps find_first_volume() {
    return get_volumes(returns(FARLO_VOLUME_NOT_FOUND)) +
           Steps{{get_property("@v1", "DEVICE NAME").nth(1), returns(FARLO_EXCEPTION)}};
}

Steps group_properties(Search find_group) {
    return find_group("@dgc", {"GetDgPropertiesW():GetDgObjId() failed, error=({})"}, 1) +
           each_failure_logs({"GetDgPropertiesW() failed, error=({}) "},
                             Steps{{get_property("@dgc", "Name"), returns(FARLO_EXCEPTION)}} +
                                 get_disks() + get_volumes(continues()) + read_disk("@d1") +
                                 read_disk("@d2") + read_volume("@v1") + read_volume("@v2"));
}

Steps volume_properties() {
    return each_failure_logs(
        {"GetVolPropertiesW() failed, error=({}) "},
        find_volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT,
                              {"GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v1"}) +
            get_related(get_children("@v1", object_type::plex), continues()) +
            get_related(get_children("@v1-01", object_type::subdisk), continues()) +
            get_related(get_parents("@s1", object_type::disk), continues()) +
            get_related(get_children("@v1-02", object_type::subdisk), continues()) +
            read_disk("@d1") + read_volume("@v1"));
}

Steps group_volume_properties(Search find_group) {
    return find_group("@dgc", {"GetDgVolPropertiesW():GetDgObjId() failed, error=({})"}, 1) +
           each_failure_logs({"GetDgVolPropertiesW() failed, error=({}) "},
                             get_disks() + get_volumes(continues()) +
                                 Steps{{get_property("@d1", "SIGNATURE"), continues()}} +
                                 read_light_volume("@v1") + read_light_volume("@v2"));
}

Steps one_volume_properties(Search find_group) {
    return find_group("@dgc", {"GetDgVolumePropertiesW():GetDgObjId() failed, error=({}) "}, 1) +
           each_failure_logs({"GetDgVolumePropertiesW() failed, error=({})"},
                             find_first_volume() + read_volume("@v1"));
}

Steps group_disk_properties(Search find_group) {
    return find_group("@dgc", {"GetDgDiskPropertiesW():GetDgObjId() failed, error=({}) "}, 1) +
           each_failure_logs({"GetDgDiskPropertiesW() failed, error=({}) "},
                             Steps{{get_property("@dgc", "Name"), returns(FARLO_EXCEPTION)}} +
                                 get_disks() + read_disk("@d1") + read_disk("@d2"));
}

Steps volume_state(Search find_group) {
    return find_group("@dgc", {"GetDgVolumeStateW():GetDgObjId() failed, error=({})"}, 1) +
           each_failure_logs({"GetDgVolumeStateW() failed, error=({})"},
                             find_first_volume() +
                                 Steps{{get_property("@v1", "ztvmstate"), continues()}});
}

// The driver reports a healthy volume as "unsuccessful".
Steps volume_status() {
    return each_failure_logs({"GetDgVolumeStatusW() failed, error=({}) "},
                             send_config_request(continues()));
}

// A volume is unusable by its state or without a link. `counts` is the line of a success, and
// `read_records` reads the unusable volumes.
Steps unusable_volumes(const std::string& counts, const Outcome& no_links,
                       const Steps& read_records) {
    const Outcome no_volumes =
        returns(FARLO_VOLUME_NOT_FOUND,
                {"GetUnusableVolumesInfo::No Volume present in DG: dgc, error=({})"});
    return with_lines(
        {.after_success = {counts}},
        find_group_by_name(
            "@dgc", {"GetUnusableVolumesInfo::GetDgObjId failed for DG: dgc,  error=({})"}, 1) +
            get_volumes(no_volumes) +
            Steps{{get_property("@v1", "isdco"), returns(FARLO_EXCEPTION)},
                  {get_property("@v1", "ztvmstate").nth(1), returns(FARLO_EXCEPTION)},
                  {get_property("@v1", "DEVICE NAME").nth(1), returns(FARLO_EXCEPTION)}} +
            query_volume_links(no_links) +
            Steps{{get_property("@v2", "isdco"), returns(FARLO_EXCEPTION)},
                  {get_property("@v2", "ztvmstate").nth(1), returns(FARLO_EXCEPTION)}} +
            read_records);
}

Steps volume_info() {
    return find_group_by_name("@dgc", {"GetVolumeInfo::GetDgObjId failed, error=({}) "}, 1) +
           each_failure_logs({"GetVolumeInfo failed, error=({})"},
                             find_first_volume() + read_volume("@v1") +
                                 query_volume_links(continues()));
}

}  // namespace

std::vector<ExportSteps> records_steps() {
    return {
        {{"GetDgPropertiesA"}, "", group_properties(find_group_by_name)},
        {{"GetDgPropertiesW"}, "", group_properties(find_group_by_guid)},
        {{"GetVolPropertiesA", "GetVolPropertiesW"}, "", volume_properties()},
        {{"GetDgVolPropertiesA"}, "", group_volume_properties(find_group_by_name)},
        {{"GetDgVolPropertiesW"}, "", group_volume_properties(find_group_by_guid)},
        {{"GetDgVolumePropertiesA"}, "", one_volume_properties(find_group_by_name)},
        {{"GetDgVolumePropertiesW"}, "", one_volume_properties(find_group_by_guid)},
        {{"GetDgDiskPropertiesA"}, "", group_disk_properties(find_group_by_name)},
        {{"GetDgDiskPropertiesW"}, "", group_disk_properties(find_group_by_guid)},
        {{"GetDgVolumeStateA"}, "", volume_state(find_group_by_name)},
        {{"GetDgVolumeStateW"}, "", volume_state(find_group_by_guid)},
        {{"GetDgVolumeStatusA", "GetDgVolumeStatusW"}, "", volume_status()},
        // The first volume has no link in a clean run either.
        {{"GetUnusableVolumesInfo"},
         "fills",
         unusable_volumes("  Vol.Count: 2 \t Unusable Vol.Count: 2 \n", continues(),
                          read_volume("@v1") + read_volume("@v2"))},
        // Without links both volumes are unusable, and there is room for one.
        {{"GetUnusableVolumesInfo"},
         "finds one",
         unusable_volumes("  Vol.Count: 2 \t Unusable Vol.Count: 1 \n",
                          returns(FARLO_BUFFER_TOO_SMALL), read_volume("@v2"))},
        {{"GetVolumeInfo"}, "", volume_info()},
    };
}

}  // namespace sweep
