// States of disk groups, disks and plexes.
#include "shared_steps.h"
#include "steps.h"

#include <string>

namespace sweep {
namespace {

// A driver that does not know the group leaves the answer to the service.
Steps group_state() {
    const std::string closing = "GetDgStateW() failed, error=({}) ";
    return guid_text({"GetDgStateW():SetDgGuidParam() failed, error=({}) ", closing}) +
           Steps{// The driver's record.
                 {"memory", answers(FARLO_NO_GUID_MEMORY, {closing})},
                 {"ZwDeviceIoControlFile 0xc0000034", goes_on({"iostatus, error=(0x1) "})},
                 {"ZwDeviceIoControlFile 0xc0000043",
                  answers(FARLO_DEVICE_SHARING_VIOLATION, {"iostatus, error=({}) ", closing})},
                 {"ZwDeviceIoControlFile",
                  answers(FARLO_DEVICE_FAILED, {"iostatus, error=({}) ", closing})}};
}

Steps group_state_ex() {
    return group_by_guid("@dgc", {"GetDgStateExW():GetDgObjId() failed, error=({}) "}) +
           Steps{{"ObGetProperty @dgc \"imported\"",
                  answers(FARLO_EXCEPTION, {"GetDgStateExW() failed, error=({}) "})}};
}

// The disk d2, by its "Name". A name that cannot be read is passed over, and a state that
// cannot be read is 0.
Steps disk_state() {
    const Outcome not_found = answers(
        FARLO_MISSING_ARGUMENT, {"GetDiskStateW():FindDiskIdByOSorDevName() failed, error=({})"});
    return {{"DbGetObjects tamo_ztvm_disk", not_found},
            {"ObGetProperty @d1", goes_on()},
            {"ObGetProperty @d2 \"Name\"", not_found},
            {"ObGetProperty @d2 \"ztvmstate\"", goes_on()}};
}

// Nothing is told of a failure but its status.
Steps disk_availability() {
    return guid_text({}) + cluster_service({}) + method("0.13", answers(1)) +
           Steps{{"PsFindProperty \"total_disks\"", goes_on()},
                 {"PsFindProperty \"live_disks\"", goes_on()}};
}

Steps plexes_of_v1() {
    return volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT) +
           Steps{{"ObGetChildObjects tamo_ztvm_plex nothing", goes_on()},
                 {"ObGetChildObjects tamo_ztvm_plex", answers(FARLO_EXCEPTION)},
                 {"ObGetProperty @v1-01", goes_on()},
                 {"ObGetProperty @v1-02", goes_on()}};
}

}  // namespace

std::vector<StepsOf> health_steps() {
    const Lines no_group = {"GetDgVolPlexStatesW::GetDgObjId failed, error=({}) "};
    return {
        {{"GetDgStateA"}, "by name", guid_search("@dgc") + group_state()},
        {{"GetDgStateW"}, "by GUID", group_state()},
        {{"GetDgStateW"}, "by name", guid_search("@dgl") + other_groups("Name") + group_state()},
        {{"GetDgStateExW"}, "", group_state_ex()},
        {{"GetDiskStateA", "GetDiskStateW"}, "", disk_state()},
        {{"GetDgDiskAvailabilityA"}, "", guid_search("@dgc") + disk_availability()},
        {{"GetDgDiskAvailabilityW"}, "", disk_availability()},
        {{"GetDgVolPlexStatesA"}, "", group_by_name("@dgc", no_group) + plexes_of_v1()},
        {{"GetDgVolPlexStatesW"}, "", group_by_guid("@dgc", no_group) + plexes_of_v1()}};
}

}  // namespace sweep
