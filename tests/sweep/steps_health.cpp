// States of disk groups, disks and plexes.
#include "shared_steps.h"
#include "steps.h"

#include <string>

namespace sweep {
namespace {

// A driver that does not know the group leaves the answer to the service.
Steps group_state() {
    const std::string closing = "GetDgStateW() failed, error=({}) ";
    return guid_string({"GetDgStateW():SetDgGuidParam() failed, error=({}) ", closing}) +
           Steps{// The driver's record.
                 {"memory", returns(FARLO_NO_GUID_MEMORY, {closing})},
                 {"ZwDeviceIoControlFile 0xc0000034", continues({"iostatus, error=(0x1) "})},
                 {"ZwDeviceIoControlFile 0xc0000043",
                  returns(FARLO_DEVICE_SHARING_VIOLATION, {"iostatus, error=({}) ", closing})},
                 {"ZwDeviceIoControlFile",
                  returns(FARLO_DEVICE_FAILED, {"iostatus, error=({}) ", closing})}};
}

Steps group_state_ex() {
    return find_group_by_guid("@dgc", {"GetDgStateExW():GetDgObjId() failed, error=({}) "}) +
           Steps{{"ObGetProperty @dgc \"imported\"",
                  returns(FARLO_EXCEPTION, {"GetDgStateExW() failed, error=({}) "})}};
}

// The disk d2, by its "Name". A name that cannot be read is passed over, and a state that
// cannot be read is 0.
Steps disk_state() {
    const Outcome not_found = returns(
        FARLO_MISSING_ARGUMENT, {"GetDiskStateW():FindDiskIdByOSorDevName() failed, error=({})"});
    return {{"DbGetObjects tamo_ztvm_disk", not_found},
            {"ObGetProperty @d1", continues()},
            {"ObGetProperty @d2 \"Name\"", not_found},
            {"ObGetProperty @d2 \"ztvmstate\"", continues()}};
}

// Nothing is told of a failure but its status.
Steps disk_availability() {
    return guid_string({}) + find_cluster_service({}) + invoke_method("0.13", returns(1)) +
           Steps{{"PsFindProperty \"total_disks\"", continues()},
                 {"PsFindProperty \"live_disks\"", continues()}};
}

Steps plexes_of_v1() {
    return find_volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT) +
           Steps{{"ObGetChildObjects tamo_ztvm_plex nothing", continues()},
                 {"ObGetChildObjects tamo_ztvm_plex", returns(FARLO_EXCEPTION)},
                 {"ObGetProperty @v1-01", continues()},
                 {"ObGetProperty @v1-02", continues()}};
}

}  // namespace

std::vector<ExportSteps> health_steps() {
    const Lines no_group = {"GetDgVolPlexStatesW::GetDgObjId failed, error=({}) "};
    return {{{"GetDgStateA"}, "by name", find_group_guid("@dgc") + group_state()},
            {{"GetDgStateW"}, "by GUID", group_state()},
            {{"GetDgStateW"},
             "by name",
             find_group_guid("@dgl") + other_groups("Name") + group_state()},
            {{"GetDgStateExW"}, "", group_state_ex()},
            {{"GetDiskStateA", "GetDiskStateW"}, "", disk_state()},
            {{"GetDgDiskAvailabilityA"}, "", find_group_guid("@dgc") + disk_availability()},
            {{"GetDgDiskAvailabilityW"}, "", disk_availability()},
            {{"GetDgVolPlexStatesA"}, "", find_group_by_name("@dgc", no_group) + plexes_of_v1()},
            {{"GetDgVolPlexStatesW"}, "", find_group_by_guid("@dgc", no_group) + plexes_of_v1()}};
}

}  // namespace sweep
