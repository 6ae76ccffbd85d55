#include "bare_health.h"

#include "bare_bus.h"

opal_status bare_group_state(opal_handle handle, const char* guid, uint8_t* imported) {
    opal_objid group;
    int value = 0;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    const opal_status status = find_group(handle, guid, &group);
    if (status != 0) {
        return status;
    }
    if (!read_bool(handle, &group, "imported", &value)) {
        return ZTERROR_PROPERTY;
    }
    *imported = (uint8_t)value;
    return connected(handle) ? 0 : ZTERROR_NOT_CONNECTED;
}

opal_status bare_disk_state(opal_handle handle, const wchar_t* disk, uint32_t* state) {
    opal_objid* disks = NULL;
    uint32_t count = 0;
    opal_status status = ZTERROR_UNKNOWN_OBJECT;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    DbGetObjects(handle->connection, handle->connection_context, ZTTYPE_DISK, &disks, &count);
    for (uint32_t i = 0; i < count; ++i) {
        if (has_string(handle, &disks[i], "Name", disk) ||
            has_string(handle, &disks[i], "DEVICE NAME", disk)) {
            *state = 0;
            read_uint32(handle, &disks[i], "ztvmstate", state);
            status = 0;
            break;
        }
    }
    _ZtFree(disks);
    return connected(handle) ? status : ZTERROR_NOT_CONNECTED;
}
