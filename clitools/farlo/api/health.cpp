// Exported entries: what monitors ask about disk groups, disks and plexes.
#include "api/farlo.h"
#include "api/widened_string.h"
#include "core/guarded.h"
#include "diskgroup/health_disk_availability.h"
#include "diskgroup/health_disk_state.h"
#include "diskgroup/health_group_state.h"
#include "diskgroup/health_plex_states.h"

#include <cstring>
#include <memory>

using farlo::guarded;
using farlo::WidenedGroupName;

namespace {

// A narrow argument of any length as a wide string. A string that is not valid in the
// code page is refused.
class WidenedCopy {
  public:
    explicit WidenedCopy(const char* narrow) {
        if (narrow == nullptr) {
            return;
        }
        const std::size_t capacity = std::strlen(narrow) + 1;
        m_string = std::make_unique<wchar_t[]>(capacity);
        m_valid = _snwprintf(m_string.get(), capacity, L"%S", narrow) >= 0;
    }

    // Returns false, and logs which argument, when the string is refused.
    [[nodiscard]] bool accepted(const wchar_t* argument) const {
        if (!m_valid) {
            farlo::log(0, L"GetDgVolPlexStatesA() failed , %s string is invalid, error=(0x%x)",
                       argument, FARLO_INVALID_ARGUMENT);
        }
        return m_valid;
    }
    // NULL for a NULL argument.
    const wchar_t* get() const { return m_string.get(); }

  private:
    std::unique_ptr<wchar_t[]> m_string;
    bool m_valid = true;
};

}  // namespace

extern "C" {

uint32_t GetDgStateW(opal_handle handle, const wchar_t* name, const char* guid, uint8_t* imported) {
    return guarded([&] { return farlo::GetDgStateW(handle, name, guid, imported); });
}

uint32_t GetDgStateA(opal_handle handle, const char* name, const char* guid, uint8_t* imported) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgStateA", L"name")
               ? GetDgStateW(handle, wide_name.get(), guid, imported)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgStateExW(opal_handle handle, const wchar_t* name, const char* guid,
                       uint8_t* imported) {
    return guarded([&] { return farlo::GetDgStateExW(handle, name, guid, imported); });
}

uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk, uint32_t* state) {
    return guarded([&] { return farlo::GetDiskStateW(handle, disk, state); });
}

// KEPT: the buffer for a disk's name is as long as that for a group's name; agents rely
// on the refusal of longer names.
uint32_t GetDiskStateA(opal_handle handle, const char* disk, uint32_t* state) {
    const WidenedGroupName wide_disk(disk);
    return wide_disk.accepted(L"GetDiskStateA", L"disk")
               ? GetDiskStateW(handle, wide_disk.get(), state)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgDiskAvailabilityW(opal_handle handle, const wchar_t* name, const char* guid,
                                uint32_t* total, uint32_t* live) {
    return guarded([&] { return farlo::GetDgDiskAvailabilityW(handle, name, guid, total, live); });
}

uint32_t GetDgDiskAvailabilityA(opal_handle handle, const char* name, const char* guid,
                                uint32_t* total, uint32_t* live) {
    const WidenedGroupName wide_name(name);
    return wide_name.accepted(L"GetDgDiskAvailabilityA", L"name")
               ? GetDgDiskAvailabilityW(handle, wide_name.get(), guid, total, live)
               : FARLO_INVALID_ARGUMENT;
}

uint32_t GetDgVolPlexStatesW(opal_handle handle, const wchar_t* name, const char* guid,
                             const wchar_t* device, uint32_t* count, farlo_plex_state* plexes) {
    return guarded(
        [&] { return farlo::GetDgVolPlexStatesW(handle, name, guid, device, count, plexes); });
}

uint32_t GetDgVolPlexStatesA(opal_handle handle, const char* name, const char* guid,
                             const char* device, uint32_t* count, farlo_plex_state* plexes) {
    return guarded([&] {
        const WidenedCopy wide_name(name);
        const WidenedCopy wide_device(device);
        if (!wide_name.accepted(L"name") || !wide_device.accepted(L"device")) {
            return FARLO_INVALID_ARGUMENT;
        }
        return GetDgVolPlexStatesW(handle, wide_name.get(), guid, wide_device.get(), count, plexes);
    });
}

}  // extern "C"
