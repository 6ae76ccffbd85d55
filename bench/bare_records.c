#include "bare_records.h"

#include "bare_bus.h"
#include "bare_volumes.h"

#include <winioctl.h>

#include <ddk/mountmgr.h>

#include <stdlib.h>

#define UNUSABLE_STATE_BITS (0x4u | 0x10u | 0x20u | 0x100u)

static opal_status children(opal_handle handle, const opal_objid* object, const char* type,
                            opal_objid** ids, uint32_t* count) {
    *ids = NULL;
    *count = 0;
    return ObGetChildObjects(handle->connection, handle->connection_context, object, type, ids,
                             count);
}

/* Does not change a field that cannot be read. */
static void copy_wide(opal_handle handle, const opal_objid* object, const char* name, void* field,
                      size_t field_size) {
    opal_property property;
    if (!read_string(handle, object, name, TYPE_WSTR, &property)) {
        return;
    }
    size_t size = wcslen((const wchar_t*)property.value) * sizeof(wchar_t);
    if (size > field_size - sizeof(wchar_t)) {
        size = field_size - sizeof(wchar_t);
    }
    memcpy(field, property.value, size);
    memset((char*)field + size, 0, sizeof(wchar_t));
    PsFreeProperty(&property);
}

static void copy_uint32(opal_handle handle, const opal_objid* object, const char* name,
                        void* field) {
    uint32_t value = 0;
    if (read_uint32(handle, object, name, &value)) {
        memcpy(field, &value, sizeof value);
    }
}

static void copy_uint64(opal_handle handle, const opal_objid* object, const char* name,
                        void* field) {
    opal_property property;
    if (failed(ObGetProperty(handle->connection, handle->connection_context, object, name,
                             &property))) {
        return;
    }
    if (property.type == TYPE_UINT64 && property.size >= sizeof(uint64_t)) {
        memcpy(field, property.value, sizeof(uint64_t));
    }
    PsFreeProperty(&property);
}

/* Derives the signature of a disk without one from its identifier. */
static void fill_disk(opal_handle handle, const opal_objid* disk, DgDiskInfo* record) {
    uint32_t signature = 0;
    copy_wide(handle, disk, "Name", &record->name, sizeof record->name);
    read_uint32(handle, disk, "SIGNATURE", &signature);
    if (signature == 0) {
        opal_property id;
        if (read_string(handle, disk, "DISKID", TYPE_STR, &id)) {
            signature = (uint32_t)strtoul((const char*)id.value, NULL, 16);
            PsFreeProperty(&id);
        }
    }
    memcpy(&record->signature, &signature, sizeof signature);
    copy_uint32(handle, disk, "PORT", &record->port);
    copy_uint32(handle, disk, "DISK TARGET ID", &record->target);
    copy_uint32(handle, disk, "LUN ID", &record->lun);
}

static void fill_volume(opal_handle handle, const opal_objid* volume, VolInfo* record) {
    wchar_t mounts[261];
    wchar_t letter[3] = L"0";
    opal_objid* file_systems;
    uint32_t count;
    uint32_t state = 0;
    copy_wide(handle, volume, "DEVICE NAME", &record->device_name, sizeof record->device_name);
    bare_mount_points(handle, volume, mounts);
    memcpy(&record->mount_points, mounts, (wcslen(mounts) + 1) * sizeof(wchar_t));
    memset(&record->drive_letter, 0, sizeof(wchar_t));
    if (bare_drive_letter(handle, volume, letter, 3) == 0 && letter[0] != L'0' &&
        letter[0] != L'\0') {
        letter[1] = L':';
        letter[2] = L'\0';
        memcpy(&record->drive_letter, letter, sizeof letter);
    }
    children(handle, volume, ZTTYPE_FILE_SYSTEM, &file_systems, &count);
    if (count != 0) {
        copy_wide(handle, file_systems, "type of file system", &record->file_system,
                  sizeof record->file_system);
        copy_wide(handle, file_systems, "label", &record->label, sizeof record->label);
    }
    _ZtFree(file_systems);
    copy_uint32(handle, volume, "type", &record->type);
    if (read_uint32(handle, volume, "ztvmstate", &state)) {
        const int64_t wide = (int32_t)state;
        memcpy(&record->state, &wide, sizeof wide);
    }
    copy_uint64(handle, volume, "size", &record->size);
}

opal_status bare_group_record(opal_handle handle, const char* guid, DgInfo* record, uint32_t size) {
    opal_objid group;
    opal_objid* disks;
    opal_objid* volumes;
    opal_property name;
    uint32_t disk_count;
    uint32_t volume_count;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    opal_status status = find_group(handle, guid, &group);
    if (status != 0) {
        return status;
    }
    if (!read_string(handle, &group, "Name", TYPE_WSTR, &name)) {
        return ZTERROR_PROPERTY;
    }
    PsFreeProperty(&name);
    children(handle, &group, ZTTYPE_DISK, &disks, &disk_count);
    children(handle, &group, ZTTYPE_VOLUME, &volumes, &volume_count);
    if (sizeof(DgInfo) + disk_count * sizeof(DgDiskInfo) + volume_count * sizeof(VolInfo) > size) {
        status = ZTERROR_NO_MEMORY;
    } else {
        DgDiskInfo* const disk_records = (DgDiskInfo*)(record + 1);
        VolInfo* const volume_records = (VolInfo*)(disk_records + disk_count);
        record->disk_count = disk_count;
        record->volume_count = volume_count;
        for (uint32_t i = 0; i < disk_count; ++i) {
            fill_disk(handle, &disks[i], &disk_records[i]);
        }
        for (uint32_t i = 0; i < volume_count; ++i) {
            fill_volume(handle, &volumes[i], &volume_records[i]);
        }
    }
    _ZtFree(disks);
    _ZtFree(volumes);
    return connected(handle) ? status : ZTERROR_NOT_CONNECTED;
}

/* Whether a link's name begins like a volume GUID name. */
static int is_volume_link(const uint8_t* answer, DWORD size, const MOUNTMGR_MOUNT_POINT* point) {
    static const wchar_t prefix[] = L"\\??\\Volume{";
    const size_t prefix_size = sizeof prefix - sizeof *prefix;
    return point->SymbolicLinkNameOffset <= size &&
           point->SymbolicLinkNameLength <= size - point->SymbolicLinkNameOffset &&
           point->SymbolicLinkNameLength >= prefix_size &&
           memcmp(answer + point->SymbolicLinkNameOffset, prefix, prefix_size) == 0;
}

/* The bare request: open, request, close. */
static int has_volume_link(const wchar_t* device) {
    uint8_t question[1048];
    uint8_t answer[8192];
    const size_t length = wcslen(device) * sizeof *device;
    MOUNTMGR_MOUNT_POINT wanted = {0};
    ULONG links = 0;
    DWORD size = 0;
    int found = 0;
    if (length > sizeof question - sizeof wanted) {
        return 0;
    }
    const HANDLE manager = CreateFileW(MOUNTMGR_DOS_DEVICE_NAME, GENERIC_READ | GENERIC_WRITE,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE, NULL, OPEN_EXISTING,
                                       FILE_ATTRIBUTE_NORMAL, NULL);
    if (manager == INVALID_HANDLE_VALUE) {
        return 0;
    }
    wanted.DeviceNameOffset = sizeof wanted;
    wanted.DeviceNameLength = (USHORT)length;
    memset(question, 0, sizeof question);
    memcpy(question, &wanted, sizeof wanted);
    memcpy(question + sizeof wanted, device, length);
    if (DeviceIoControl(manager, IOCTL_MOUNTMGR_QUERY_POINTS, question, sizeof question, answer,
                        sizeof answer, &size, NULL) &&
        size >= offsetof(MOUNTMGR_MOUNT_POINTS, MountPoints)) {
        const MOUNTMGR_MOUNT_POINTS* const points = (const MOUNTMGR_MOUNT_POINTS*)answer;
        links = points->NumberOfMountPoints;
        const size_t room =
            (size - offsetof(MOUNTMGR_MOUNT_POINTS, MountPoints)) / sizeof(MOUNTMGR_MOUNT_POINT);
        for (ULONG i = 0; i < links && i < room && !found; ++i) {
            found = is_volume_link(answer, size, &points->MountPoints[i]);
        }
    }
    CloseHandle(manager);
    return found;
}

static int is_unusable(opal_handle handle, const opal_objid* volume) {
    opal_property device;
    int data_change_object = 0;
    uint32_t state = 0;
    read_bool(handle, volume, "isdco", &data_change_object);
    if (data_change_object) {
        return 0;
    }
    read_uint32(handle, volume, "ztvmstate", &state);
    if ((state & UNUSABLE_STATE_BITS) != 0) {
        return 1;
    }
    if (!read_string(handle, volume, "DEVICE NAME", TYPE_WSTR, &device)) {
        return 1;
    }
    const int linked = has_volume_link((const wchar_t*)device.value);
    PsFreeProperty(&device);
    return !linked;
}

opal_status bare_unusable_volumes(opal_handle handle, const char* guid, VolInfo* records,
                                  uint32_t capacity, uint32_t* count) {
    opal_objid group;
    opal_objid* volumes;
    uint32_t volume_count;
    uint32_t unusable = 0;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    const opal_status status = find_group(handle, guid, &group);
    if (status != 0) {
        return status;
    }
    children(handle, &group, ZTTYPE_VOLUME, &volumes, &volume_count);
    for (uint32_t i = 0; i < volume_count; ++i) {
        if (is_unusable(handle, &volumes[i])) {
            volumes[unusable++] = volumes[i];
        }
    }
    for (uint32_t i = 0; i < unusable && i < capacity; ++i) {
        int64_t state;
        fill_volume(handle, &volumes[i], &records[i]);
        memcpy(&state, &records[i].state, sizeof state);
        state |= FARLO_VOLUME_UNUSABLE;
        memcpy(&records[i].state, &state, sizeof state);
    }
    _ZtFree(volumes);
    *count = unusable;
    if (unusable > capacity) {
        return ZTERROR_NO_MEMORY;
    }
    return connected(handle) ? 0 : ZTERROR_NOT_CONNECTED;
}

/* Fills the records of the disks of a plex's subdisks. Returns their number. */
static uint32_t fill_plex(opal_handle handle, const opal_objid* plex, DgDiskInfo* records,
                          uint32_t capacity) {
    opal_objid* subdisks;
    uint32_t count;
    uint32_t filled = 0;
    children(handle, plex, ZTTYPE_SUBDISK, &subdisks, &count);
    for (uint32_t i = 0; i < count; ++i) {
        opal_objid* disks = NULL;
        uint32_t disk_count = 0;
        ObGetParentObjects(handle->connection, handle->connection_context, &subdisks[i],
                           ZTTYPE_DISK, &disks, &disk_count);
        if (disk_count != 0 && filled < capacity) {
            fill_disk(handle, disks, &records[filled++]);
        }
        _ZtFree(disks);
    }
    _ZtFree(subdisks);
    return filled;
}

opal_status bare_volume_record(opal_handle handle, const wchar_t* device, VolPropInfo* record,
                               uint32_t size) {
    opal_objid volume;
    opal_objid* plexes;
    uint32_t count;
    uint32_t filled = 0;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    const opal_status status = find_volume(handle, device, &volume);
    if (status != 0) {
        return status;
    }
    if (size < sizeof(VolPropInfo) + sizeof(VolInfo)) {
        return ZTERROR_NO_MEMORY;
    }
    const uint32_t capacity =
        (uint32_t)((size - sizeof(VolPropInfo) - sizeof(VolInfo)) / sizeof(DgDiskInfo));
    DgDiskInfo* const disks = (DgDiskInfo*)(record + 1);
    children(handle, &volume, ZTTYPE_PLEX, &plexes, &count);
    for (uint32_t i = 0; i < count; ++i) {
        filled += fill_plex(handle, &plexes[i], disks + filled, capacity - filled);
    }
    _ZtFree(plexes);
    record->disk_count = filled;
    record->volume_count = 1;
    fill_volume(handle, &volume, (VolInfo*)(disks + filled));
    return connected(handle) ? 0 : ZTERROR_NOT_CONNECTED;
}
