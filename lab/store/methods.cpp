#include "store/methods.h"

#include <span>

namespace lab {
namespace {

struct Method {
    std::uint32_t minor;
    const char* target_type;
    MethodHandler handler;
};

constexpr Method volume_manager_methods[] = {
    {ZTMETHOD_DGOP_DEPORT, ZTTYPE_DISK_GROUP, deport_group},
    {ZTMETHOD_DGOP_IMPORT, ZTTYPE_CLUSTER_SERVICE, import_group},
    {ZTMETHOD_DGOP_IMPORT, ZTTYPE_DISK_GROUP, import_group},
    {ZTMETHOD_DGOP_SETFASTFAILOVERFLAG, ZTTYPE_DISK_GROUP, set_fast_failover},
    {ZTMETHOD_DGOP_CLUSTERSERVICESTATE, ZTTYPE_CLUSTER_SERVICE, set_cluster_service_state},
    {ZTMETHOD_MISCOP_UPDATE_MOUNTPATH, ZTTYPE_VOLUME, refresh_mount_path},
    {ZTMETHOD_MISCOP_PNP_RESCAN, ZTTYPE_CLUSTER_SERVICE, rescan_disks},
    {ZTMETHOD_MISCOP_STARTNODE, ZTTYPE_CLUSTER_SERVICE, start_node},
    {ZTMETHOD_MISCOP_STOPNODE, ZTTYPE_CLUSTER_SERVICE, stop_node},
    {ZTMETHOD_MISCOP_GETNODESTATE, ZTTYPE_CLUSTER_SERVICE, get_node_state},
    {ZTMETHOD_MISCOP_VOLUMEONLINE, ZTTYPE_CLUSTER_SERVICE, online_volume},
    {ZTMETHOD_MISCOP_VOLUMEOFFLINE, ZTTYPE_CLUSTER_SERVICE, offline_volume},
};

constexpr Method cluster_service_methods[] = {
    {ZTMETHOD_CLUSSVCOP_GETDGGUID, ZTTYPE_CLUSTER_SERVICE, get_group_guid},
    {ZTMETHOD_CLUSSVCOP_ARBITRATEDG, ZTTYPE_CLUSTER_SERVICE, arbitrate},
    {ZTMETHOD_CLUSSVCOP_OFFLINEDG, ZTTYPE_CLUSTER_SERVICE, stop_reservation},
    {ZTMETHOD_CLUSSVCOP_GETDGSTATUS, ZTTYPE_CLUSTER_SERVICE, get_reservation},
    {ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID, ZTTYPE_CLUSTER_SERVICE, get_volume_guid},
    {ZTMETHOD_CLUSSVCOP_DISKAVAIB, ZTTYPE_CLUSTER_SERVICE, count_disks},
};

constexpr Method mount_manager_methods[] = {
    {ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS, ZTTYPE_VOLUME, get_mount_points},
    {ZTMETHOD_MNTOP_GET_DRIVE_LETTER, ZTTYPE_VOLUME, get_drive_letter},
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

}  // namespace lab
