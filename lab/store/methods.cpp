#include "store/methods.h"

#include <span>

namespace lab {
namespace {

struct Method {
    const char* name;
    std::uint32_t minor;
    const char* target_type;
    MethodHandler handler;
};

constexpr Method volume_manager_methods[] = {
    {"DGOP_DEPORT", ZTMETHOD_DGOP_DEPORT, ZTTYPE_DISK_GROUP, deport_group},
    {"DGOP_IMPORT", ZTMETHOD_DGOP_IMPORT, ZTTYPE_CLUSTER_SERVICE, import_group},
    {"DGOP_IMPORT", ZTMETHOD_DGOP_IMPORT, ZTTYPE_DISK_GROUP, import_group},
    {"DGOP_SETFASTFAILOVERFLAG", ZTMETHOD_DGOP_SETFASTFAILOVERFLAG, ZTTYPE_DISK_GROUP,
     set_fast_failover},
    {"DGOP_CLUSTERSERVICESTATE", ZTMETHOD_DGOP_CLUSTERSERVICESTATE, ZTTYPE_CLUSTER_SERVICE,
     set_cluster_service_state},
    {"MISCOP_UPDATE_MOUNTPATH", ZTMETHOD_MISCOP_UPDATE_MOUNTPATH, ZTTYPE_VOLUME,
     refresh_mount_path},
    {"MISCOP_PNP_RESCAN", ZTMETHOD_MISCOP_PNP_RESCAN, ZTTYPE_CLUSTER_SERVICE, rescan_disks},
    {"MISCOP_STARTNODE", ZTMETHOD_MISCOP_STARTNODE, ZTTYPE_CLUSTER_SERVICE, start_node},
    {"MISCOP_STOPNODE", ZTMETHOD_MISCOP_STOPNODE, ZTTYPE_CLUSTER_SERVICE, stop_node},
    {"MISCOP_GETNODESTATE", ZTMETHOD_MISCOP_GETNODESTATE, ZTTYPE_CLUSTER_SERVICE, get_node_state},
    {"MISCOP_VOLUMEONLINE", ZTMETHOD_MISCOP_VOLUMEONLINE, ZTTYPE_CLUSTER_SERVICE, online_volume},
    {"MISCOP_VOLUMEOFFLINE", ZTMETHOD_MISCOP_VOLUMEOFFLINE, ZTTYPE_CLUSTER_SERVICE, offline_volume},
};

constexpr Method cluster_service_methods[] = {
    {"CLUSSVCOP_GETDGGUID", ZTMETHOD_CLUSSVCOP_GETDGGUID, ZTTYPE_CLUSTER_SERVICE, get_group_guid},
    {"CLUSSVCOP_ARBITRATEDG", ZTMETHOD_CLUSSVCOP_ARBITRATEDG, ZTTYPE_CLUSTER_SERVICE, arbitrate},
    {"CLUSSVCOP_OFFLINEDG", ZTMETHOD_CLUSSVCOP_OFFLINEDG, ZTTYPE_CLUSTER_SERVICE, stop_reservation},
    {"CLUSSVCOP_GETDGSTATUS", ZTMETHOD_CLUSSVCOP_GETDGSTATUS, ZTTYPE_CLUSTER_SERVICE,
     get_reservation},
    {"CLUSSVCOP_GETVOLUMEGUID", ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID, ZTTYPE_CLUSTER_SERVICE,
     get_volume_guid},
    {"CLUSSVCOP_DISKAVAIB", ZTMETHOD_CLUSSVCOP_DISKAVAIB, ZTTYPE_CLUSTER_SERVICE, count_disks},
};

constexpr Method mount_manager_methods[] = {
    {"MNTOP_GET_ALL_MOUNTPOINTS", ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS, ZTTYPE_VOLUME,
     get_mount_points},
    {"MNTOP_GET_DRIVE_LETTER", ZTMETHOD_MNTOP_GET_DRIVE_LETTER, ZTTYPE_VOLUME, get_drive_letter},
};

std::span<const Method> methods_of(const GUID& interface_id) {
    if (IsEqualGUID(interface_id, zt_volume_manager_interface)) {
        return volume_manager_methods;
    }
    if (IsEqualGUID(interface_id, zt_cluster_service_interface)) {
        return cluster_service_methods;
    }
    if (IsEqualGUID(interface_id, zt_mount_manager_interface)) {
        return mount_manager_methods;
    }
    return {};
}

}  // namespace

MethodHandler find_method(const GUID& interface_id, std::uint32_t major, std::uint32_t minor,
                          const std::string& target_type) {
    for (const Method& method : methods_of(interface_id)) {
        if (major == ZTMETHOD_MAJOR && minor == method.minor && target_type == method.target_type) {
            return method.handler;
        }
    }
    return nullptr;
}

const char* method_name(const GUID& interface_id, std::uint32_t major, std::uint32_t minor) {
    for (const Method& method : methods_of(interface_id)) {
        if (major == ZTMETHOD_MAJOR && minor == method.minor) {
            return method.name;
        }
    }
    return nullptr;
}

}  // namespace lab
