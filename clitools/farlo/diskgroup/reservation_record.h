// The record of requests to the info device, on a page of its own.
#pragma once

#include "dmcontrol.h"

#include <windows.h>

#include <cstring>
#include <memory>

namespace farlo {

struct PageFree {
    void operator()(void* page) const { VirtualFree(page, 0, MEM_RELEASE); }
};

// A record that names a disk group; every other field is zero. The driver gets its
// address, which must be page-aligned.
using ReservationRecord = std::unique_ptr<dm_reservation_request, PageFree>;

// Returns NULL when out of memory. The GUID string must fit.
[[nodiscard]] inline ReservationRecord make_reservation_record(const char* guid) {
    ReservationRecord record(static_cast<dm_reservation_request*>(
        VirtualAlloc(nullptr, sizeof(dm_reservation_request), MEM_COMMIT, PAGE_READWRITE)));
    if (record != nullptr) {
        *record = {};
        std::strcpy(record->group_guid, guid);
    }
    return record;
}

}  // namespace farlo
