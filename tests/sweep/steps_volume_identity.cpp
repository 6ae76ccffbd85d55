// Names of volumes, the disks that they are on, and whether a cluster may have them.
#include "shared_steps.h"
#include "steps.h"

#include <cstdint>

namespace sweep {
namespace {

// The file system of the next volume has the same number.
Steps name_for_serial_number() {
    const Outcome next_volume =
        continues({"GetVolumeNameForSerialNumberW: GetVolumeInformation failed , wcVolumeGuid "
                   "\\\\?\\Volume{v1}\\, error=({call})"});
    return each_failure_logs(
        {"GetVolumeNameForSerialNumberW() failed, error=({}) "},
        {{get_any_children().without_output(), returns(FARLO_VOLUME_NOT_FOUND)},
         {get_any_children(), returns(FARLO_EXCEPTION)},
         {get_property("@v1", "volumename"), returns(FARLO_EXCEPTION)},
         {"GetVolumeInformationW", next_volume}});
}

const Lines group_of_serial_number_missing = {
    "GetVolumeNameForSerialNumberW():GetDgObjId() failed, error=({})"};

Steps layout_read(const std::string& path) {
    const std::string not_opened =
        "GetDiskTypeAndSignatureW() CreateFile Failed for " + path + " error ";
    return {{allocation,
             returns(FARLO_OUT_OF_MEMORY, {"GetDiskTypeAndSignatureW: ZtAlloc failed to "
                                           "allocate memory for PDRIVE_LAYOUT_INFORMATION"})},
            {call_of("CreateFileW").failing_with(ERROR_SHARING_VIOLATION),
             returns(ERROR_SHARING_VIOLATION, {not_opened + "32"})},
            {call_of("CreateFileW").failing_with(ERROR_FILE_NOT_FOUND),
             returns(ERROR_FILE_NOT_FOUND, {not_opened + "2"})},
            {"DeviceIoControl",
             passes_status_on(
                 {"GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"})}};
}

// What cannot be read is told by the status alone. A search that tries again is told by the
// lines of a success.
Steps first_disk() {
    const Steps searched = find_group_by_name(
        "@dgc", {"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW DG Not Found dgc"});
    return framed({},
                  {"Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0xb",
                   "Exiting GetFirstVolumesDiskIDW 0xb"},
                  {}, searched) +
           Steps{{get_any_children().without_output(),
                  continues({"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW volumes does not "
                             "exists in DG"})},
                 {get_any_children(), returns(FARLO_EXCEPTION)},
                 {get_property("@v1", "volumename"), returns(FARLO_EXCEPTION)}} +
           each_failure_logs(
               {"GetFirstVolumesDiskIDW:GetDiskTypeAndSignatureW failed with error = {}"},
               layout_read("\\\\?\\Volume{v1}"));
}

// Answers of a flag.
const std::uint32_t no = 0;

Steps disk_clusterable(const std::string& query) {
    return framed({}, {"Exiting IsStorageClusterable"}, {"Exiting IsStorageClusterable"},
                  {{allocation, returns(no, {"IsStorageClusterable: failed to allocate memory"})},
                   {query_any_objects().without_output(),
                    returns(no, {"IsStorageClusterable:Disk Object not found"})},
                   {query_any_objects(),
                    returns(no, {"IsStorageClusterable:DbGetObjectsByQuery failed, for SELECT FROM "
                                 "tamo_ztvm_disk where " +
                                 query + ", error = {call}"})},
                   {get_any_parents(), returns(no)},
                   {get_property("@dgc", "cluster resource"), returns(no)},
                   {get_property("@dgc", "LDM DG TYPE"), returns(no)}});
}

Steps type_of_volume() {
    return Steps{{allocation,
                  returns(no, {"IsVolumeOfSpecifiedDgType: failed to allocate memory"})}} +
           framed({}, {"Exiting IsVolumeOfSpecifiedDgType"}, {"Exiting IsVolumeOfSpecifiedDgType"},
                  {{query_any_objects().without_output(), returns(no)},
                   {query_any_objects(),
                    returns(no, {"IsVolumeOfSpecifiedDgType: DbGetObjectsByQuery failed for "
                                 "volume - vn-s-on, error = {call}"})},
                   {get_any_parents(), returns(no)},
                   {get_property("@dgs", "LDM DG TYPE"), returns(no)}});
}

Steps volume_clusterable() {
    return type_of_volume() + Steps{{get_property("@dgs", "cluster shared"),
                                     returns(no, {"Exiting IsVolumeOfSpecifiedDgType",
                                                  "Exiting IsVolumeClusterable"})}};
}

Steps shared_guid() {
    const std::string device = "\\Device\\s-on";
    return each_failure_logs(
        {"GetClusterSharedDgGuidW() failed, error=({}) "},
        {{allocation,
          returns(FARLO_OUT_OF_MEMORY, {"GetClusterSharedDgGuidW: failed to allocate memory"})},
         {query_any_objects().without_output(),
          returns(FARLO_PROVIDER_FAILED,
                  {"GetClusterSharedDgGuidW:Volume Object not found for volume  - " + device})},
         {query_any_objects(),
          passes_status_on({"GetClusterSharedDgGuidW:DbGetObjectsByQuery failed for volume  - " +
                            device + ", error = {}"})},
         {get_any_parents().without_output(),
          returns(FARLO_PROVIDER_FAILED,
                  {"GetClusterSharedDgGuidW: Dg object not found for volume  - " + device})},
         {get_any_parents(), returns(FARLO_EXCEPTION)},
         {get_property("@dgs", "LDM DG TYPE"), returns(FARLO_EXCEPTION)},
         {get_property("@dgs", "dgid"), returns(FARLO_EXCEPTION)}});
}

}  // namespace

std::vector<ExportSteps> volume_identity_steps() {
    return {
        {{"GetVolumeNameForSerialNumberA"},
         "",
         find_group_by_name("@dgc", group_of_serial_number_missing) + name_for_serial_number()},
        {{"GetVolumeNameForSerialNumberW"},
         "",
         find_group_by_guid("@dgc", group_of_serial_number_missing) + name_for_serial_number()},
        {{"GetDiskTypeAndSignatureA", "GetDiskTypeAndSignatureW"}, "", layout_read("\\\\.\\F:")},
        {{"GetFirstVolumesDiskIDA", "GetFirstVolumesDiskIDW"}, "", first_disk()},
        {{"IsStorageClusterable"}, "MBR", disk_clusterable("\"SIGNATURE\" EQ 11")},
        {{"IsStorageClusterable"},
         "GPT",
         disk_clusterable("\"DISKGUID\" EQ {04030201-0605-0807-090a-0b0c0d0e0f10}")},
        {{"IsVolumeOfSpecifiedDgType"}, "", type_of_volume()},
        {{"IsVolumeClusterable"}, "", volume_clusterable()},
        {{"GetClusterSharedDgGuidA", "GetClusterSharedDgGuidW"}, "", shared_guid()}};
}

}  // namespace sweep
