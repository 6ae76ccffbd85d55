// Exported entries: reservations of disk groups.
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "diskgroup/reservation_arbitrate.h"
#include "diskgroup/reservation_release.h"
#include "diskgroup/reservation_status.h"
#include "diskgroup/reservation_stop.h"

using farlo::guarded;
using farlo::WidenedGroupName;

extern "C" {

uint32_t ArbitrateDgW(opal_handle handle, const wchar_t* name, const char* guid) {
    return guarded([&] { return farlo::ArbitrateDgW(handle, name, guid); });
}

uint32_t ArbitrateDgA(opal_handle handle, const char* name, const char* guid) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"ArbitrateDgA", L"name")
               ? ArbitrateDgW(handle, wide_name.get(), guid)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t StopDgReservationW(opal_handle handle, const wchar_t* name, const char* guid) {
    return guarded([&] { return farlo::StopDgReservationW(handle, name, guid); });
}

uint32_t StopDgReservationA(opal_handle handle, const char* name, const char* guid) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"StopDgReservationA", L"name")
               ? StopDgReservationW(handle, wide_name.get(), guid)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgReservationStatusW(opal_handle handle, const wchar_t* name, const char* guid,
                                 uint32_t* reservation) {
    return guarded([&] { return farlo::GetDgReservationStatusW(handle, name, guid, reservation); });
}

uint32_t GetDgReservationStatusA(opal_handle handle, const char* name, const char* guid,
                                 uint32_t* reservation) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgReservationStatusA", L"name")
               ? GetDgReservationStatusW(handle, wide_name.get(), guid, reservation)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t ReleaseDgW(const char* guid) {
    return guarded([&] { return farlo::ReleaseDgW(guid); });
}

}  // extern "C"
