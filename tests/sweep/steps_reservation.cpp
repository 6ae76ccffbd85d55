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
    return ended_by({"ArbitrateDgW() failed, error=({})"},
                    guid_text({"ArbitrateDgW():SetDgGuidParam failed, error=({})"}) +
                        cluster_service({"ArbitrateDgW():GetClusSvcId() failed, error=({})"}) +
                        method("0.2"));
}

Steps stop_reservation() {
    return ended_by(
        {"StopDgReservationW() failed, error=({})"},
        guid_text({"StopDgReservationW():SetDgGuidParam() failed, error=({})"}) +
            cluster_service({"StopDgReservationW():GetClusSvcId() failed, error=({})"}) +
            method("0.4"));
}

// A lock that is not had at once is an answer, and a driver that fails is asked again, unless
// it does not know the group.
Steps status_by_driver() {
    const std::string mutex = "IgnoreReservationThreadStatus(): ";
    const std::string closing = "GetDgReservationStatusW() failed, error=({}) ";
    return guid_text({"GetDgReservationStatusW():SetDgGuidParam() failed, error=({}) ", closing}) +
           Steps{
               {"CreateMutexA", goes_on({mutex + "CreateMutexA failed, error=(0x5) "})},
               {"WaitForSingleObject fails",
                goes_on({mutex + "Failed to get the reservation_thread_update lock on dg"})},
               {"WaitForSingleObject abandoned",
                goes_on(
                    {mutex +
                     "WAIT_ABANDONED while waiting for the reservation_thread_update lock on dg"})},
               {"WaitForSingleObject times", goes_on()},
               {"ZwDeviceIoControlFile 0xc0000034", answers(FARLO_NOT_FOUND, {closing})},
               {"ZwDeviceIoControlFile", goes_on()}};
}

// The method is invoked with the parameters in front of the one that cannot be added; the
// service can do without the last one. An answer that cannot be read goes by.
Steps status_by_service() {
    const Outcome refused = answers(missing_parameter);
    return ended_by(
        {"GetNgcDgReservationStatusW() failed, error=({}) "},
        guid_text({"GetNgcDgReservationStatusW():SetDgGuidParam() failed, error=({}) "}) +
            cluster_service({"GetNgcDgReservationStatusW():GetClusSvcId() failed, error=({}) "}) +
            Steps{{"PsCreatePropset", refused, 1},
                  {"PsAddProperty \"Dgguid\"", refused},
                  {"PsAddProperty \"Opflag\"", refused},
                  {"PsAddProperty \"otl trace\"", goes_on()}} +
            method("0.5") + Steps{{"PsFindProperty \"Dgstate\"", goes_on()}});
}

Steps release() {
    return ended_by(
        {" ReleaseDgW() failed , error=({})"},
        {{"memory", answers(FARLO_NO_GUID_MEMORY,
                            {"ReleaseDgW():No memory VirtualAlloc failed, error=({}) "})},
         {"ZwDeviceIoControlFile 0xc0000034", answers(FARLO_NOT_FOUND)},
         {"ZwDeviceIoControlFile", goes_on()}});
}

}  // namespace

std::vector<StepsOf> reservation_steps() {
    return {{{"ArbitrateDgA", "ArbitrateDgW"}, "by GUID", arbitrate()},
            {{"ArbitrateDgA", "ArbitrateDgW"}, "by name", guid_search("@dgc") + arbitrate()},
            {{"StopDgReservationA", "StopDgReservationW"}, "by GUID", stop_reservation()},
            {{"StopDgReservationA", "StopDgReservationW"},
             "by name",
             guid_search("@dgc") + stop_reservation()},
            {{"GetDgReservationStatusA"}, "by driver", guid_search("@dgc") + status_by_driver()},
            {{"GetDgReservationStatusW"}, "by driver", status_by_driver()},
            {{"GetDgReservationStatusW"}, "by service", guid_search("@dgc") + status_by_service()},
            {{"ReleaseDgW"}, "", release()}};
}

}  // namespace sweep
