#include "query/vol_properties.h"

#include "bus/database.h"
#include "core/connection.h"
#include "core/guarded.h"
#include "core/trace_log.h"
#include "query/fill_disk_record.h"
#include "query/fill_vol_info.h"
#include "query/record_fields.h"
#include "volume/find_volume.h"

#include <vector>

namespace farlo {
namespace {

// KEPT: the size is four bytes less than the record's; callers allocate by it. farlo.h
// documents how much more they need.
constexpr std::uint64_t size_for_callers =
    sizeof(VolPropInfo) + sizeof(VolInfo) - FARLO_VOL_PROP_INFO_BEYOND;
static_assert(size_for_callers == 1660);

// The disk of each subdisk. KEPT: a disk that carries several subdisks is listed
// several times.
std::vector<CZtObject> disks_under(const CZtObject& volume) {
    std::vector<CZtObject> disks;
    std::vector<CZtObject> plexes;
    volume.GetChildObjects(plexes, ZTTYPE_PLEX);
    for (const CZtObject& plex : plexes) {
        std::vector<CZtObject> subdisks;
        plex.GetChildObjects(subdisks, ZTTYPE_SUBDISK);
        for (const CZtObject& subdisk : subdisks) {
            std::vector<CZtObject> found;
            subdisk.GetParentObjects(ZTTYPE_DISK, found);
            if (!found.empty()) {
                disks.push_back(std::move(found.front()));
            }
        }
    }
    return disks;
}

void fill_record(opal_handle handle, const std::vector<CZtObject>& disks, const CZtObject& volume,
                 VolPropInfo* record) {
    record->disk_count = static_cast<std::uint32_t>(disks.size());
    record->volume_count = 1;
    auto* const disk_records = reinterpret_cast<DgDiskInfo*>(record + 1);
    // KEPT: "%ul", which writes an "l" after the number; administrators search for it.
    FillDiskRecords(disks,
                    L"farlo: GetVolPropertiesW: No signature property on disk..so forming it..Id = "
                    L"%S, guidToNumString = %ul, signature = %u",
                    disk_records);
    FillVolInfo(handle, volume, *reinterpret_cast<VolInfo*>(disk_records + disks.size()));
}

std::uint32_t query_volume(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                           std::uint32_t* size) {
    return guarded([&] {
        CZtObject volume;
        if (!FindVolObjByDevName(handle, device, volume)) {
            log(0, L"GetVolPropertiesW - FindVolObjByDevName failed for %s", device);
            return FARLO_INVALID_ARGUMENT;
        }
        const std::vector<CZtObject> disks = disks_under(volume);
        const std::uint32_t status =
            check_record_size(size_for_callers + sizeof(DgDiskInfo) * disks.size(), *size);
        if (status == FARLO_SUCCESS) {
            fill_record(handle, disks, volume, record);
        }
        return status;
    });
}

}  // namespace

std::uint32_t GetVolPropertiesW(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                                std::uint32_t* size) {
    log(4, L"Entering GetVolPropertiesW");
    if (device == nullptr) {
        log(0, L"GetVolPropertiesW() failed , NULL Volume Device Name");
        return FARLO_INVALID_ARGUMENT;
    }
    if (handle == nullptr) {
        log(0, L"GetVolPropertiesW() failed , NULL opal_handle, error=(0x%x)", FARLO_NULL_HANDLE);
        return FARLO_NULL_HANDLE;
    }
    if (!is_connected(handle)) {
        log(0, L"GetVolPropertiesW() failed , opal_handle not connected, error=(0x%x)",
            FARLO_NOT_CONNECTED);
        return FARLO_NOT_CONNECTED;
    }
    // KEPT: the record is checked before the size, unlike in the records of groups.
    if (record == nullptr) {
        log(0, L"GetVolPropertiesW() failed , pVolInfo == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }
    if (size == nullptr) {
        log(0, L"GetVolPropertiesW() failed , pInfoSize == NULL, error=(0x%x)",
            FARLO_MISSING_ARGUMENT);
        return FARLO_MISSING_ARGUMENT;
    }

    const std::uint32_t refused = check_device(L"GetVolPropertiesW", device);
    std::uint32_t status =
        refused != FARLO_SUCCESS ? refused : query_volume(handle, device, record, size);
    status = status_if_still_connected(handle, status);
    if (status != refused && status != FARLO_BUFFER_TOO_SMALL) {
        log(0, L"GetVolPropertiesW() failed, error=(0x%x) ", status);
    }
    log(4, L"Exiting GetVolPropertiesW");
    return status;
}

}  // namespace farlo
