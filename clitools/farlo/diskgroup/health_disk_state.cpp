#include "diskgroup/health_disk_state.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/lookup.h"
#include "core/read_property.h"
#include "core/string_property.h"
#include "core/trace_log.h"

#include <vector>

namespace farlo {
namespace {

// The first disk whose name in the operating system or device name is `name`.
bool FindDiskIdByOSorDevName(opal_handle handle, const wchar_t* name, CZtObject& found) {
    try {
        const std::vector<CZtObject> disks = objects_of_type(handle, ZTTYPE_DISK);
        for (const CZtObject& disk : disks) {
            if (is_string(disk, "Name", name) || is_string(disk, "DEVICE NAME", name)) {
                found.assign(disk);
                return true;
            }
        }
    } catch (...) {
        // A query that throws found no disk.
    }
    return false;
}

}  // namespace

std::uint32_t GetDiskStateW(opal_handle handle, const wchar_t* disk, std::uint32_t* state) {
    log(6, L"Entering GetDiskStateW");
    if (handle == nullptr) {
        log(0, L"GetDiskStateW() failed, NULL opal_conn, error=(0x%x) ", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetDiskStateW() failed, opal_conn not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    if (disk == nullptr || state == nullptr) {
        log(0, L"GetDiskStateW() failed, pwDiskName or pState == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    CZtObject found;
    if (!FindDiskIdByOSorDevName(handle, disk, found)) {
        log(0, L"GetDiskStateW():FindDiskIdByOSorDevName() failed, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    // 0 if the state cannot be read.
    *state = read_optional<std::uint32_t>(found, "ztvmstate").value_or(0);
    if (!is_connected(handle)) {
        // KEPT: only logged, because the state has been stored.
        log(0, L"GetDiskStateW() failed, error=(0x%x)", FARLO_NOT_CONNECTED);
    }
    log(6, L"Exiting GetDiskStateW");
    return FARLO_SUCCESS;
}

}  // namespace farlo
