#include "diskgroup/reservation_release.h"

#include "api/farlo.h"
#include "core/caller_string.h"
#include "core/trace_log.h"
#include "diskgroup/info_device.h"
#include "diskgroup/reservation_record.h"
#include "dmcontrol.h"

namespace farlo {
namespace {

constexpr int release_tries = 6;
constexpr DWORD release_pause_ms = 1000;

std::uint32_t release_group(const char* guid) {
    if (guid == nullptr) {
        return FARLO_EXCEPTION;
    }
    // KEPT: the record is never freed, on any path. Each call costs a committed page.
    dm_reservation_request* const record = make_reservation_record(guid).release();
    if (record == nullptr) {
        log(0, L"ReleaseDgW():No memory VirtualAlloc failed, error=(0x%x) ", FARLO_NO_GUID_MEMORY);
        return FARLO_NO_GUID_MEMORY;
    }
    record->reservation = 1;
    std::uint32_t result = FARLO_SUCCESS;
    for (int attempt = 0; attempt < release_tries; ++attempt) {
        result = DmInfoIoctl(DM_INFO_RELEASE_RESERVATION, record);
        if (result == FARLO_SUCCESS || result == FARLO_NOT_FOUND) {
            break;
        }
        Sleep(release_pause_ms);
    }
    return result;
}

}  // namespace

std::uint32_t ReleaseDgW(const char* guid) {
    log(4, L"Entering ReleaseDgW()");
    // Logs a refused GUID itself.
    std::uint32_t status =
        check_string(L"ReleaseDgW", L"guid", guid, sizeof dm_reservation_request::group_guid);
    if (status == FARLO_SUCCESS) {
        status = release_group(guid);
        if (status != FARLO_SUCCESS) {
            // KEPT: the leading blank; administrators search for this wording.
            log(0, L" ReleaseDgW() failed , error=(0x%x)", status);
        }
    }
    log(4, L"Exiting ReleaseDgW");
    return status;
}

}  // namespace farlo
