#include "volume/serial_number.h"

#include "api/farlo.h"
#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/guid_string.h"
#include "core/lookup.h"
#include "core/trace_log.h"

#include <string>
#include <vector>

namespace farlo {
namespace {

constexpr std::size_t file_system_name_capacity = 260;

// Reads the serial number of the file system at a root folder. Returns false when that
// fails.
bool read_serial_number(const std::wstring& root, DWORD& serial_number) {
    wchar_t file_system[file_system_name_capacity];
    return GetVolumeInformationW(root.c_str(), nullptr, 0, &serial_number, nullptr, nullptr,
                                 file_system, file_system_name_capacity) != FALSE;
}

// `capacity` in bytes.
std::uint32_t find_serial_number(const std::vector<CZtObject>& volumes, std::uint32_t wanted,
                                 wchar_t* volume_name, std::uint32_t capacity) {
    for (const CZtObject& volume : volumes) {
        std::wstring root;
        volume.GetProp("volumename", root);
        root += L'\\';
        DWORD serial_number = 0;
        if (!read_serial_number(root, serial_number)) {
            log(0,
                L"GetVolumeNameForSerialNumberW: GetVolumeInformation failed , wcVolumeGuid %s, "
                L"error=(0x%x)",
                root.c_str(), GetLastError());
            continue;
        }
        if (serial_number == wanted) {
            if (!copy_string(volume_name, capacity / sizeof *volume_name, root.c_str(),
                             root.size())) {
                end_with_exception_status();
            }
            return FARLO_SUCCESS;
        }
    }
    return FARLO_VOLUME_NOT_FOUND;
}

// Logs a missing argument itself.
std::uint32_t query_group(const CZtObject& group, std::uint32_t wanted, wchar_t* volume_name,
                          std::uint32_t* size) {
    std::vector<CZtObject> volumes;
    group.GetChildObjects(volumes, ZTTYPE_VOLUME);
    if (size == nullptr) {
        log(0, L"GetVolumeNameForSerialNumberW() failed , pSize == NULL");
        return FARLO_MISSING_ARGUMENT;
    }
    // KEPT: the size is checked first; callers ask for it without a buffer.
    if (*size < FARLO_VOLUME_NAME_BUFFER_SIZE) {
        *size = FARLO_VOLUME_NAME_BUFFER_SIZE;
        return FARLO_BUFFER_TOO_SMALL;
    }
    if (volume_name == nullptr) {
        log(0, L"GetVolumeNameForSerialNumberW() failed , pVolumeInfo == NULL");
        return FARLO_MISSING_ARGUMENT;
    }
    return find_serial_number(volumes, wanted, volume_name, *size);
}

}  // namespace

std::uint32_t GetVolumeNameForSerialNumberW(opal_handle handle, const wchar_t* group_name,
                                            const char* guid, std::uint32_t serial_number,
                                            wchar_t* volume_name, std::uint32_t* size) {
    // KEPT: the line calls the serial number a partition number; administrators search
    // for this wording.
    log(4, L"Entering GetVolumeNameForSerialNumberW - %s partition number %d", group_name,
        serial_number);
    if (handle == nullptr) {
        log(0, L"GetVolumeNameForSerialNumberW() failed , NULL opal_handle");
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetVolumeNameForSerialNumberW() failed , opal_handle not connected");
        return FARLO_NOT_CONNECTED;
    }
    CZtObject group;
    std::uint32_t status = GetDgObjId(handle, group_name, guid, group, /*cluster_only=*/true);
    if (status != FARLO_SUCCESS) {
        log(0, L"GetVolumeNameForSerialNumberW():GetDgObjId() failed, error=(0x%x)", status);
        return status;
    }
    status = guarded([&] { return query_group(group, serial_number, volume_name, size); });
    if (status == FARLO_MISSING_ARGUMENT) {
        return status;
    }
    status = status_if_still_connected(handle, status);
    if (status != FARLO_SUCCESS && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetVolumeNameForSerialNumberW() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting GetVolumeNameForSerialNumberW");
    return status;
}

}  // namespace farlo
