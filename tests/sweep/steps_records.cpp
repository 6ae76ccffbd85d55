// Records of groups, volumes and disks.
#include "shared_steps.h"
#include "steps.h"

#include <string>

namespace sweep {
namespace {

// What cannot be read of a disk is left out of its record.
Steps disk_record(const std::string& disk) {
    return {{"ObGetProperty " + disk + " \"Name\"", goes_on()},
            {"ObGetProperty " + disk + " \"SIGNATURE\"", goes_on()},
            {"ObGetProperty " + disk + " \"DISKID\"", goes_on()},
            {"ObGetProperty " + disk + " \"PORT\"", goes_on()},
            {"ObGetProperty " + disk + " \"DISK TARGET ID\"", goes_on()},
            {"ObGetProperty " + disk + " \"LUN ID\"", goes_on()}};
}

// The same of a volume; and of the paths to it, which go into every such record.
Steps volume_record(const std::string& volume) {
    return {{"ObGetProperty " + volume + " \"DEVICE NAME\"", goes_on()},
            {"ObGetChildObjects " + volume + " tamo_fs_nt", goes_on()},
            {"ObGetProperty " + volume + " file system \"type of file system\"", goes_on()},
            {"ObGetProperty " + volume + " file system \"label\"", goes_on()},
            {"ObGetProperty " + volume + " \"type\"", goes_on()},
            {"ObGetProperty " + volume + " \"ztvmstate\"", goes_on()},
            {"ObGetProperty " + volume + " \"size\"", goes_on()}};
}
Steps paths_to_volumes() {
    return {{"PsCreatePropset", goes_on()},
            {"PrCallDispatch 0.8006", goes_on()},
            {"PsFindProperty \"ALL MOUNT POINTS ARRAY\"", goes_on()},
            {"PsFindProperty \"NUMBER OF MOUNT POINTS\"", goes_on()},
            {"PsFindProperty \"MEMBERIDZ\"", goes_on()},
            {"PsAddProperty \"FromMM\"", goes_on()},
            {"PrCallDispatch 0.8007", goes_on()},
            {"PsFindProperty \"DRIVE LETTER\"", goes_on()}};
}

Steps light_volume_record(const std::string& volume) {
    return {{"ObGetProperty " + volume + " \"DEVICE NAME\"", goes_on()},
            {"ObGetProperty " + volume + " \"type\"", goes_on()},
            {"ObGetProperty " + volume + " \"size\"", goes_on()}};
}

// The system is asked for the links to a volume; what comes of none.
Steps volume_links(const Outcome& none) {
    return {{"CreateFileW", none}, {"DeviceIoControl", none}};
}

// Related objects are collected; what comes of none.
Steps related(const std::string& query, const Outcome& none) {
    return {{query + " nothing", none}, {query, answers(FARLO_EXCEPTION)}};
}
Steps disks_of_group() {
    return related("ObGetChildObjects @dgc tamo_ztvm_disk", goes_on());
}
Steps volumes_of_group(const Outcome& none) {
    return related("ObGetChildObjects @dgc tamo_ztvm_volume", none);
}

// The group's first volume is the one that is looked for.
Steps volume_of_group() {
    return volumes_of_group(answers(FARLO_VOLUME_NOT_FOUND)) +
           Steps{{"ObGetProperty @v1 \"DEVICE NAME\"", answers(FARLO_EXCEPTION), 1}};
}

// Of group_by_guid, group_by_name.
using Search = Steps(const std::string& group, const Lines& errors, unsigned walk);

Steps group_properties(Search search) {
    return search("@dgc", {"GetDgPropertiesW():GetDgObjId() failed, error=({})"}, 1) +
           ended_by({"GetDgPropertiesW() failed, error=({}) "},
                    Steps{{"ObGetProperty @dgc \"Name\"", answers(FARLO_EXCEPTION)}} +
                        disks_of_group() + volumes_of_group(goes_on()) + disk_record("@d1") +
                        disk_record("@d2") + volume_record("@v1") + volume_record("@v2") +
                        paths_to_volumes());
}

Steps volume_properties() {
    return ended_by(
        {"GetVolPropertiesW() failed, error=({}) "},
        volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT,
                         {"GetVolPropertiesW - FindVolObjByDevName failed for \\Device\\v1"}) +
            related("ObGetChildObjects @v1 tamo_ztvm_plex", goes_on()) +
            related("ObGetChildObjects @v1-01 tamo_ztvm_subdisk", goes_on()) +
            related("ObGetChildObjects @v1-02 tamo_ztvm_subdisk", goes_on()) +
            related("ObGetParentObjects @s1 tamo_ztvm_disk", goes_on()) + disk_record("@d1") +
            volume_record("@v1") + paths_to_volumes());
}

Steps group_light_records(Search search) {
    return search("@dgc", {"GetDgVolPropertiesW():GetDgObjId() failed, error=({})"}, 1) +
           ended_by({"GetDgVolPropertiesW() failed, error=({}) "},
                    disks_of_group() + volumes_of_group(goes_on()) +
                        Steps{{"ObGetProperty @d1 \"SIGNATURE\"", goes_on()}} +
                        light_volume_record("@v1") + light_volume_record("@v2") +
                        volume_links(goes_on()));
}

Steps volume_of_group_properties(Search search) {
    return search("@dgc", {"GetDgVolumePropertiesW():GetDgObjId() failed, error=({}) "}, 1) +
           ended_by({"GetDgVolumePropertiesW() failed, error=({})"},
                    volume_of_group() + volume_record("@v1") + paths_to_volumes());
}

Steps group_disks(Search search) {
    return search("@dgc", {"GetDgDiskPropertiesW():GetDgObjId() failed, error=({}) "}, 1) +
           ended_by({"GetDgDiskPropertiesW() failed, error=({}) "},
                    Steps{{"ObGetProperty @dgc \"Name\"", answers(FARLO_EXCEPTION)}} +
                        disks_of_group() + disk_record("@d1") + disk_record("@d2"));
}

Steps volume_state(Search search) {
    return search("@dgc", {"GetDgVolumeStateW():GetDgObjId() failed, error=({})"}, 1) +
           ended_by({"GetDgVolumeStateW() failed, error=({})"},
                    volume_of_group() + Steps{{"ObGetProperty @v1 \"ztvmstate\"", goes_on()}});
}

// "Unsuccessful" is how the driver tells a healthy volume.
Steps volume_status() {
    return ended_by({"GetDgVolumeStatusW() failed, error=({}) "},
                    Steps{{"ZwDeviceIoControlFile 0xc0000001", goes_on()}} + config_request());
}

Steps unusable_volumes(const std::string& counts, const Outcome& no_link) {
    return framed(
        {}, {counts}, {},
        group_by_name("@dgc",
                      {"GetUnusableVolumesInfo::GetDgObjId failed for DG: dgc,  error=({})"}, 1) +
            volumes_of_group(
                answers(FARLO_VOLUME_NOT_FOUND,
                        {"GetUnusableVolumesInfo::No Volume present in DG: dgc, error=({})"})) +
            Steps{{"ObGetProperty @v1 \"isdco\"", answers(FARLO_EXCEPTION)},
                  {"ObGetProperty @v1 \"ztvmstate\"", answers(FARLO_EXCEPTION), 1},
                  {"ObGetProperty @v1 \"DEVICE NAME\"", answers(FARLO_EXCEPTION), 1},
                  {"ObGetProperty @v2 \"isdco\"", answers(FARLO_EXCEPTION)},
                  {"ObGetProperty @v2 \"ztvmstate\"", answers(FARLO_EXCEPTION), 1}} +
            volume_links(no_link) + volume_record("@v1") + volume_record("@v2") +
            paths_to_volumes());
}

Steps volume_info() {
    return group_by_name("@dgc", {"GetVolumeInfo::GetDgObjId failed, error=({}) "}, 1) +
           ended_by({"GetVolumeInfo failed, error=({})"}, volume_of_group() + volume_record("@v1") +
                                                              paths_to_volumes() +
                                                              volume_links(goes_on()));
}

}  // namespace

std::vector<StepsOf> records_steps() {
    return {
        {{"GetDgPropertiesA"}, "", group_properties(group_by_name)},
        {{"GetDgPropertiesW"}, "", group_properties(group_by_guid)},
        {{"GetVolPropertiesA", "GetVolPropertiesW"}, "", volume_properties()},
        {{"GetDgVolPropertiesA"}, "", group_light_records(group_by_name)},
        {{"GetDgVolPropertiesW"}, "", group_light_records(group_by_guid)},
        {{"GetDgVolumePropertiesA"}, "", volume_of_group_properties(group_by_name)},
        {{"GetDgVolumePropertiesW"}, "", volume_of_group_properties(group_by_guid)},
        {{"GetDgDiskPropertiesA"}, "", group_disks(group_by_name)},
        {{"GetDgDiskPropertiesW"}, "", group_disks(group_by_guid)},
        {{"GetDgVolumeStateA"}, "", volume_state(group_by_name)},
        {{"GetDgVolumeStateW"}, "", volume_state(group_by_guid)},
        {{"GetDgVolumeStatusA", "GetDgVolumeStatusW"}, "", volume_status()},
        // The first volume has no link all the same.
        {{"GetUnusableVolumesInfo"},
         "fills",
         unusable_volumes("  Vol.Count: 2 \t Unusable Vol.Count: 2 \n", goes_on())},
        // Two unusable volumes are more than there is room for.
        {{"GetUnusableVolumesInfo"},
         "finds one",
         unusable_volumes("  Vol.Count: 2 \t Unusable Vol.Count: 1 \n",
                          answers(FARLO_BUFFER_TOO_SMALL))},
        {{"GetVolumeInfo"}, "", volume_info()},
    };
}

}  // namespace sweep
