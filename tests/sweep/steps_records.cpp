// Records of groups, volumes and disks.
#include "shared_steps.h"
#include "steps.h"

#include <string>

using namespace support;

namespace sweep {
namespace {

// What cannot be read of a disk is left out of its record.
Steps disk_record(const std::string& disk) {
    return {{get_property(disk, "Name"), continues()},
            {get_property(disk, "SIGNATURE"), continues()},
            {get_property(disk, "DISKID"), continues()},
            {get_property(disk, "PORT"), continues()},
            {get_property(disk, "DISK TARGET ID"), continues()},
            {get_property(disk, "LUN ID"), continues()}};
}

// The same of a volume; and of the paths to it, which go into every such record.
Steps volume_record(const std::string& volume) {
    return {{get_property(volume, "DEVICE NAME"), continues()},
            {get_children(volume, object_type::file_system), continues()},
            {get_property(volume + " file system", "type of file system"), continues()},
            {get_property(volume + " file system", "label"), continues()},
            {get_property(volume, "type"), continues()},
            {get_property(volume, "ztvmstate"), continues()},
            {get_property(volume, "size"), continues()}};
}
Steps paths_to_volumes() {
    return {{create_set(), continues()},
            {call_method(method::get_mount_points), continues()},
            {find_property("ALL MOUNT POINTS ARRAY"), continues()},
            {find_property("NUMBER OF MOUNT POINTS"), continues()},
            {find_property("MEMBERIDZ"), continues()},
            {add_property("FromMM"), continues()},
            {call_method(method::get_drive_letter), continues()},
            {find_property("DRIVE LETTER"), continues()}};
}

Steps light_volume_record(const std::string& volume) {
    return {{get_property(volume, "DEVICE NAME"), continues()},
            {get_property(volume, "type"), continues()},
            {get_property(volume, "size"), continues()}};
}

// The system is asked for the links to a volume; what comes of none.
Steps volume_links(const Outcome& none) {
    return {{"CreateFileW", none}, {"DeviceIoControl", none}};
}

// Related objects are collected; what comes of none.
Steps related(const CallPattern& call, const Outcome& none) {
    return {{call.without_output(), none}, {call, returns(FARLO_EXCEPTION)}};
}
Steps disks_of_group() {
    return related(get_children("@dgc", object_type::disk), continues());
}
Steps volumes_of_group(const Outcome& none) {
    return related(get_children("@dgc", object_type::volume), none);
}

// The group's first volume is the one that is looked for.
Steps volume_of_group() {
    return volumes_of_group(returns(FARLO_VOLUME_NOT_FOUND)) +
           Steps{{get_property("@v1", "DEVICE NAME"), returns(FARLO_EXCEPTION), 1}};
}

// Of find_group_by_guid, find_group_by_name.
using Search = Steps(const std::string& group, const Lines& errors, unsigned walk);

Steps group_properties(Search search) {
    return search("@dgc", {"GetDgPropertiesW():GetDgObjId() failed, error=({})"}, 1) +
           each_failure_logs({"GetDgPropertiesW() failed, error=({}) "},
                             Steps{{get_property("@dgc", "Name"), returns(FARLO_EXCEPTION)}} +
                                 disks_of_group() + volumes_of_group(continues()) +
                                 disk_record("@d1") + disk_record("@d2") + volume_record("@v1") +
                                 volume_record("@v2") + paths_to_volumes());
}

Steps volume_properties() {
    return each_failure_logs(
        {"GetVolPropertiesW() failed, error=({}) "},
        find_volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT,
                              {"GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v1"}) +
            related(get_children("@v1", object_type::plex), continues()) +
            related(get_children("@v1-01", object_type::subdisk), continues()) +
            related(get_children("@v1-02", object_type::subdisk), continues()) +
            related(get_parents("@s1", object_type::disk), continues()) + disk_record("@d1") +
            volume_record("@v1") + paths_to_volumes());
}

Steps group_light_records(Search search) {
    return search("@dgc", {"GetDgVolPropertiesW():GetDgObjId() failed, error=({})"}, 1) +
           each_failure_logs({"GetDgVolPropertiesW() failed, error=({}) "},
                             disks_of_group() + volumes_of_group(continues()) +
                                 Steps{{get_property("@d1", "SIGNATURE"), continues()}} +
                                 light_volume_record("@v1") + light_volume_record("@v2") +
                                 volume_links(continues()));
}

Steps volume_of_group_properties(Search search) {
    return search("@dgc", {"GetDgVolumePropertiesW():GetDgObjId() failed, error=({}) "}, 1) +
           each_failure_logs({"GetDgVolumePropertiesW() failed, error=({})"},
                             volume_of_group() + volume_record("@v1") + paths_to_volumes());
}

Steps group_disks(Search search) {
    return search("@dgc", {"GetDgDiskPropertiesW():GetDgObjId() failed, error=({}) "}, 1) +
           each_failure_logs({"GetDgDiskPropertiesW() failed, error=({}) "},
                             Steps{{get_property("@dgc", "Name"), returns(FARLO_EXCEPTION)}} +
                                 disks_of_group() + disk_record("@d1") + disk_record("@d2"));
}

Steps volume_state(Search search) {
    return search("@dgc", {"GetDgVolumeStateW():GetDgObjId() failed, error=({})"}, 1) +
           each_failure_logs({"GetDgVolumeStateW() failed, error=({})"},
                             volume_of_group() +
                                 Steps{{get_property("@v1", "ztvmstate"), continues()}});
}

// "Unsuccessful" is how the driver tells a healthy volume.
Steps volume_status() {
    return each_failure_logs(
        {"GetDgVolumeStatusW() failed, error=({}) "},
        Steps{{call_of("ZwDeviceIoControlFile").returning(native::unsuccessful), continues()}} +
            config_device_request());
}

Steps unusable_volumes(const std::string& counts, const Outcome& no_link) {
    return framed(
        {}, {counts}, {},
        find_group_by_name(
            "@dgc", {"GetUnusableVolumesInfo::GetDgObjId failed for DG: dgc,  error=({})"}, 1) +
            volumes_of_group(
                returns(FARLO_VOLUME_NOT_FOUND,
                        {"GetUnusableVolumesInfo::No Volume present in DG: dgc, error=({})"})) +
            Steps{{get_property("@v1", "isdco"), returns(FARLO_EXCEPTION)},
                  {get_property("@v1", "ztvmstate"), returns(FARLO_EXCEPTION), 1},
                  {get_property("@v1", "DEVICE NAME"), returns(FARLO_EXCEPTION), 1},
                  {get_property("@v2", "isdco"), returns(FARLO_EXCEPTION)},
                  {get_property("@v2", "ztvmstate"), returns(FARLO_EXCEPTION), 1}} +
            volume_links(no_link) + volume_record("@v1") + volume_record("@v2") +
            paths_to_volumes());
}

Steps volume_info() {
    return find_group_by_name("@dgc", {"GetVolumeInfo::GetDgObjId failed, error=({}) "}, 1) +
           each_failure_logs({"GetVolumeInfo failed, error=({})"},
                             volume_of_group() + volume_record("@v1") + paths_to_volumes() +
                                 volume_links(continues()));
}

}  // namespace

std::vector<ExportSteps> records_steps() {
    return {
        {{"GetDgPropertiesA"}, "", group_properties(find_group_by_name)},
        {{"GetDgPropertiesW"}, "", group_properties(find_group_by_guid)},
        {{"GetVolPropertiesA", "GetVolPropertiesW"}, "", volume_properties()},
        {{"GetDgVolPropertiesA"}, "", group_light_records(find_group_by_name)},
        {{"GetDgVolPropertiesW"}, "", group_light_records(find_group_by_guid)},
        {{"GetDgVolumePropertiesA"}, "", volume_of_group_properties(find_group_by_name)},
        {{"GetDgVolumePropertiesW"}, "", volume_of_group_properties(find_group_by_guid)},
        {{"GetDgDiskPropertiesA"}, "", group_disks(find_group_by_name)},
        {{"GetDgDiskPropertiesW"}, "", group_disks(find_group_by_guid)},
        {{"GetDgVolumeStateA"}, "", volume_state(find_group_by_name)},
        {{"GetDgVolumeStateW"}, "", volume_state(find_group_by_guid)},
        {{"GetDgVolumeStatusA", "GetDgVolumeStatusW"}, "", volume_status()},
        // The first volume has no link all the same.
        {{"GetUnusableVolumesInfo"},
         "fills",
         unusable_volumes("  Vol.Count: 2 \t Unusable Vol.Count: 2 \n", continues())},
        // Two unusable volumes are more than there is room for.
        {{"GetUnusableVolumesInfo"},
         "finds one",
         unusable_volumes("  Vol.Count: 2 \t Unusable Vol.Count: 1 \n",
                          returns(FARLO_BUFFER_TOO_SMALL))},
        {{"GetVolumeInfo"}, "", volume_info()},
    };
}

}  // namespace sweep
