// States of disk groups, disks and plexes.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <string>

using namespace support;

namespace sweep {
namespace {

// Where the driver does not know the group, the service is asked.
Steps group_state(const Steps& find_guid) {
    const std::string closing = "GetDgStateW() failed, error=({}) ";
    const CallPattern request = call_of("ZwDeviceIoControlFile");
    const Steps no_record_memory = {{allocation, returns(FARLO_NO_GUID_MEMORY, {closing})}};
    return allocate_guid({"GetDgStateW():SetDgGuidParam() failed, error=({}) ", closing}) +
           find_guid + no_record_memory +
           Steps{{request.returning(native::object_name_not_found),
                  continues({"iostatus, error=(0x1) "})},
                 {request.returning(native::sharing_violation),
                  returns(FARLO_DEVICE_SHARING_VIOLATION, {"iostatus, error=({}) ", closing})},
                 {request, returns(FARLO_DEVICE_FAILED, {"iostatus, error=({}) ", closing})}};
}

Steps group_state_ex() {
    return find_group_by_guid("@dgc", {"GetDgStateExW():GetDgObjId() failed, error=({}) "}) +
           Steps{{get_property("@dgc", "imported"),
                  returns(FARLO_EXCEPTION, {"GetDgStateExW() failed, error=({}) "})}};
}

// The disk is d2, found by its "Name". A disk whose names cannot be read is passed over; a
// state that cannot be read is 0.
Steps disk_state() {
    const Outcome not_found = returns(
        FARLO_MISSING_ARGUMENT, {"GetDiskStateW():FindDiskIdByOSorDevName() failed, error=({})"});
    return {{get_objects(object_type::disk), not_found},
            {get_any_property("@d1"), continues()},
            {get_property("@d2", "Name"), not_found},
            {get_property("@d2", "ztvmstate"), continues()}};
}

// A failure logs nothing.
Steps disk_availability(const Steps& find_guid) {
    return allocate_guid({}) + find_guid + find_cluster_service({}) +
           invoke_method(method::get_disk_availability, returns(availability_failed)) +
           Steps{{find_property("total_disks"), continues()},
                 {find_property("live_disks"), continues()}};
}

Steps plex_states(Search find_group) {
    const CallPattern get_plexes = get_children("@v1", object_type::plex);
    return find_group("@dgc", {"GetDgVolPlexStatesW::GetDgObjId failed, error=({}) "}, 1) +
           find_volume_by_device("\\Device\\v1", FARLO_INVALID_ARGUMENT) +
           Steps{{get_plexes.without_output(), continues()},
                 {get_plexes, returns(FARLO_EXCEPTION)},
                 {get_any_property("@v1-01"), continues()},
                 {get_any_property("@v1-02"), continues()}};
}

}  // namespace

std::vector<ExportSteps> health_steps() {
    return {{{"GetDgStateA"}, "by name", group_state(find_group_guid("@dgc"))},
            {{"GetDgStateW"}, "by GUID", group_state({})},
            {{"GetDgStateW"}, "by name", group_state(find_group_guid("@dgl"))},
            {{"GetDgStateExW"}, "", group_state_ex()},
            {{"GetDiskStateA", "GetDiskStateW"}, "", disk_state()},
            {{"GetDgDiskAvailabilityA"}, "", disk_availability(find_group_guid("@dgc"))},
            {{"GetDgDiskAvailabilityW"}, "", disk_availability({})},
            {{"GetDgVolPlexStatesA"}, "", plex_states(find_group_by_name)},
            {{"GetDgVolPlexStatesW"}, "", plex_states(find_group_by_guid)}};
}

}  // namespace sweep
