#include "bare_calls.h"

#include "bare_bus.h"

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
        if (!read_string(handle, &groups[i], "Name", TYPE_WSTR, &property)) {
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
    add_string(input, "Dgguid", guid);
    add_string(input, "dgid", guid);
    add_wide(input, "Newdgname", L"");
    add_wide(input, "newname", name);
    add_uint32(input, "Opflag", 0x4046);
    add_uint32(input, "OnlineFlag", 0x4046);
    status = invoke(handle, &service, ZTMETHOD_DGOP_IMPORT, input);
    return connected(handle) ? status : ZTERROR_NOT_CONNECTED;
}

opal_status bare_offline(opal_handle handle, const char* guid) {
    opal_objid service;
    opal_objid group = {{0}};
    opal_propset input;
    if (!connected(handle)) {
        return ZTERROR_NOT_CONNECTED;
    }
    opal_status status = find_service(handle, &service);
    if (status != 0) {
        return status;
    }
    find_group(handle, guid, &group);
    PsCreatePropset(&input);
    add_string(input, "Dgguid", guid);
    add_string(input, "dgid", guid);
    add_uint32(input, "Opflag", 0x4040);
    add_uint32(input, "OfflineFlag", 0x4040);
    status = invoke(handle, &group, ZTMETHOD_DGOP_DEPORT, input);
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
            !read_string(handle, &groups[i], "Name", TYPE_WSTR, &property)) {
            continue;
        }
        const int found = _wcsicmp((const wchar_t*)property.value, name) == 0;
        PsFreeProperty(&property);
        if (found) {
            if (type == ZTDGTYPE_CLUSTER &&
                read_string(handle, &groups[i], "dgid", TYPE_STR, &property)) {
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

/* Whether the list includes the group. If so, reads its name, which the caller frees. */
static int listed_name(opal_handle handle, const opal_objid* group, opal_property* name) {
    uint32_t type = 0;
    int imported = 0;
    return read_uint32(handle, group, "LDM DG TYPE", &type) && type == ZTDGTYPE_CLUSTER &&
           read_bool(handle, group, "imported", &imported) && imported &&
           read_string(handle, group, "Name", TYPE_WSTR, name);
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
