// Arbitration and reservations.
#include "shared_steps.h"
#include "steps.h"

#include <cstdint>
#include <string>

namespace sweep {
namespace {

// A status of the lab's service.
constexpr std::uint32_t missing_parameter = 0xe5150104;

Steps arbitrate() {
    return each_failure_logs(
        {"ArbitrateDgW() failed, error=({})"},
        guid_string({"ArbitrateDgW():SetDgGuidParam failed, error=({})"}) +
            find_cluster_service({"ArbitrateDgW():GetClusSvcId() failed, error=({})"}) +
            invoke_method("0.2"));
}

Steps stop_reservation() {
    return each_failure_logs(
        {"StopDgReservationW() failed, error=({})"},
        guid_string({"StopDgReservationW():SetDgGuidParam() failed, error=({})"}) +
            find_cluster_service({"StopDgReservationW():GetClusSvcId() failed, error=({})"}) +
            invoke_method("0.4"));
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
               {"ZwDeviceIoControlFile 0xc0000034", returns(FARLO_NOT_FOUND, {closing})},
               {"ZwDeviceIoControlFile", continues()}};
}

// The method is invoked with the parameters in front of the one that cannot be added; the
// service can do without the last one. An answer that cannot be read goes by.
Steps status_by_service() {
    const Outcome refused = returns(missing_parameter);
    return each_failure_logs(
        {"GetNgcDgReservationStatusW() failed, error=({}) "},
        guid_string({"GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=({}) "}) +
            find_cluster_service(
                {"GetNgcDgReservationStatusW():GetClusSvcId() failed, error=({}) "}) +
            Steps{{"PsCreatePropset", refused, 1},
                  {"PsAddProperty \"Dgguid\"", refused},
                  {"PsAddProperty \"Opflag\"", refused},
                  {"PsAddProperty \"otl trace\"", continues()}} +
            invoke_method("0.5") + Steps{{"PsFindProperty \"Dgstate\"", continues()}});
}

Steps release() {
    return each_failure_logs(
        {" ReleaseDgW() failed , error=({})"},
        {{"memory", returns(FARLO_NO_GUID_MEMORY,
                            {"ReleaseDgW():No memory VirtualAlloc failed, error=({}) "})},
         {"ZwDeviceIoControlFile 0xc0000034", returns(FARLO_NOT_FOUND)},
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
