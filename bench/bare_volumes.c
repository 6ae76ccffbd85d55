#include "bare_volumes.h"

#include "bare_bus.h"

#define MOUNT_STRING_CAPACITY 261

opal_status bare_online_volume(opal_handle handle, const char* guid, const wchar_t* device) {
    opal_objid* misc = NULL;
    opal_objid group;
    opal_objid volume;
    opal_objid service;
    opal_propset input;
    uint32_t count = 0;
    uint32_t role = 0;
    int imported = 0;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    opal_status status =
        DbGetObjects(handle->connection, handle->connection_context, ZTTYPE_MISC, &misc, &count);
    if (failed(status) || count == 0) {
        return status != 0 ? status : ZTERROR_UNKNOWN_OBJECT;
    }
    const int runs = read_uint32(handle, misc, "nodeRole", &role) && role != 0;
    _ZtFree(misc);
    if (!runs) {
        return ZTERROR_INVALID_ARGUMENT;
    }
    status = find_group(handle, guid, &group);
    if (status != 0) {
        return status;
    }
    if (!read_bool(handle, &group, "imported", &imported) || !imported) {
        return ZTERROR_INVALID_ARGUMENT;
    }
    status = find_volume(handle, device, &volume);
    if (status != 0) {
        return status;
    }
    status = find_service(handle, &service);
    if (status != 0) {
        return status;
    }
    PsCreatePropset(&input);
    const opal_property target = {"volume", TYPE_ZTOBJID, 1, sizeof volume, &volume};
    PsAddProperty(input, &target);
    add_uint32(input, "OnlineFlag", 1);
    status = invoke(handle, &service, ZTMETHOD_MISCOP_VOLUMEONLINE, input);
    return connected(handle) ? status : ZTERROR_NOT_CONNECTED;
}

opal_status bare_find_volume(opal_handle handle, const wchar_t* name, opal_objid* volume) {
    opal_objid* volumes = NULL;
    uint32_t count = 0;
    opal_status status = ZTERROR_UNKNOWN_OBJECT;
    DbGetObjects(handle->connection, handle->connection_context, ZTTYPE_VOLUME, &volumes, &count);
    for (uint32_t i = 0; i < count; ++i) {
        if (has_string(handle, &volumes[i], "Name", name) ||
            has_string(handle, &volumes[i], "DEVICE NAME", name) ||
            has_string(handle, &volumes[i], "DRIVE LETTER", name)) {
            *volume = volumes[i];
            status = 0;
            break;
        }
    }
    _ZtFree(volumes);
    return status;
}

static int find_result(opal_propset output, const char* name, uint32_t type,
                       opal_property* property) {
    if (failed(PsFindProperty(output, name, property))) {
        return 0;
    }
    if (property->type != type) {
        PsFreeProperty(property);
        return 0;
    }
    return 1;
}

opal_status bare_drive_letter(opal_handle handle, const opal_objid* volume, wchar_t* letter,
                              uint32_t capacity) {
    opal_property property;
    opal_propset input;
    opal_propset output;
    PsCreatePropset(&input);
    add_uint32(input, "FromMM", 1);
    opal_status status = invoke_for(handle, volume, &zt_mount_manager_interface,
                                    ZTMETHOD_MNTOP_GET_DRIVE_LETTER, input, &output);
    if (status == 0) {
        status = ZTERROR_PROPERTY;
        if (find_result(output, "DRIVE LETTER", TYPE_WSTR, &property)) {
            if (property.size <= capacity * sizeof *letter) {
                memcpy(letter, property.value, property.size);
                status = 0;
            }
            PsFreeProperty(&property);
        }
    }
    PsDestroyPropset(output);
    return status;
}

static uint32_t append(wchar_t* mounts, uint32_t length, const wchar_t* part) {
    while (*part != L'\0' && length + 1 < MOUNT_STRING_CAPACITY) {
        mounts[length++] = *part++;
    }
    mounts[length] = L'\0';
    return length;
}

/* Appends the holder's letter and the path, unless the holder has no letter. Returns the new
 * length. */
static uint32_t append_mount(opal_handle handle, wchar_t* mounts, uint32_t length,
                             const opal_objid* holder, const wchar_t* path) {
    wchar_t letter[3] = L"0";
    if (bare_drive_letter(handle, holder, letter, 3) != 0) {
        return length;
    }
    if (length != 0) {
        length = append(mounts, length, L"; ");
    }
    length = append(mounts, length, letter);
    length = append(mounts, length, L":\\");
    return append(mounts, length, path);
}

opal_status bare_mount_points(opal_handle handle, const opal_objid* volume, wchar_t* mounts) {
    opal_property paths;
    opal_property number;
    opal_property holders;
    opal_propset input;
    opal_propset output;
    uint32_t length = 0;
    PsCreatePropset(&input);
    opal_status status = invoke_for(handle, volume, &zt_mount_manager_interface,
                                    ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS, input, &output);
    mounts[0] = L'\0';
    if (status != 0) {
        PsDestroyPropset(output);
        return status;
    }
    if (find_result(output, "ALL MOUNT POINTS ARRAY", TYPE_WSTRZ, &paths)) {
        if (find_result(output, "NUMBER OF MOUNT POINTS", TYPE_UINT32, &number)) {
            if (find_result(output, "MEMBERIDZ", TYPE_ZTOBJIDZ, &holders)) {
                const uint32_t count = paths.count < holders.count ? paths.count : holders.count;
                for (uint32_t i = 0; i < count; ++i) {
                    length =
                        append_mount(handle, mounts, length, (const opal_objid*)holders.value + i,
                                     ((const wchar_t* const*)paths.value)[i]);
                }
                PsFreeProperty(&holders);
            }
            PsFreeProperty(&number);
        }
        PsFreeProperty(&paths);
    }
    PsDestroyPropset(output);
    return status;
}
