// Calls over a connection handle, like those of the library.
#pragma once

#include "ztcmd/lab_cmd.h"
#include "ztservice.h"

#include <windows.h>

#include <cstring>
#include <vector>

namespace support {

inline constexpr uint32_t import_method = ZTMETHOD_DGOP_IMPORT;
inline constexpr uint32_t deport_method = ZTMETHOD_DGOP_DEPORT;

inline uint8_t connected_of(opal_handle handle) {
    EnterCriticalSection(&handle->lock);
    const uint8_t connected = handle->connected;
    LeaveCriticalSection(&handle->lock);
    return connected;
}

// Lists all objects of a type.
inline opal_status list(opal_handle handle, const char* type, std::vector<opal_objid>& objects) {
    opal_objid* ids = nullptr;
    uint32_t count = 0;
    const opal_status status =
        DbGetObjects(handle->connection, handle->connection_context, type, &ids, &count);
    if (status == ZTSTATUS_OK) {
        objects.assign(ids, ids + count);
        _ZtFree(ids);
    }
    return status;
}

// Calls DGOP_IMPORT or DGOP_DEPORT on the disk group with GUID "g1".
inline opal_status call_group_method(opal_handle handle, const opal_objid& group, uint32_t method) {
    opal_propset input = nullptr;
    opal_status status = PsCreatePropset(&input);
    if (status != ZTSTATUS_OK) {
        return status;
    }
    const char guid[] = "g1";
    const uint32_t flags = 0;
    const opal_property properties[] = {{"dgid", TYPE_STR, 1, sizeof guid, guid},
                                        {"Opflag", TYPE_UINT32, 1, sizeof flags, &flags}};
    for (const opal_property& property : properties) {
        if (status == ZTSTATUS_OK) {
            status = PsAddProperty(input, &property);
        }
    }
    if (status == ZTSTATUS_OK) {
        status =
            PrCallDispatch(handle->connection, &group, &zt_volume_manager_interface, ZTMETHOD_MAJOR,
                           method, input, nullptr, 0, 0, 0, 0, nullptr, nullptr);
    }
    PsDestroyPropset(input);
    return status;
}

// Calls a method without parameters on the cluster-service object.
inline opal_status call_service_method(opal_handle handle, uint32_t method) {
    std::vector<opal_objid> services;
    const opal_status status = list(handle, ZTTYPE_CLUSTER_SERVICE, services);
    if (status != ZTSTATUS_OK || services.empty()) {
        return status != ZTSTATUS_OK ? status : ZTERROR_UNKNOWN_OBJECT;
    }
    return PrCallDispatch(handle->connection, &services.front(), &zt_volume_manager_interface,
                          ZTMETHOD_MAJOR, method, nullptr, nullptr, 0, 0, 0, 0, nullptr, nullptr);
}

// The same on the service's first disk group.
inline opal_status call_group_method(opal_handle handle, uint32_t method) {
    std::vector<opal_objid> groups;
    const opal_status status = list(handle, ZTTYPE_DISK_GROUP, groups);
    if (status != ZTSTATUS_OK || groups.empty()) {
        return status != ZTSTATUS_OK ? status : ZTERROR_UNKNOWN_OBJECT;
    }
    return call_group_method(handle, groups.front(), method);
}

}  // namespace support
