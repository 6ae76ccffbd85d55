#include "bare_calls.h"

#include <string.h>
#include <wchar.h>

static const GUID volume_manager_operations = {
    0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};

static int failed(opal_status status) {
    return (status >> 30) == 3 || (status != 0 && status < 0x10000);
}

static int connected(opal_handle handle) {
    EnterCriticalSection(&handle->lock);
    const int value = handle->connected != 0;
    LeaveCriticalSection(&handle->lock);
    return value;
}

static int read_uint32(opal_handle handle, const opal_objid* object, const char* name,
                       uint32_t* value) {
    opal_property property;
    if (failed(ObGetProperty(handle->connection, handle->connection_context, object, name,
                             &property))) {
        return 0;
    }
    const int fits = property.type == TYPE_UINT32 && property.size >= sizeof *value;
    if (fits) {
        memcpy(value, property.value, sizeof *value);
    }
    PsFreeProperty(&property);
    return fits;
}

static int read_bool(opal_handle handle, const opal_objid* object, const char* name, int* value) {
    opal_property property;
    if (failed(ObGetProperty(handle->connection, handle->connection_context, object, name,
                             &property))) {
        return 0;
    }
    const int fits = property.type == TYPE_BOOLEAN && property.size >= 1;
    if (fits) {
        *value = *(const opal_bool*)property.value != opal_false;
    }
    PsFreeProperty(&property);
    return fits;
}

/* Reads a text; the caller frees the property when the result is not 0. */
static int read_text(opal_handle handle, const opal_objid* object, const char* name, uint32_t type,
                     opal_property* property) {
    if (failed(ObGetProperty(handle->connection, handle->connection_context, object, name,
                             property))) {
        return 0;
    }
    if (property->type != type || property->size == 0) {
        PsFreeProperty(property);
        return 0;
    }
    return 1;
}

static opal_status find_service(opal_handle handle, opal_objid* service) {
    opal_objid* ids = NULL;
    uint32_t count = 0;
    const opal_status status = DbGetObjects(handle->connection, handle->connection_context,
                                            "solvane_cluster_service", &ids, &count);
    if (failed(status) || count == 0) {
        return status != 0 ? status : ZTERROR_UNKNOWN_OBJECT;
    }
    *service = ids[0];
    _ZtFree(ids);
    return 0;
}

static opal_status all_groups(opal_handle handle, opal_objid** ids, uint32_t* count) {
    *ids = NULL;
    *count = 0;
    return DbGetObjects(handle->connection, handle->connection_context, "tamo_ztvm_diskgroup", ids,
                        count);
}

static void add_text(opal_propset set, const char* name, const char* text) {
    const opal_property property = {name, TYPE_STR, 1, (uint32_t)strlen(text) + 1, text};
    PsAddProperty(set, &property);
}

static void add_wide(opal_propset set, const char* name, const wchar_t* text) {
    const opal_property property = {name, TYPE_WSTR, 1,
                                    (uint32_t)((wcslen(text) + 1) * sizeof *text), text};
    PsAddProperty(set, &property);
}

static void add_uint32(opal_propset set, const char* name, uint32_t value) {
    const opal_property property = {name, TYPE_UINT32, 1, sizeof value, &value};
    PsAddProperty(set, &property);
}

static opal_status invoke(opal_handle handle, const opal_objid* target, uint32_t minor,
                          opal_propset input) {
    opal_propset output = NULL;
    uint64_t task = 0;
    uint64_t result = 0;
    PsCreatePropset(&output);
    const opal_status status =
        PrCallDispatch(handle->connection, target, &volume_manager_operations, 0, minor, input,
                       output, 0, 0, 0, 0, &task, &result);
    PsDestroyPropset(output);
    PsDestroyPropset(input);
    return status;
}

opal_status bare_online(opal_handle handle, const wchar_t* name, const char* guid) {
    opal_objid service;
    opal_objid* groups;
    uint32_t count;
    opal_propset input;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    opal_status status = find_service(handle, &service);
    if (status != 0) {
        return status;
    }
    status = all_groups(handle, &groups, &count);
    for (uint32_t i = 0; i < count; ++i) {
        opal_property property;
        if (!read_text(handle, &groups[i], "Name", TYPE_WSTR, &property)) {
            continue;
        }
        int imported = 0;
        read_bool(handle, &groups[i], "imported", &imported);
        const int taken = _wcsicmp((const wchar_t*)property.value, name) == 0 && imported;
        PsFreeProperty(&property);
        if (taken) {
            _ZtFree(groups);
            return ZTERROR_INVALID_ARGUMENT;
        }
    }
    _ZtFree(groups);
    PsCreatePropset(&input);
    add_wide(input, "Name", name);
    add_text(input, "Dgguid", guid);
    add_text(input, "dgid", guid);
    add_wide(input, "Newdgname", L"");
    add_wide(input, "newname", name);
    add_uint32(input, "Opflag", 0x4046);
    add_uint32(input, "OnlineFlag", 0x4046);
    status = invoke(handle, &service, 2003, input);
    return connected(handle) ? status : ZTERROR_NOT_CONNECTED;
}

opal_status bare_offline(opal_handle handle, const char* guid) {
    opal_objid service;
    opal_objid* groups;
    opal_objid group = {{0}};
    uint32_t count;
    opal_propset input;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    opal_status status = find_service(handle, &service);
    if (status != 0) {
        return status;
    }
    all_groups(handle, &groups, &count);
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t type = 0;
        opal_property property;
        if (!read_uint32(handle, &groups[i], "LDM DG TYPE", &type) ||
            !read_text(handle, &groups[i], "dgid", TYPE_STR, &property)) {
            continue;
        }
        const int found = _stricmp((const char*)property.value, guid) == 0;
        PsFreeProperty(&property);
        if (found) {
            group = groups[i];
            break;
        }
    }
    _ZtFree(groups);
    PsCreatePropset(&input);
    add_text(input, "Dgguid", guid);
    add_text(input, "dgid", guid);
    add_uint32(input, "Opflag", 0x4040);
    add_uint32(input, "OfflineFlag", 0x4040);
    status = invoke(handle, &group, 2001, input);
    return connected(handle) ? status : ZTERROR_NOT_CONNECTED;
}

opal_status bare_guid(opal_handle handle, const wchar_t* name, char* guid) {
    opal_objid* groups;
    uint32_t count;
    opal_status status = ZTERROR_UNKNOWN_OBJECT;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    all_groups(handle, &groups, &count);
    for (uint32_t i = 0; i < count; ++i) {
        uint32_t type = 0;
        opal_property property;
        if (!read_uint32(handle, &groups[i], "LDM DG TYPE", &type) ||
            !read_text(handle, &groups[i], "Name", TYPE_WSTR, &property)) {
            continue;
        }
        const int found = _wcsicmp((const wchar_t*)property.value, name) == 0;
        PsFreeProperty(&property);
        if (found) {
            if (type == 2 && read_text(handle, &groups[i], "dgid", TYPE_STR, &property)) {
                if (property.size <= 65) {
                    memcpy(guid, property.value, property.size);
                    status = 0;
                }
                PsFreeProperty(&property);
            }
            break;
        }
    }
    _ZtFree(groups);
    return status;
}

/* Whether the list shows the group, and then its name. */
static int listed_name(opal_handle handle, const opal_objid* group, opal_property* name) {
    uint32_t type = 0;
    int imported = 0;
    return read_uint32(handle, group, "LDM DG TYPE", &type) && type == 2 &&
           read_bool(handle, group, "imported", &imported) && imported &&
           read_text(handle, group, "Name", TYPE_WSTR, name);
}

opal_status bare_name_list(opal_handle handle, wchar_t* buffer, uint32_t size, uint32_t* count) {
    opal_objid* groups;
    uint32_t group_count;
    uint32_t names = 0;
    uint32_t required = 0;
    opal_property name;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    all_groups(handle, &groups, &group_count);
    for (uint32_t i = 0; i < group_count; ++i) {
        if (listed_name(handle, &groups[i], &name)) {
            ++names;
            required += (uint32_t)((wcslen((const wchar_t*)name.value) + 1) * sizeof(wchar_t));
            PsFreeProperty(&name);
        }
    }
    if (required > size) {
        _ZtFree(groups);
        return ZTERROR_NO_MEMORY;
    }
    *count = names;
    memset(buffer, 0, required);
    for (uint32_t i = 0; i < group_count; ++i) {
        if (listed_name(handle, &groups[i], &name)) {
            const size_t length = wcslen((const wchar_t*)name.value) + 1;
            memcpy(buffer, name.value, length * sizeof(wchar_t));
            buffer += length;
            PsFreeProperty(&name);
        }
    }
    _ZtFree(groups);
    return connected(handle) ? 0 : ZTERROR_NOT_CONNECTED;
}
