// Names of volumes, the disks that they are on, and whether a cluster may have them.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <cstdint>

using namespace support;

namespace sweep {
namespace {

// The second volume's file system has the same serial number as the first one's.
Steps name_for_serial_number(Search find_group) {
    const Outcome finds_next_volume =
        continues({"GetVolumeNameForSerialNumberW: GetVolumeInformation failed , wcVolumeGuid "
                   "\\\\?\\Volume{v1}\\, error=({call})"});
    const CallPattern get_volumes = get_children("@dgc", object_type::volume);
    return find_group("@dgc", {"GetVolumeNameForSerialNumberW():GetDgObjId() failed, error=({})"},
                      1) +
           each_failure_logs({"GetVolumeNameForSerialNumberW() failed, error=({}) "},
                             {{get_volumes.without_output(), returns(FARLO_VOLUME_NOT_FOUND)},
                              {get_volumes, returns(FARLO_EXCEPTION)},
                              {get_property("@v1", "volumename"), returns(FARLO_EXCEPTION)},
                              {call_of("GetVolumeInformationW"), finds_next_volume}});
}

Steps read_layout(const std::string& path) {
    const std::string not_opened =
        "GetDiskTypeAndSignatureW() CreateFile Failed for " + path + " error ";
    const CallPattern open = call_of("CreateFileW");
    return {{open.failing_with(ERROR_SHARING_VIOLATION),
             returns(ERROR_SHARING_VIOLATION, {not_opened + "32"})},
            {open.failing_with(ERROR_FILE_NOT_FOUND),
             returns(ERROR_FILE_NOT_FOUND, {not_opened + "2"})},
            {allocation,
             returns(FARLO_OUT_OF_MEMORY, {"GetDiskTypeAndSignatureW: ZtAlloc failed to "
                                           "allocate memory for PDRIVE_LAYOUT_INFORMATION"})},
            {call_of("DeviceIoControl"),
             passes_status_on(
                 {"GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"})}};
}

// An object that cannot be read logs nothing. The lines of a success are at level 0.
Steps first_disk() {
    const CallPattern get_volumes = get_children("@dgc", object_type::volume);
    const Outcome no_volumes = continues(
        {"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW volumes does not exists in DG"});
    return with_lines(
               {.after_success = {"Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0xb",
                                  "Exiting GetFirstVolumesDiskIDW 0xb"}},
               find_group_by_name(
                   "@dgc", {"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found dgc"})) +
           Steps{{get_volumes.without_output(), no_volumes},
                 {get_volumes, returns(FARLO_EXCEPTION)},
                 {get_property("@v1", "volumename"), returns(FARLO_EXCEPTION)}} +
           each_failure_logs(
               {"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with error = {}"},
               read_layout("\\\\?\\Volume{v1}"));
}

// What a function that returns a flag returns for every failure.
constexpr std::uint32_t no = 0;

// `condition` is the query's; the disk is found by it.
Steps is_disk_clusterable(const std::string& condition) {
    const std::string exiting = "Exiting IsStorageClusterable";
    const std::string query_failed = "IsStorageClusterable:DbGetObjectsByQuery failed, for SELECT "
                                     "FROM tamo_ztvm_disk where " +
                                     condition + ", error = {call}";
    return with_lines(
        {.after_success = {exiting}, .after_failure = {exiting}},
        {{allocation, returns(no, {"IsStorageClusterable: failed to allocate memory"})},
         {query_objects(object_type::disk).without_output(),
          returns(no, {"IsStorageClusterable:Disk Object not found"})},
         {query_objects(object_type::disk), returns(no, {query_failed})},
         {get_parents("@d1", object_type::disk_group), returns(no)},
         {get_property("@dgc", "cluster resource"), returns(no)},
         {get_property("@dgc", "LDM DG TYPE"), returns(no)}});
}

Steps is_volume_of_type() {
    const std::string exiting = "Exiting IsVolumeOfSpecifiedDgType";
    return Steps{{allocation,
                  returns(no, {"IsVolumeOfSpecifiedDgType: failed to allocate memory"})}} +
           with_lines({.after_success = {exiting}, .after_failure = {exiting}},
                      {{query_objects(object_type::volume).without_output(), returns(no)},
                       {query_objects(object_type::volume),
                        returns(no, {"IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for "
                                     "volume - vn-s-on, error = {call}"})},
                       {get_parents("@s-on", object_type::disk_group), returns(no)},
                       {get_property("@dgs", "LDM DG TYPE"), returns(no)}});
}

Steps is_volume_clusterable() {
    return is_volume_of_type() + Steps{{get_property("@dgs", "cluster shared"),
                                        returns(no, {"Exiting IsVolumeOfSpecifiedDgType",
                                                     "Exiting IsVolumeClusterable"})}};
}

Steps cluster_shared_guid() {
    const std::string device = "\\Device\\s-on";
    const CallPattern query = query_objects(object_type::volume, "DEVICE NAME");
    const CallPattern get_groups = get_parents("@s-on", object_type::disk_group);
    return each_failure_logs(
        {"GetClusterSharedDgGuidW() failed, error=({}) "},
        {{allocation,
          returns(FARLO_OUT_OF_MEMORY, {"GetClusterSharedDgGuidW: failed to allocate memory"})},
         {query.without_output(),
          returns(FARLO_PROVIDER_FAILED,
                  {"GetClusterSharedDgGuidW:Volume Object not found for volume  - " + device})},
         {query, passes_status_on({"GetClusterSharedDgGuidW:DbGetObjectsByQuery failed for "
                                   "volume  - " +
                                   device + ", error = {}"})},
         {get_groups.without_output(),
          returns(FARLO_PROVIDER_FAILED,
                  {"GetClusterSharedDgGuidW: Dg object not found for volume  - " + device})},
         {get_groups, returns(FARLO_EXCEPTION)},
         {get_property("@dgs", "LDM DG TYPE"), returns(FARLO_EXCEPTION)},
         {get_property("@dgs", "dgid"), returns(FARLO_EXCEPTION)}});
}

}  // namespace

std::vector<ExportSteps> volume_identity_steps() {
    return {
        {{"GetVolumeNameForSerialNumberA"}, "", name_for_serial_number(find_group_by_name)},
        {{"GetVolumeNameForSerialNumberW"}, "", name_for_serial_number(find_group_by_guid)},
        {{"GetDiskTypeAndSignatureA", "GetDiskTypeAndSignatureW"}, "", read_layout("\\\\.\\F:")},
        {{"GetFirstVolumesDiskIDA", "GetFirstVolumesDiskIDW"}, "", first_disk()},
        {{"IsStorageClusterable"}, "MBR", is_disk_clusterable("\"SIGNATURE\" EQ 11")},
        {{"IsStorageClusterable"},
         "GPT",
         is_disk_clusterable("\"DISKGUID\" EQ {04030201-0605-0807-090a-0b0c0d0e0f10}")},
        {{"IsVolumeOfSpecifiedDgType"}, "", is_volume_of_type()},
        {{"IsVolumeClusterable"}, "", is_volume_clusterable()},
        {{"GetClusterSharedDgGuidA", "GetClusterSharedDgGuidW"}, "", cluster_shared_guid()}};
}

}  // namespace sweep
