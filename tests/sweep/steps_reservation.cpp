// Arbitration and reservations.
#include "shared_steps.h"
#include "steps.h"

#include <cstdint>
#include <string>

using namespace support;

namespace sweep {
namespace {

Steps arbitrate() {
    return each_failure_logs(
        {"ArbitrateDgW() failed, error=({})"},
        guid_string({"ArbitrateDgW():SetDgGuidParam failed, error=({})"}) +
            find_cluster_service({"ArbitrateDgW():GetClusSvcId() failed, error=({})"}) +
            invoke_method(method::arbitrate));
}

Steps stop_reservation() {
    return each_failure_logs(
        {"StopDgReservationW() failed, error=({})"},
        guid_string({"StopDgReservationW():SetDgGuidParam() failed, error=({})"}) +
            find_cluster_service({"StopDgReservationW():GetClusSvcId() failed, error=({})"}) +
            invoke_method(method::stop_reservation));
}

// A lock that is not had at once is an answer, and a driver that fails is asked again, unless
// it does not know the group.
Steps status_by_driver() {
    const std::string mutex = "IgnoreReservationThreadStatus(): ";
    const std::string closing = "GetDgReservationStatusW() failed, error=({}) ";
    return guid_string(
               {"GetDgReservationStatusW():SetDgGuidParam() failed, error=({}) ", closing}) +
           Steps{
               {"CreateMutexA", continues({mutex + "CreateMutexA failed, error=(0x5) "})},
               {"WaitForSingleObject fails",
                continues({mutex + "Failed to get the reservation_thread_update lock on dg"})},
               {"WaitForSingleObject abandoned",
                continues(
                    {mutex +
                     "WAIT_ABANDONED while waiting for the reservation_thread_update lock on dg"})},
               {"WaitForSingleObject times", continues()},
               {call_of("ZwDeviceIoControlFile").returning(native::object_name_not_found),
                returns(FARLO_NOT_FOUND, {closing})},
               {"ZwDeviceIoControlFile", continues()}};
}

// The method is invoked with the parameters in front of the one that cannot be added; the
// service can do without the last one. An answer that cannot be read goes by.
Steps status_by_service() {
    const Outcome refused = returns(service_missing_parameter);
    return each_failure_logs(
        {"GetNgcDgReservationStatusW() failed, error=({}) "},
        guid_string({"GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=({}) "}) +
            find_cluster_service(
                {"GetNgcDgReservationStatusW():GetClusSvcId() failed, error=({}) "}) +
            Steps{{create_set(), refused, 1},
                  {add_property("Dgguid"), refused},
                  {add_property("Opflag"), refused},
                  {add_property("otl trace"), continues()}} +
            invoke_method(method::get_reservation_status) +
            Steps{{find_property("Dgstate"), continues()}});
}

Steps release() {
    return each_failure_logs(
        {" ReleaseDgW() failed , error=({})"},
        {{allocation, returns(FARLO_NO_GUID_MEMORY,
                              {"ReleaseDgW():No memory VirtualAlloc failed, error=({}) "})},
         {call_of("ZwDeviceIoControlFile").returning(native::object_name_not_found),
          returns(FARLO_NOT_FOUND)},
         {"ZwDeviceIoControlFile", continues()}});
}

}  // namespace

std::vector<ExportSteps> reservation_steps() {
    return {
        {{"ArbitrateDgA", "ArbitrateDgW"}, "by GUID", arbitrate()},
        {{"ArbitrateDgA", "ArbitrateDgW"}, "by name", find_group_guid("@dgc") + arbitrate()},
        {{"StopDgReservationA", "StopDgReservationW"}, "by GUID", stop_reservation()},
        {{"StopDgReservationA", "StopDgReservationW"},
         "by name",
         find_group_guid("@dgc") + stop_reservation()},
        {{"GetDgReservationStatusA"}, "by driver", find_group_guid("@dgc") + status_by_driver()},
        {{"GetDgReservationStatusW"}, "by driver", status_by_driver()},
        {{"GetDgReservationStatusW"}, "by service", find_group_guid("@dgc") + status_by_service()},
        {{"ReleaseDgW"}, "", release()}};
}

}  // namespace sweep
