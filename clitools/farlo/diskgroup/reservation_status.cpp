#include "diskgroup/reservation_status.h"

#include "api/farlo.h"
#include "bus/status.h"
#include "core/caller_string.h"
#include "core/mutex_hold.h"
#include "core/ngc_setting.h"
#include "core/trace_log.h"
#include "diskgroup/info_device.h"
#include "diskgroup/reservation_lock.h"
#include "diskgroup/reservation_record.h"
#include "diskgroup/reservation_status_ngc.h"
#include "dmcontrol.h"
#include "query/dg_guid.h"

namespace farlo {
namespace {

constexpr int query_tries = 30;
constexpr DWORD query_pause_ms = 1000;
constexpr std::uint8_t held_bit = 0x1;

// Asks the driver, and tries again after a failure other than "no such group".
std::uint32_t ask_driver(dm_reservation_request& record, std::uint32_t* reservation) {
    record.reservation = 1;
    std::uint32_t result = FARLO_SUCCESS;
    for (int attempt = 0; attempt < query_tries; ++attempt) {
        result = DmInfoIoctl(DM_INFO_GET_RESERVATION, &record);
        if (result == FARLO_SUCCESS || result == FARLO_NOT_FOUND) {
            break;
        }
        Sleep(query_pause_ms);
    }
    if (is_failure(result)) {
        *reservation = FARLO_RESERVATION_UNKNOWN;
    } else {
        *reservation =
            (record.reply & held_bit) != 0 ? FARLO_RESERVATION_HELD : FARLO_RESERVATION_NOT_HELD;
    }
    return result;
}

std::uint32_t query_reservation(opal_handle handle, const wchar_t* name, const char* caller_guid,
                                std::uint32_t* reservation) {
    GuidString guid;
    std::uint32_t status = SetDgGuidParam(guid, caller_guid, name, handle, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x%x) ", status);
        return status;
    }
    Handle mutex;
    if (IgnoreReservationThreadStatus(mutex, guid.get()) != 0) {
        *reservation = FARLO_RESERVATION_BUSY;
        return FARLO_SUCCESS;
    }
    MutexHold hold(mutex.get());
    const ReservationRecord record = make_reservation_record(guid.get());
    // KEPT: without memory for the record the call succeeds and stores no state.
    if (record != nullptr) {
        status = ask_driver(*record, reservation);
    }
    // The lock is released and closed before the record is freed, so that the
    // reservation thread does not wait for that.
    hold.release();
    mutex.close();
    return status;
}

}  // namespace

std::uint32_t GetDgReservationStatusW(opal_handle handle, const wchar_t* name, const char* guid,
                                      std::uint32_t* reservation) {
    // Read once: a change takes effect when the library is next loaded.
    static const bool ngc_enabled = ReadNgcSetting();
    if (ngc_enabled) {
        return GetNgcDgReservationStatusW(handle, name, guid, reservation);
    }
    log(4, L"Entering GetDgReservationStatusW - %s", name);
    if (reservation == nullptr) {
        log(0, L"GetDgReservationStatusW() failed , pStatus == NULL, error=(0x%x) ",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    // Logs a refused GUID itself.
    std::uint32_t status = check_guid(L"GetDgReservationStatusW", guid);
    if (status == FARLO_SUCCESS) {
        status = query_reservation(handle, name, guid, reservation);
        if (status != FARLO_SUCCESS) {
            log(0, L"GetDgReservationStatusW() failed, error=(0x%x) ", status);
        }
    }
    log(4, L"Exiting GetDgReservationStatusW");
    return status;
}

}  // namespace farlo
