// States of disk groups, disks and plexes.
#include "shared_steps.h"
#include "steps.h"

#include <string>

using namespace support;

namespace sweep {
namespace {

// A driver that does not know the group leaves the answer to the service.
Steps group_state() {
    const std::string closing = "GetDgStateW() failed, error=({}) ";
    return guid_string({"GetDgStateW():SetDgGuidParam() failed, error=({}) ", closing}) +
           Steps{// The driver's record.
                 {allocation, returns(FARLO_NO_GUID_MEMORY, {closing})},
                 {call_of("ZwDeviceIoControlFile").returning(native::object_name_not_found),
                  continues({"iostatus, error=(0x1) "})},
                 {call_of("ZwDeviceIoControlFile").returning(native::sharing_violation),
                  returns(FARLO_DEVICE_SHARING_VIOLATION, {"iostatus, error=({}) ", closing})},
                 {"ZwDeviceIoControlFile",
                  returns(FARLO_DEVICE_FAILED, {"iostatus, error=({}) ", closing})}};
}

Steps group_state_ex() {
    return find_group_by_guid("@dgc", {"GetDgStateExW():GetDgObjId() failed, error=({}) "}) +
           Steps{{get_property("@dgc", "imported"),
                  returns(FARLO_EXCEPTION, {"GetDgStateExW() failed, error=({}) "})}};
}

// The disk d2, by its "Name". A name that cannot be read is passed over, and a state that
// cannot be read is 0.
Steps disk_state() {
    const Outcome not_found = returns(
        FARLO_MISSING_ARGUMENT, {"GetDiskStateW():FindDiskIdByOSorDevName() failed, error=({})"});
    return {{get_objects(object_type::disk), not_found},
            {get_any_property("@d1"), continues()},
            {get_property("@d2", "Name"), not_found},
            {get_property("@d2", "ztvmstate"), continues()}};
}

// Nothing is told of a failure but its status.
Steps disk_availability() {
    return guid_string({}) + find_cluster_service({}) +
           invoke_method(method::get_disk_availability, returns(availability_failed)) +
           Steps{{find_property("total_disks"), continues()},
                 {find_property("live_disks"), continues()}};
}

Steps plexes_of_v1() {
    return find_volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT) +
           Steps{{get_children("@v1", object_type::plex).without_output(), continues()},
                 {get_children("@v1", object_type::plex), returns(FARLO_EXCEPTION)},
                 {get_any_property("@v1-01"), continues()},
                 {get_any_property("@v1-02"), continues()}};
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
