#include "methods.h"

namespace lab {
namespace {

struct Row {
    const GUID* interface_id;
    std::uint32_t minor;
    const char* target_type;
    MethodHandler handler;
};

// Every method has the major number 0.
constexpr Row methods[] = {
    {&volume_manager_operations, 2001, group_type, deport_group},
    {&volume_manager_operations, 2003, service_type, import_group},
    {&volume_manager_operations, 2003, group_type, import_group},
    {&volume_manager_operations, 2027, group_type, set_fast_failover},
    {&volume_manager_operations, 2028, service_type, set_cluster_service_state},
    {&volume_manager_operations, 3041, volume_type, refresh_mount_path},
    {&volume_manager_operations, 6054, service_type, rescan_disks},
    {&volume_manager_operations, 6058, service_type, start_node},
    {&volume_manager_operations, 6059, service_type, stop_node},
    {&volume_manager_operations, 6060, service_type, get_node_state},
    {&volume_manager_operations, 6063, service_type, online_volume},
    {&volume_manager_operations, 6064, service_type, offline_volume},
    {&cluster_service_interface, 1, service_type, get_group_guid},
    {&cluster_service_interface, 2, service_type, arbitrate},
    {&cluster_service_interface, 4, service_type, stop_reservation},
    {&cluster_service_interface, 5, service_type, get_reservation},
    {&cluster_service_interface, 11, service_type, get_volume_guid},
    {&cluster_service_interface, 13, service_type, count_disks},
    {&mount_manager_interface, 8006, volume_type, get_mount_points},
    {&mount_manager_interface, 8007, volume_type, get_drive_letter},
};

}  // namespace

MethodHandler find_method(const GUID& interface_id, std::uint32_t major, std::uint32_t minor,
                          const std::string& target_type) {
    for (const Row& row : methods) {
        if (major == 0 && row.minor == minor && target_type == row.target_type &&
            IsEqualGUID(*row.interface_id, interface_id)) {
            return row.handler;
        }
    }
    return nullptr;
}

}  // namespace lab
