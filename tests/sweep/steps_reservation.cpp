// Arbitration and reservations.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <cstdint>
#include <string>

using namespace support;

namespace sweep {
namespace {

Steps arbitrate(const Steps& find_guid) {
    return each_failure_logs(
        {"ArbitrateDgW() failed, error=({})"},
        allocate_guid({"ArbitrateDgW():SetDgGuidParam failed, error=({})"}) + find_guid +
            find_cluster_service({"ArbitrateDgW():GetClusSvcId() failed, error=({})"}) +
            invoke_method(method::arbitrate));
}

Steps stop_reservation(const Steps& find_guid) {
    return each_failure_logs(
        {"StopDgReservationW() failed, error=({})"},
        allocate_guid({"StopDgReservationW():SetDgGuidParam() failed, error=({})"}) + find_guid +
            find_cluster_service({"StopDgReservationW():GetClusSvcId() failed, error=({})"}) +
            invoke_method(method::stop_reservation));
}

// Without the group's mutex the status is "busy". A driver that fails is asked again, unless
// it does not know the group.
Steps status_by_driver(const Steps& find_guid) {
    const std::string lock = "IgnoreReservationThreadStatus(): ";
    const std::string closing = "GetDgReservationStatusW() failed, error=({}) ";
    const CallPattern wait = call_of("WaitForSingleObject");
    const CallPattern request = call_of("ZwDeviceIoControlFile");
    return allocate_guid(
               {"GetDgReservationStatusW():SetDgGuidParam() failed, error=({}) ", closing}) +
           find_guid +
           Steps{{call_of("CreateMutexA"), continues({lock + "CreateMutexA failed, error=(0x5) "})},
                 {wait.failing(),
                  continues({lock + "Failed to get the reservation_thread_update lock on dg"})},
                 {wait.abandoned(), continues({lock + "WAIT_ABANDONED while waiting for the "
                                                      "reservation_thread_update lock on dg"})},
                 {wait.timing_out(), continues()},
                 {request.returning(native::object_name_not_found),
                  returns(FARLO_NOT_FOUND, {closing})},
                 {request, continues()}};
}

// After a parameter that cannot be added the method is called with those before it; the
// service needs all but the last one. A result that cannot be read is ignored.
Steps status_by_service(const Steps& find_guid) {
    const Outcome missing_parameter = returns(service_missing_parameter);
    return each_failure_logs(
        {"GetNgcDgReservationStatusW() failed, error=({}) "},
        allocate_guid({"GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=({}) "}) +
            find_guid +
            find_cluster_service({"GetNgcDgReservationStatusW():GetClusSvcId() failed, "
                                  "error=({}) "}) +
            Steps{{create_set().nth(1), missing_parameter},
                  {add_property("Dgguid"), missing_parameter},
                  {add_property("Opflag"), missing_parameter},
                  {add_property("otl trace"), continues()},
                  {create_set().nth(2), continues()},
                  {call_method(method::get_reservation_status).without_output(), continues()}} +
            call_refused_method(method::get_reservation_status, passes_status_on()) +
            Steps{{find_property("Dgstate"), continues()}});
}

Steps release_reservation() {
    const CallPattern request = call_of("ZwDeviceIoControlFile");
    return each_failure_logs(
        {" ReleaseDgW() failed , error=({})"},
        {{allocation, returns(FARLO_NO_GUID_MEMORY,
                              {"ReleaseDgW():No memory VirtualAlloc failed, error=({}) "})},
         {request.returning(native::object_name_not_found), returns(FARLO_NOT_FOUND)},
         {request, continues()}});
}

}  // namespace

std::vector<ExportSteps> reservation_steps() {
    const Steps by_name = find_group_guid("@dgc");
    return {{{"ArbitrateDgA", "ArbitrateDgW"}, "by GUID", arbitrate({})},
            {{"ArbitrateDgA", "ArbitrateDgW"}, "by name", arbitrate(by_name)},
            {{"StopDgReservationA", "StopDgReservationW"}, "by GUID", stop_reservation({})},
            {{"StopDgReservationA", "StopDgReservationW"}, "by name", stop_reservation(by_name)},
            {{"GetDgReservationStatusA"}, "by driver", status_by_driver(by_name)},
            {{"GetDgReservationStatusW"}, "by driver", status_by_driver({})},
            {{"GetDgReservationStatusW"}, "by service", status_by_service(by_name)},
            {{"ReleaseDgW"}, "", release_reservation()}};
}

}  // namespace sweep
