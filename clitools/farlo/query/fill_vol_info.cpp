#include "query/fill_vol_info.h"

#include "bus/database.h"
#include "core/read_property.h"
#include "query/mount_manager.h"
#include "query/record_fields.h"
#include "volume/mount_points.h"

#include <cwchar>
#include <tuple>
#include <vector>

namespace farlo {
namespace {

constexpr std::size_t drive_letter_capacity = sizeof VolInfo::drive_letter / sizeof(wchar_t);
constexpr wchar_t drive_letter_prefix[] = L"\\DosDevices\\";
static_assert(sizeof VolInfo::mount_points == mount_string_capacity * sizeof(wchar_t));

// Replaces the field's contents with the paths of this volume.
void fill_mount_points(opal_handle handle, const CZtObject& volume, VolInfo& record) {
    wchar_t string[mount_string_capacity] = L"";
    // Ignored: the field takes the paths that were found.
    std::ignore = GetMountPoints(handle, string, volume.id());
    put_string(&record.mount_points, sizeof record.mount_points, string, std::wcslen(string));
}

void clear_drive_letter(VolInfo& record) {
    record.drive_letter[0] = L'\0';
}

// "0" means that there is no letter.
void put_drive_letter(wchar_t letter, VolInfo& record) {
    if (letter != L'0' && letter != L'\0') {
        record.drive_letter[0] = letter;
        record.drive_letter[1] = L':';
        record.drive_letter[2] = L'\0';
    }
}

void fill_file_system(const CZtObject& volume, VolInfo& record) {
    std::vector<CZtObject> file_systems;
    try {
        volume.GetChildObjects(file_systems, ZTTYPE_FILE_SYSTEM);
    } catch (...) {
        return;
    }
    if (!file_systems.empty()) {
        const CZtObject& file_system = file_systems.front();
        copy_property(file_system, "type of file system", &record.file_system,
                      sizeof record.file_system);
        copy_property(file_system, "label", &record.label, sizeof record.label);
    }
}

void fill_type(const CZtObject& volume, VolInfo& record) {
    if (const auto type = read_optional<std::uint32_t>(volume, "type")) {
        record.type = *type;
    }
}

void fill_state(const CZtObject& volume, VolInfo& record) {
    if (const auto state = read_optional<std::uint32_t>(volume, "ztvmstate")) {
        // KEPT: callers get the service's 32 bits sign-extended.
        record.state = static_cast<std::int32_t>(*state);
    }
}

void fill_size(const CZtObject& volume, VolInfo& record) {
    if (const auto size = read_optional<std::uint64_t>(volume, "size")) {
        record.size = *size;
    }
}

}  // namespace

void FillVolInfo(opal_handle handle, const CZtObject& volume, VolInfo& record) {
    copy_property(volume, "DEVICE NAME", &record.device_name, sizeof record.device_name);
    fill_mount_points(handle, volume, record);
    clear_drive_letter(record);
    wchar_t letter[drive_letter_capacity] = L"0";
    if (GetDriveLetterFromMntMgr(handle, letter, drive_letter_capacity, volume.id()) ==
        FARLO_SUCCESS) {
        put_drive_letter(letter[0], record);
    }
    fill_file_system(volume, record);
    fill_type(volume, record);
    fill_state(volume, record);
    fill_size(volume, record);
}

void FillDgVolInfo(const CZtObject& volume, VolInfo& record) {
    WideString device;
    const bool has_device = try_read(volume, "DEVICE NAME", device);
    if (has_device) {
        put_string(&record.device_name, sizeof record.device_name, device.c_str(), device.length());
    }
    fill_type(volume, record);
    clear_drive_letter(record);
    // KEPT: the letter is the system's; in the full record it is the service's, which
    // may differ.
    wchar_t link[mount_link_capacity];
    if (has_device && QueryMountPointName(device.c_str(), link, drive_letter_prefix)) {
        put_drive_letter(std::wcsstr(link, drive_letter_prefix)[std::wcslen(drive_letter_prefix)],
                         record);
    }
    fill_size(volume, record);
}

}  // namespace farlo
