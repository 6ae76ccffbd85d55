// Exported entries: what monitors ask about disk groups, disks and plexes.
#include "farlo.h"
#include "guard.h"

#include "../diskgroup/health.h"

using farlo::guarded;
using farlo::WidenedGroupName;

extern "C" {

uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid, uint8_t* imported) {
    return guarded([&] { return farlo::GetDgStateW(handle, name, guid, imported); });
}

uint32_t GetDgStateA(opal_handle handle, const char* name, const char* guid, uint8_t* imported) {
    const WidenedGroupName wide_name(L"GetDgStateA", name);
    return wide_name.fits() ? GetDgStateW(handle, wide_name.get(), guid, imported)
                            : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                       uint8_t* imported) {
    return guarded([&] { return farlo::GetDgStateExW(handle, name, guid, imported); });
}

uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk, uint32_t* state) {
    return guarded([&] { return farlo::GetDiskStateW(handle, disk, state); });
}

// A disk's name has the room of a group's name here: kept for agents that rely
// on the refusal of longer ones.
uint32_t GetDiskStateA(opal_handle handle, const char* disk, uint32_t* state) {
    const WidenedGroupName wide_disk(L"GetDiskStateA", disk);
    return wide_disk.fits() ? GetDiskStateW(handle, wide_disk.get(), state)
                            : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name, const char* guid,
                                uint32_t* total, uint32_t* live) {
    return guarded([&] { return farlo::GetDgDiskAvailabilityW(handle, name, guid, total, live); });
}

uint32_t GetDgDiskAvailabilityA(opal_handle handle, const char* name, const char* guid,
                                uint32_t* total, uint32_t* live) {
    const WidenedGroupName wide_name(L"GetDgDiskAvailabilityA", name);
    return wide_name.fits() ? GetDgDiskAvailabilityW(handle, wide_name.get(), guid, total, live)
                            : FARLO_INVALID_ARGUMENT;
}

}  // extern "C"
