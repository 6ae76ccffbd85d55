// Names for the numbers and strings that tests expect of the service, the bus and the kernel
// devices.
//
// They are written by hand from the descriptions of those interfaces and are deliberately not taken
// from the headers that the library is built with: a wrong number there makes a test fail.
#pragma once

#include "support/hex.h"

#include <cstdint>

namespace support {

// ---------------------------------------------------------------- statuses

// Statuses of the bus.
inline constexpr std::uint32_t bus_success = 0;
inline constexpr std::uint32_t bus_same_value = 0x41000012;     // informational, a success
inline constexpr std::uint32_t bus_informational = 0x41000013;  // has no meaning; a success
inline constexpr std::uint32_t bus_warning = 0x81000001;        // has no meaning; a success
inline constexpr std::uint32_t bus_provider_failed = 0xc1000001;
inline constexpr std::uint32_t bus_null_object = 0xc1000010;
inline constexpr std::uint32_t bus_no_property = 0xc100003a;  // missing, or of another type
inline constexpr std::uint32_t bus_shutting_down = 0xc10000c9;
inline constexpr std::uint32_t bus_invalid_argument = 0xc1000101;
inline constexpr std::uint32_t bus_no_memory = 0xc1000102;
inline constexpr std::uint32_t bus_not_connected = 0xc1000103;
inline constexpr std::uint32_t bus_unknown_object = 0xc1000104;
inline constexpr std::uint32_t bus_bad_query = 0xc1000106;

// Statuses of the service.
inline constexpr std::uint32_t service_already_started = 0xe5150047;  // the node
inline constexpr std::uint32_t service_already_online = 0xe515007a;   // the disk group
inline constexpr std::uint32_t service_no_such_group = 0xe5150101;
inline constexpr std::uint32_t service_not_imported = 0xe5150102;
inline constexpr std::uint32_t service_no_such_volume = 0xe5150103;
inline constexpr std::uint32_t service_missing_parameter = 0xe5150104;
inline constexpr std::uint32_t service_name_taken = 0xe5150105;
inline constexpr std::uint32_t service_no_identifier = 0xe5150106;
inline constexpr std::uint32_t service_node_not_running = 0xe5150107;
inline constexpr std::uint32_t service_volume_broken = 0xe5150108;
inline constexpr std::uint32_t service_no_drive_letter = 0xe5150109;
inline constexpr std::uint32_t service_reservation_conflict = 0xe515010a;
inline constexpr std::uint32_t service_not_reserved = 0xe515010b;
inline constexpr std::uint32_t service_node_busy = 0xe515010c;
inline constexpr std::uint32_t service_no_node = 0xe515010d;

// Statuses that carry an error of the system.
inline constexpr std::uint32_t system_file_not_found = 0x80070002;
inline constexpr std::uint32_t system_path_not_found = 0x80070003;
inline constexpr std::uint32_t system_access_denied = 0x80070005;
inline constexpr std::uint32_t system_folder_not_empty = 0x80070091;
inline constexpr std::uint32_t system_more_data = 0x800700ea;      // does not fit into the buffer
inline constexpr std::uint32_t system_informational = 0x00070005;  // a success

// Failures without a meaning: one has no facility, the other is one of the service.
inline constexpr std::uint32_t unknown_failure = 0x2a;
inline constexpr std::uint32_t unknown_service_failure = 0xe5150199;

// Native statuses of the kernel devices; as an NTSTATUS, signed.
namespace native {
inline constexpr std::int32_t success = 0;
inline constexpr std::int32_t pending = 0x00000103;
inline constexpr std::int32_t object_name_exists = 0x40000000;  // informational
inline constexpr std::int32_t buffer_overflow = static_cast<std::int32_t>(0x80000005);  // a warning
inline constexpr std::int32_t unsuccessful = static_cast<std::int32_t>(0xC0000001);
inline constexpr std::int32_t invalid_handle = static_cast<std::int32_t>(0xC0000008);
inline constexpr std::int32_t invalid_parameter = static_cast<std::int32_t>(0xC000000D);
inline constexpr std::int32_t no_such_device = static_cast<std::int32_t>(0xC000000E);
inline constexpr std::int32_t invalid_device_request = static_cast<std::int32_t>(0xC0000010);
inline constexpr std::int32_t access_denied = static_cast<std::int32_t>(0xC0000022);
inline constexpr std::int32_t buffer_too_small = static_cast<std::int32_t>(0xC0000023);
inline constexpr std::int32_t object_name_not_found = static_cast<std::int32_t>(0xC0000034);
inline constexpr std::int32_t object_path_not_found = static_cast<std::int32_t>(0xC000003A);
inline constexpr std::int32_t sharing_violation = static_cast<std::int32_t>(0xC0000043);
inline constexpr std::int32_t insufficient_resources = static_cast<std::int32_t>(0xC000009A);
inline constexpr std::int32_t invalid_buffer_size = static_cast<std::int32_t>(0xC0000206);
}  // namespace native

// A native status as the lab's functions for devices take and return it.
constexpr std::uint32_t native_bits(std::int32_t status) {
    return static_cast<std::uint32_t>(status);
}

// ----------------------------------------------------------------- objects

// Type names of the service's objects.
namespace object_type {
inline constexpr char disk_group[] = "tamo_ztvm_diskgroup";
inline constexpr char volume[] = "tamo_ztvm_volume";
inline constexpr char disk[] = "tamo_ztvm_disk";
inline constexpr char plex[] = "tamo_ztvm_plex";
inline constexpr char subdisk[] = "tamo_ztvm_subdisk";
inline constexpr char file_system[] = "tamo_fs_nt";
inline constexpr char misc[] = "tamo_ztvm_misc";
inline constexpr char cluster_service[] = "solvane_cluster_service";
}  // namespace object_type

// Values of a disk group's "LDM DG TYPE".
namespace group_type {
inline constexpr std::uint32_t excluded_0 = 0;  // no function finds such a group
inline constexpr std::uint32_t local = 1;       // like every number without a name here
inline constexpr std::uint32_t cluster = 2;
inline constexpr std::uint32_t excluded_7 = 7;  // no function finds such a group
inline constexpr std::uint32_t cluster_shared = 8;
}  // namespace group_type

// Values of a volume's "ztvmstate".
namespace volume_state {
inline constexpr std::uint32_t online = 0;
inline constexpr std::uint32_t offline = 0x20;
}  // namespace volume_state

// ----------------------------------------------------------------- methods

inline constexpr char volume_manager_methods[] = "{61678c9a-1dd2-11b2-9623-0800209ead9c}";
inline constexpr char cluster_methods[] = "{375ec58d-475e-4658-3bcd-61c7483a4fc6}";
inline constexpr char mount_methods[] = "{2f0eafcd-7b86-4f9b-bd98-d61ce4211f8f}";

// A method of the service: its interface id as the recorder writes it, and its number.
struct Method {
    const char* interface_id;
    std::uint32_t minor;
};

namespace method {
inline constexpr Method deport_group{volume_manager_methods, 2001};
inline constexpr Method import_group{volume_manager_methods, 2003};
inline constexpr Method set_fast_failover_flag{volume_manager_methods, 2027};
inline constexpr Method set_cluster_service_state{volume_manager_methods, 2028};
inline constexpr Method update_mount_path{volume_manager_methods, 3041};
inline constexpr Method rescan_disks{volume_manager_methods, 6054};
inline constexpr Method start_node{volume_manager_methods, 6058};
inline constexpr Method stop_node{volume_manager_methods, 6059};
inline constexpr Method get_node_state{volume_manager_methods, 6060};
inline constexpr Method online_volume{volume_manager_methods, 6063};
inline constexpr Method offline_volume{volume_manager_methods, 6064};
inline constexpr Method get_group_guid{cluster_methods, 1};
inline constexpr Method arbitrate{cluster_methods, 2};
inline constexpr Method stop_reservation{cluster_methods, 4};
inline constexpr Method get_reservation_status{cluster_methods, 5};
inline constexpr Method get_volume_guid{cluster_methods, 11};
inline constexpr Method get_disk_availability{cluster_methods, 13};
inline constexpr Method get_mount_points{mount_methods, 8006};
inline constexpr Method get_drive_letter{mount_methods, 8007};
}  // namespace method

// ---------------------------------------------------------- kernel devices

// Control codes of the requests to the volume manager's driver.
namespace control_code {
inline constexpr std::uint32_t query_reservation = 0xd903f02c;
inline constexpr std::uint32_t release_reservation = 0xd903f034;
inline constexpr std::uint32_t query_group_state = 0xd903f080;
inline constexpr std::uint32_t query_volume_status = 0xd903f0c8;
inline constexpr std::uint32_t report_volume_offline = 0xd903f0cc;
}  // namespace control_code

}  // namespace support
