/*
 * Helpers for the bus calls that are written by hand: each call with the checks that any
 * caller makes, and nothing more.
 */
#ifndef BARE_BUS_H
#define BARE_BUS_H

#include "ztcmd.h"
#include "ztservice.h"

#include <stdio.h>
#include <string.h>
#include <wchar.h>

static inline int failed(opal_status status) {
    return (status >> 30) == 3 || (status != 0 && status < 0x10000);
}

static inline int connected(opal_handle handle) {
    EnterCriticalSection(&handle->lock);
    const int value = handle->connected != 0;
    LeaveCriticalSection(&handle->lock);
    return value;
}

static inline int read_uint32(opal_handle handle, const opal_objid* object, const char* name,
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

static inline int read_bool(opal_handle handle, const opal_objid* object, const char* name,
                            int* value) {
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

/* Reads a string. Returns 0 on failure; else the caller frees the property. */
static inline int read_string(opal_handle handle, const opal_objid* object, const char* name,
                              uint32_t type, opal_property* property) {
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

/* Whether a wide property equals a string, ignoring case. */
static inline int has_string(opal_handle handle, const opal_objid* object, const char* name,
                             const wchar_t* value) {
    opal_property property;
    if (!read_string(handle, object, name, TYPE_WSTR, &property)) {
        return 0;
    }
    const int same = _wcsicmp((const wchar_t*)property.value, value) == 0;
    PsFreeProperty(&property);
    return same;
}

static inline opal_status find_service(opal_handle handle, opal_objid* service) {
    opal_objid* ids = NULL;
    uint32_t count = 0;
    const opal_status status = DbGetObjects(handle->connection, handle->connection_context,
                                            ZTTYPE_CLUSTER_SERVICE, &ids, &count);
    if (failed(status) || count == 0) {
        return status != 0 ? status : ZTERROR_UNKNOWN_OBJECT;
    }
    *service = ids[0];
    _ZtFree(ids);
    return 0;
}

static inline opal_status all_groups(opal_handle handle, opal_objid** ids, uint32_t* count) {
    *ids = NULL;
    *count = 0;
    return DbGetObjects(handle->connection, handle->connection_context, ZTTYPE_DISK_GROUP, ids,
                        count);
}

static inline void add_string(opal_propset set, const char* name, const char* value) {
    const opal_property property = {name, TYPE_STR, 1, (uint32_t)strlen(value) + 1, value};
    PsAddProperty(set, &property);
}

static inline void add_wide(opal_propset set, const char* name, const wchar_t* value) {
    const opal_property property = {name, TYPE_WSTR, 1,
                                    (uint32_t)((wcslen(value) + 1) * sizeof *value), value};
    PsAddProperty(set, &property);
}

static inline void add_uint32(opal_propset set, const char* name, uint32_t value) {
    const opal_property property = {name, TYPE_UINT32, 1, sizeof value, &value};
    PsAddProperty(set, &property);
}

/* Calls a method and destroys the input; the caller destroys the output. */
static inline opal_status invoke_for(opal_handle handle, const opal_objid* target,
                                     const GUID* interface_id, uint32_t minor, opal_propset input,
                                     opal_propset* output) {
    uint64_t task = 0;
    uint64_t result = 0;
    *output = NULL;
    PsCreatePropset(output);
    const opal_status status =
        PrCallDispatch(handle->connection, target, interface_id, ZTMETHOD_MAJOR, minor, input,
                       *output, 0, 0, 0, 0, &task, &result);
    PsDestroyPropset(input);
    return status;
}

/* Calls a method of the volume manager and ignores its results. */
static inline opal_status invoke(opal_handle handle, const opal_objid* target, uint32_t minor,
                                 opal_propset input) {
    opal_propset output;
    const opal_status status =
        invoke_for(handle, target, &zt_volume_manager_interface, minor, input, &output);
    PsDestroyPropset(output);
    return status;
}

/* Finds the first group with a GUID string. */
static inline opal_status find_group(opal_handle handle, const char* guid, opal_objid* group) {
    opal_objid* groups;
    uint32_t count;
    opal_status status = ZTERROR_UNKNOWN_OBJECT;
    all_groups(handle, &groups, &count);
    for (uint32_t i = 0; i < count && status != 0; ++i) {
        uint32_t type = 0;
        opal_property property;
        if (!read_uint32(handle, &groups[i], "LDM DG TYPE", &type) ||
            !read_string(handle, &groups[i], "dgid", TYPE_STR, &property)) {
            continue;
        }
        if (_stricmp((const char*)property.value, guid) == 0) {
            *group = groups[i];
            status = 0;
        }
        PsFreeProperty(&property);
    }
    _ZtFree(groups);
    return status;
}

/* Finds the first volume with a device name, by a query. */
static inline opal_status find_volume(opal_handle handle, const wchar_t* device,
                                      opal_objid* volume) {
    opal_objid* ids = NULL;
    uint32_t count = 0;
    wchar_t* const query = (wchar_t*)_ZtAlloc(4096);
    if (query == NULL) {
        return ZTERROR_NO_MEMORY;
    }
    _snwprintf(query, 2047, L"SELECT FROM %S where \"%S\" EQ %s", ZTTYPE_VOLUME, "DEVICE NAME",
               device);
    const opal_status status =
        DbGetObjectsByQuery(handle->connection, handle->connection_context, query, &ids, &count);
    _ZtFree(query);
    if (failed(status) || count == 0) {
        return status != 0 ? status : ZTERROR_UNKNOWN_OBJECT;
    }
    *volume = ids[0];
    _ZtFree(ids);
    return 0;
}

#endif
