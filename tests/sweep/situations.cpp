#include "sweep/situations.h"

#include "farlo.h"
#include "support/service_names.h"
#include "sweep/machine.h"

#include <winioctl.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <utility>

using namespace support;

namespace sweep {
namespace {

using Kind = Argument::Kind;

// Limits of the interface's strings, in characters.
constexpr std::size_t group_limit = 31;
constexpr std::size_t path_limit = 259;
constexpr std::size_t guid_limit = 64;
constexpr std::size_t no_limit = 0;

const Argument handle{Kind::handle};
const Argument empty_slot{Kind::empty_slot};
const Argument disconnected_slot{Kind::disconnected_slot};
const Argument own_handle{Kind::own_handle};
const Argument sixteen_bytes{Kind::bytes};
const Argument callback{Kind::callback};
const Argument folder{Kind::folder};
const Argument no_name{};
const Argument no_guid{};
const Argument no_records{};

Argument narrow(const char* string, std::size_t limit = group_limit) {
    return {.kind = Kind::narrow, .string = string, .limit = limit};
}
Argument wide(const char* string, std::size_t limit = no_limit) {
    return {.kind = Kind::wide, .string = string, .limit = limit};
}
Argument guid(const char* string, std::size_t limit = guid_limit) {
    return {.kind = Kind::narrow, .string = string, .limit = limit};
}
// A string that is only looked up: one beyond the limit is not found.
Argument looked_up(Argument argument) {
    argument.refused_beyond_limit = false;
    return argument;
}
Argument output(std::size_t size) {
    return {.kind = Kind::output, .size = size};
}
Argument output_even_on_failure(std::size_t size) {
    return {.kind = Kind::output, .size = size, .written_on_failure = true};
}
Argument in_out(std::uint32_t value) {
    return {.kind = Kind::in_out, .number = value, .size = sizeof value};
}
Argument name_list(std::size_t size) {
    return {.kind = Kind::name_list, .size = size, .written_on_failure = true};
}
// The number of names is written before the names.
Argument name_count() {
    return output_even_on_failure(sizeof(std::uint32_t));
}
Argument number(std::uint64_t value) {
    return {.kind = Kind::number, .number = value};
}

using Statuses = std::vector<std::uint32_t>;

// The statuses, and those of every export that takes a handle.
Statuses with_handle(Statuses statuses) {
    statuses.insert(statuses.end(), {FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED});
    return statuses;
}

// The connection exports make connections of their own.
const Contract connect = {.statuses = {FARLO_NOT_CONNECTED}, .when_disconnected = {FARLO_SUCCESS}};
const Contract disconnect = {.statuses = {FARLO_UNINITIALIZE_FAILED},
                             .only_zero_succeeds = true,
                             .without_line = {FARLO_UNINITIALIZE_FAILED}};
const Contract register_alerts = {.service_statuses = true,
                                  .null_handle = FARLO_SUCCESS,
                                  .when_disconnected = {bus_not_connected}};
const Contract flag = {.returns_flag = true, .rechecks_connection = false};

// GetDgGuid: the search for a group's GUID by its name.
const Contract group_guid = {
    .statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE,
                             FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT}),
    .service_statuses = true,
    .rechecks_connection = false};
const Contract group_names = {
    .statuses = with_handle({FARLO_BUFFER_TOO_SMALL, FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION}),
    .without_line = {FARLO_BUFFER_TOO_SMALL},
    .refused_without_line = {FARLO_MISSING_ARGUMENT}};
const Contract group_name = {.statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND,
                                                      FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION})};
// A group that is not imported is reported by the status alone.
const Contract volume_guid_w = {
    .statuses = with_handle({FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
                             FARLO_NOT_FOUND, FARLO_VOLUME_NOT_FOUND, FARLO_NO_CLUSTER_SERVICE,
                             FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION}),
    .only_zero_succeeds = true,
    .without_line = {FARLO_EXCEPTION},
    .refused_without_line = {FARLO_NOT_FOUND}};
const Contract volume_guid_a = {.statuses = {FARLO_NO_VOLUME_GUID, FARLO_INVALID_ARGUMENT},
                                .only_zero_succeeds = true,
                                .null_handle = FARLO_NO_VOLUME_GUID,
                                .when_disconnected = {FARLO_NO_VOLUME_GUID}};

const Contract import = {
    .statuses = with_handle({FARLO_ALREADY_IMPORTED, FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION,
                             FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT, FARLO_EXCLUDED_TYPE,
                             FARLO_NO_CLUSTER_SERVICE, FARLO_NOT_FOUND}),
    .service_statuses = true};
const Contract deport = {
    .statuses = with_handle({FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT,
                             FARLO_INVALID_ARGUMENT, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE,
                             FARLO_NOT_FOUND}),
    .service_statuses = true};

const Contract& reserve = import;
const Contract reservation_status = {
    .statuses = with_handle({FARLO_NOT_FOUND, FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED,
                             FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
                             FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION}),
    .service_statuses = true,
    .rechecks_connection = false};
// The driver is asked without a handle.
const Contract driver_reservation_status = [] {
    Contract contract = reservation_status;
    contract.null_handle = FARLO_SUCCESS;
    return contract;
}();
const Contract release = {.statuses = {FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT,
                                       FARLO_NO_GUID_MEMORY, FARLO_NOT_FOUND,
                                       FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED}};

const Contract group_state = {
    .statuses =
        with_handle({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCEPTION, FARLO_NO_GUID_MEMORY,
                     FARLO_INVALID_ARGUMENT, FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED,
                     FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE}),
    .service_statuses = true};
const Contract group_state_ex = {
    .statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCEPTION})};
// The state is delivered even when the connection was lost.
const Contract disk_state = {.statuses =
                                 with_handle({FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT}),
                             .when_disconnected = {FARLO_SUCCESS}};
const Contract disk_availability = {
    .statuses = with_handle({availability_failed, FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION,
                             FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
                             FARLO_NO_CLUSTER_SERVICE, FARLO_EXCLUDED_TYPE}),
    .service_statuses = true,
    .only_zero_succeeds = true,
    .without_line = {availability_failed, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE,
                     FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION},
    .refused_without_line = {FARLO_NULL_HANDLE, FARLO_MISSING_ARGUMENT}};
const Contract plex_states = {
    .statuses = with_handle({FARLO_PROVIDER_FAILED, FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND,
                             FARLO_INVALID_ARGUMENT, FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION}),
    .without_line = {FARLO_EXCEPTION},
    .refused_without_line = {FARLO_NULL_HANDLE, FARLO_PROVIDER_FAILED},
    .rechecks_connection = false};
const Contract fast_failover = {
    .statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCEPTION}),
    .service_statuses = true};
const Contract node = {.statuses = with_handle({FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION}),
                       .service_statuses = true};
const Contract service_state = {.statuses =
                                    with_handle({FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION}),
                                .service_statuses = true,
                                .rechecks_connection = false};
const Contract node_state = {
    .statuses = with_handle({FARLO_NO_CLUSTER_SERVICE, FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION}),
    .service_statuses = true};

// It may replace the lost connection.
const Contract online_volume = {
    .statuses = with_handle({FARLO_INVALID_ARGUMENT, FARLO_PROVIDER_FAILED, FARLO_EXCEPTION,
                             FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE,
                             FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT}),
    .service_statuses = true,
    .system_errors = true,
    .when_disconnected = {FARLO_NOT_CONNECTED, FARLO_SUCCESS}};
const Contract offline_volume = {
    .statuses = with_handle({FARLO_INVALID_ARGUMENT, FARLO_PROVIDER_FAILED, FARLO_EXCEPTION,
                             FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE}),
    .service_statuses = true};
const Contract dismount = {.statuses = {FARLO_INVALID_ARGUMENT, FARLO_DEVICE_SHARING_VIOLATION,
                                        FARLO_DEVICE_UNSUCCESSFUL, FARLO_NOT_FOUND,
                                        FARLO_MISSING_ARGUMENT, FARLO_DEVICE_FAILED},
                           .system_errors = true};
const Contract mount_path = {
    .statuses = with_handle({FARLO_PROVIDER_FAILED, FARLO_INVALID_ARGUMENT, FARLO_EXCEPTION}),
    .service_statuses = true,
    .without_line = {FARLO_EXCEPTION, FARLO_NOT_CONNECTED},
    .refused_without_line = {FARLO_PROVIDER_FAILED}};
const Contract serial_number = {
    .statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT, FARLO_NOT_FOUND,
                             FARLO_BUFFER_TOO_SMALL, FARLO_VOLUME_NOT_FOUND, FARLO_EXCEPTION})};
const Contract disk_layout = {.statuses = {FARLO_INVALID_ARGUMENT, FARLO_OUT_OF_MEMORY},
                              .system_errors = true};
const Contract first_disk = {.statuses =
                                 with_handle({FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION,
                                              FARLO_INVALID_ARGUMENT, FARLO_OUT_OF_MEMORY}),
                             .system_errors = true,
                             .without_line = {FARLO_EXCEPTION},
                             .refused_without_line = {FARLO_NOT_FOUND},
                             .rechecks_connection = false};
const Contract shared_guid = {.statuses = with_handle({FARLO_INVALID_ARGUMENT, FARLO_OUT_OF_MEMORY,
                                                       FARLO_PROVIDER_FAILED, FARLO_EXCEPTION}),
                              .service_statuses = true};
const Contract vmms_folder = {.statuses = {FARLO_PROVIDER_FAILED, FARLO_INVALID_ARGUMENT},
                              .system_errors = true};

const Contract record = {
    .statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_BUFFER_TOO_SMALL,
                             FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT})};
const Contract volume_record = {
    .statuses = with_handle({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_BUFFER_TOO_SMALL,
                             FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT, FARLO_VOLUME_NOT_FOUND})};
const Contract unusable_volumes = {.statuses = volume_record.statuses,
                                   .without_line = {FARLO_EXCEPTION, FARLO_NOT_CONNECTED}};
// The handle is checked late.
const Contract volume_status = {.statuses = {FARLO_SUCCESS, FARLO_DEVICE_UNSUCCESSFUL,
                                             FARLO_DEVICE_SHARING_VIOLATION, FARLO_NOT_FOUND,
                                             FARLO_MISSING_ARGUMENT, FARLO_DEVICE_FAILED,
                                             FARLO_INVALID_ARGUMENT, FARLO_NOT_CONNECTED},
                                .null_handle = FARLO_NOT_CONNECTED};

const Argument no_options = number(0);
const Argument all_options = number(0xFFFFFFFF);
const Argument no_time_limit = number(INFINITE);
const Argument guid_buffer = output(FARLO_GUID_TEXT_SIZE);
constexpr std::uint32_t yes = 1;  // a flag's
constexpr DWORD ask_service = 2;  // the registry value's
constexpr char v1[] = "\\Device\\v1";
constexpr char shared_off[] = "\\Device\\s-off";
constexpr char shared_on[] = "\\Device\\s-on";
constexpr std::size_t volume_size = sizeof(VolInfo);
constexpr std::size_t group_size = sizeof(DgInfo) + 2 * sizeof(DgDiskInfo) + 2 * volume_size;
// The first volume's record: one disk. Four bytes more than the size are written.
constexpr std::size_t volume_prop_size = sizeof(VolPropInfo) + sizeof(DgDiskInfo) + volume_size;
constexpr std::size_t light_size = sizeof(DgVolInfo) + 4 + 2 * volume_size;
constexpr std::size_t disks_size = sizeof(DgDiskList) + 2 * sizeof(DgDiskInfo);

const std::vector<Situation> table = {
    {"connects", "InitializeClusterW", {empty_slot}, connect},
    {"connects", "InitializeClusterA", {narrow("x", no_limit), number(0), empty_slot}, connect},
    {"connects", "ValidateClusterA", {empty_slot}, connect},
    {"connects", "ValidateClusterW", {empty_slot}, connect},
    {"reconnects", "ValidateClusterW", {disconnected_slot}, connect},
    {"disconnects", "UnInitializeClusterA", {own_handle}, disconnect},
    {"disconnects", "UnInitializeClusterW", {own_handle}, disconnect},
    {"registers", "RegisterForAlerts", {handle, callback}, register_alerts},

    {"finds", "GetDgGuidA", {handle, narrow("dgc"), guid_buffer}, group_guid},
    {"finds", "GetDgGuidW", {handle, wide("dgc"), guid_buffer}, group_guid},
    {"rescans", "GetDgGuidW", {handle, wide("late"), guid_buffer}, group_guid},
    {"finds", "GetNonClusterDgGuidA", {handle, narrow("dgl"), guid_buffer}, group_guid},
    {"finds", "GetNonClusterDgGuidW", {handle, wide("dgl"), guid_buffer}, group_guid},
    {"lists", "GetDgNameListA", {handle, name_list(4), in_out(4), name_count()}, group_names},
    {"lists", "GetDgNameListW", {handle, name_list(8), in_out(8), name_count()}, group_names},
    {"asks the size",
     "GetDgNameListW",
     {handle, name_list(64), in_out(0), name_count()},
     group_names,
     FARLO_BUFFER_TOO_SMALL},
    {"lists",
     "GetNonClusterDgNameListA",
     {handle, name_list(8), in_out(8), name_count()},
     group_names},
    {"lists",
     "GetNonClusterDgNameListW",
     {handle, name_list(16), in_out(16), name_count()},
     group_names},
    {"finds",
     "GetDgNameW",
     {handle, guid("guid-c", no_limit), output(FARLO_NAME_SIZE * sizeof(wchar_t))},
     group_name},
    {"by GUID",
     "GetDgVolumeGuidA",
     {handle, no_name, guid("guid-c"), narrow(v1), guid_buffer},
     volume_guid_a},
    {"by GUID",
     "GetDgVolumeGuidW",
     {handle, no_name, guid("guid-c"), wide(v1), guid_buffer},
     volume_guid_w},
    {"by name",
     "GetDgVolumeGuidW",
     {handle, wide("dgc"), no_guid, wide(v1), guid_buffer},
     volume_guid_w},

    {"by GUID",
     "OnlineDgExA",
     {handle, narrow("dgo"), guid("guid-o"), no_name, no_options, number(0)},
     import},
    {"by GUID",
     "OnlineDgExW",
     {handle, wide("dgo"), guid("guid-o"), no_name, no_options, number(0)},
     import},
    {"by name",
     "OnlineDgExW",
     {handle, wide("dgo"), no_guid, wide("new"), no_options, number(0)},
     import},
    {"shared",
     "OnlineDgExW",
     {handle, wide("dgo"), no_guid, no_name, number(FARLO_ONLINE_SHARED), number(0)},
     import},
    {"by name", "OnlineDgA", {handle, narrow("dgo"), no_guid, narrow("new"), no_options}, import},
    {"by name", "OnlineDgW", {handle, wide("dgo"), no_guid, wide("new"), no_options}, import},
    {"by GUID",
     "ImportDgA",
     {handle, narrow("dgo"), guid("guid-o"), narrow("new"), no_options},
     import},
    {"by GUID",
     "ImportDgW",
     {handle, wide("dgo"), guid("guid-o"), wide("new"), all_options},
     import},
    {"by name", "ImportDgW", {handle, wide("dgo"), no_guid, no_name, no_options}, import},
    {"by name", "OfflineDgA", {handle, narrow("dgc"), no_guid, no_options}, deport},
    {"by name", "OfflineDgW", {handle, wide("dgc"), no_guid, no_options}, deport},
    {"by GUID",
     "OfflineDgW",
     {handle, wide("dgc"), guid("guid-c"), number(FARLO_OFFLINE_NO_NAME_CHECK)},
     deport},
    {"by name", "DeportDgA", {handle, narrow("dgc"), no_guid}, deport},
    {"by name", "DeportDgW", {handle, wide("dgc"), no_guid}, deport},
    {"by GUID", "DeportDgW", {handle, no_name, guid("guid-c")}, deport},

    {"by name", "ArbitrateDgA", {handle, narrow("dgc"), no_guid}, reserve},
    {"by GUID", "ArbitrateDgW", {handle, no_name, guid("guid-c")}, reserve},
    {"by name", "ArbitrateDgW", {handle, wide("dgc"), no_guid}, reserve},
    {"by name", "StopDgReservationA", {handle, narrow("dgc"), no_guid}, reserve},
    {"by GUID", "StopDgReservationW", {handle, no_name, guid("guid-c")}, reserve},
    {"by name", "StopDgReservationW", {handle, wide("dgc"), no_guid}, reserve},
    {"by driver",
     "GetDgReservationStatusA",
     {handle, narrow("dgc"), no_guid, output_even_on_failure(4)},
     reservation_status},
    {"by driver",
     "GetDgReservationStatusW",
     {handle, no_name, guid("guid-c"), output_even_on_failure(4)},
     driver_reservation_status},
    {"by service",
     "GetDgReservationStatusW",
     {handle, wide("dgc"), no_guid, output(4)},
     reservation_status,
     FARLO_SUCCESS,
     {.support_scsi3 = ask_service}},
    {"releases", "ReleaseDgW", {guid("guid-c", 255)}, release},

    {"by name", "GetDgStateA", {handle, narrow("dgc"), no_guid, output(1)}, group_state},
    {"by GUID", "GetDgStateW", {handle, no_name, guid("guid-c"), output(1)}, group_state},
    {"by name", "GetDgStateW", {handle, wide("dgl"), no_guid, output(1)}, group_state},
    {"by GUID",
     "GetDgStateExW",
     {handle, no_name, guid("guid-c", no_limit), output(1)},
     group_state_ex},
    {"finds", "GetDiskStateA", {handle, narrow("d2"), output_even_on_failure(4)}, disk_state},
    {"finds", "GetDiskStateW", {handle, wide("d2"), output_even_on_failure(4)}, disk_state},
    {"by name",
     "GetDgDiskAvailabilityA",
     {handle, narrow("dgc"), no_guid, output(4), output(4)},
     disk_availability},
    {"by GUID",
     "GetDgDiskAvailabilityW",
     {handle, no_name, guid("guid-c"), output(4), output(4)},
     disk_availability},
    {"fills",
     "GetDgVolPlexStatesA",
     {handle, narrow("dgc", no_limit), no_guid, narrow(v1, no_limit), output_even_on_failure(4),
      output(2 * sizeof(farlo_plex_state))},
     plex_states},
    {"fills",
     "GetDgVolPlexStatesW",
     {handle, no_name, guid("guid-c", no_limit), wide(v1), output_even_on_failure(4),
      output(2 * sizeof(farlo_plex_state))},
     plex_states},
    {"asks the number",
     "GetDgVolPlexStatesW",
     {handle, no_name, guid("guid-c", no_limit), wide(v1), output_even_on_failure(4), no_records},
     plex_states,
     FARLO_BUFFER_TOO_SMALL},
    {"sets", "SetFastFailoverFlagW", {handle, wide("dgc"), no_guid, number(1)}, fast_failover},
    {"reports", "ClusterServiceStateA", {handle, number(1)}, service_state},
    {"reports", "ClusterServiceStateW", {handle, number(1)}, service_state},
    {"starts", "StartCVMClusterW", {handle}, node, FARLO_SUCCESS, {.node = R"("role": 0)"}},
    {"stops", "StopCVMClusterW", {handle}, node},
    {"asks", "GetCVMClusterNodeStateW", {handle, output(4)}, node_state},

    {"imported",
     "OnlineVolA",
     {handle, looked_up(guid("guid-s")), narrow(shared_off, path_limit), no_options, no_time_limit},
     online_volume},
    {"imported",
     "OnlineVolW",
     {handle, looked_up(guid("guid-s")), looked_up(wide(shared_off, path_limit)), no_options,
      no_time_limit},
     online_volume},
    {"node stopped",
     "OnlineVolW",
     {handle, looked_up(guid("guid-s")), looked_up(wide(shared_off, path_limit)), no_options,
      no_time_limit},
     online_volume,
     FARLO_SUCCESS,
     {.node = R"("role": 0, "start_seconds": 0)"}},
    {"not imported",
     "OnlineVolW",
     {handle, looked_up(guid("guid-n")), looked_up(wide("\\Device\\n-off", path_limit)), no_options,
      no_time_limit},
     online_volume},
    {"takes",
     "OfflineVolA",
     {handle, looked_up(guid("guid-s")), narrow(shared_on, path_limit), no_options},
     offline_volume},
    {"takes",
     "OfflineVolW",
     {handle, looked_up(guid("guid-s")), looked_up(wide(shared_on, path_limit)), no_options},
     offline_volume},
    {"dismounts",
     "OfflineVolumeA",
     {guid("v1"), narrow("\\\\.\\F:\\", path_limit), sixteen_bytes},
     dismount},
    {"dismounts",
     "OfflineVolumeW",
     {guid("v1"), wide("\\\\.\\F:", path_limit), sixteen_bytes},
     dismount},
    {"refreshes", "FFUpdateMountPathA", {handle, narrow("v1", path_limit)}, mount_path},
    {"refreshes", "FFUpdateMountPathW", {handle, wide("v1")}, mount_path},
    {"finds",
     "GetVolumeNameForSerialNumberA",
     {handle, narrow("dgc"), no_guid, number(Machine::serial_number),
      output(FARLO_VOLUME_NAME_BUFFER_SIZE), in_out(FARLO_VOLUME_NAME_BUFFER_SIZE)},
     serial_number},
    {"finds",
     "GetVolumeNameForSerialNumberW",
     {handle, no_name, guid("guid-c", no_limit), number(Machine::serial_number),
      output(FARLO_VOLUME_NAME_BUFFER_SIZE), in_out(FARLO_VOLUME_NAME_BUFFER_SIZE)},
     serial_number},
    {"MBR",
     "GetDiskTypeAndSignatureA",
     {narrow("\\\\.\\F:", path_limit), output(4), output(16), output(4)},
     disk_layout},
    {"MBR",
     "GetDiskTypeAndSignatureW",
     {wide("\\\\.\\F:"), output(4), output(16), output(4)},
     disk_layout},
    {"GPT",
     "GetDiskTypeAndSignatureW",
     {wide("\\\\.\\F:"), output(4), output(16), output(4)},
     disk_layout,
     FARLO_SUCCESS,
     {.partition_style = PARTITION_STYLE_GPT}},
    {"MBR",
     "GetFirstVolumesDiskIDA",
     {handle, narrow("dgc", path_limit), output(4), output(4)},
     first_disk},
    {"MBR", "GetFirstVolumesDiskIDW", {handle, wide("dgc"), output(4), output(4)}, first_disk},
    {"MBR",
     "IsStorageClusterable",
     {handle, number(FARLO_PARTITION_STYLE_MBR), number(Machine::disk_signature), sixteen_bytes},
     flag,
     yes},
    {"GPT",
     "IsStorageClusterable",
     {handle, number(FARLO_PARTITION_STYLE_GPT), number(0), sixteen_bytes},
     flag,
     yes},
    {"is",
     "IsVolumeOfSpecifiedDgType",
     {handle, wide("vn-s-on"), number(group_type::cluster_shared)},
     flag,
     yes},
    {"is", "IsVolumeClusterable", {handle, wide("vn-s-on")}, flag, yes},
    {"finds",
     "GetClusterSharedDgGuidA",
     {handle, narrow(shared_on, path_limit), guid_buffer},
     shared_guid},
    {"finds",
     "GetClusterSharedDgGuidW",
     {handle, looked_up(wide(shared_on, path_limit)), guid_buffer},
     shared_guid},
    {"wanted", "CheckOSVersionAndReg", {}, vmms_folder},
    {"clears", "DeleteVMMSFolder", {folder}, vmms_folder},

    {"fills",
     "GetDgPropertiesA",
     {handle, narrow("dgc"), no_guid, output(group_size), in_out(group_size)},
     record},
    {"fills",
     "GetDgPropertiesW",
     {handle, no_name, guid("guid-c", no_limit), output(group_size), in_out(group_size)},
     record},
    {"asks the size",
     "GetDgPropertiesW",
     {handle, no_name, guid("guid-c", no_limit), output(8), in_out(0)},
     record,
     FARLO_BUFFER_TOO_SMALL},
    {"fills",
     "GetVolPropertiesA",
     {handle, narrow(v1, path_limit), output(volume_prop_size), in_out(volume_prop_size - 4)},
     record},
    {"fills",
     "GetVolPropertiesW",
     {handle, wide(v1), output(volume_prop_size), in_out(volume_prop_size - 4)},
     record},
    {"fills",
     "GetDgVolPropertiesA",
     {handle, narrow("dgc"), no_guid, output(light_size), in_out(light_size)},
     record},
    {"fills",
     "GetDgVolPropertiesW",
     {handle, no_name, guid("guid-c", no_limit), output(light_size), in_out(light_size)},
     record},
    {"fills",
     "GetDgVolumePropertiesA",
     {handle, narrow("dgc"), no_guid, narrow(v1), output(volume_size), in_out(volume_size)},
     volume_record},
    {"fills",
     "GetDgVolumePropertiesW",
     {handle, no_name, guid("guid-c", no_limit), wide(v1), output(volume_size),
      in_out(volume_size)},
     volume_record},
    {"fills",
     "GetDgDiskPropertiesA",
     {handle, narrow("dgc"), no_guid, output(disks_size), in_out(disks_size)},
     record},
    {"fills",
     "GetDgDiskPropertiesW",
     {handle, no_name, guid("guid-c", no_limit), output(disks_size), in_out(disks_size)},
     record},
    {"finds",
     "GetDgVolumeStateA",
     {handle, narrow("dgc"), no_guid, narrow(v1), output(4)},
     volume_record},
    {"finds",
     "GetDgVolumeStateW",
     {handle, no_name, guid("guid-c", no_limit), wide(v1), output(4)},
     volume_record},
    {"healthy",
     "GetDgVolumeStatusA",
     {handle, guid("guid-c"), sixteen_bytes, output_even_on_failure(4)},
     volume_status,
     FARLO_DEVICE_UNSUCCESSFUL},
    {"healthy",
     "GetDgVolumeStatusW",
     {handle, guid("guid-c"), sixteen_bytes, output_even_on_failure(4)},
     volume_status,
     FARLO_DEVICE_UNSUCCESSFUL},
    {"fills",
     "GetUnusableVolumesInfo",
     {handle, wide("dgc"), no_guid, output(2 * volume_size), in_out(2)},
     unusable_volumes,
     FARLO_SUCCESS,
     {.volume_links = false}},
    {"finds one",
     "GetUnusableVolumesInfo",
     {handle, wide("dgc"), no_guid, output(volume_size), in_out(1)},
     unusable_volumes},
    {"fills",
     "GetVolumeInfo",
     {handle, wide("dgc"), no_guid, wide(v1), output(volume_size), in_out(volume_size)},
     volume_record},
};

}  // namespace

std::string scenario_json(const std::string& node_members) {
    return R"({"node": {"name": "node1", "reservation_key": 7, )" + node_members +
           R"(}, "disk_groups": [
  {"name": "dgc", "dgid": "guid-c", "type": 2, "imported": true,
   "reservation": {"owner": "node1", "key": 7},
   "disks": [
    {"name": "d1", "device": "\\Device\\d1", "signature": 11, "port": 1, "target": 2, "lun": 3,
     "disk_guid": "{04030201-0605-0807-090a-0b0c0d0e0f10}", "state": 0},
    {"name": "d2", "device": "\\Device\\d2", "disk_id": "1a2b-3c", "port": 1, "state": 4}],
   "volumes": [
    {"name": "v1", "device": "\\Device\\v1", "volume_name": "\\\\?\\Volume{v1}", "guid": "vguid-1",
     "drive_letter": "F", "type": 3, "size": 4096, "file_system": {"label": "Data"},
     "plexes": [{"name": "v1-01", "state": 1, "subdisks": [{"name": "s1", "disk": "d1"}]},
                {"name": "v1-02", "state": 2}]},
    {"name": "v2", "device": "\\Device\\v2", "volume_name": "\\\\?\\Volume{v2}", "guid": "vguid-2",
     "state": 32, "size": 8192, "mount_points": [{"path": "logs", "volume": "v1"}]}]},
  {"name": "dgo", "dgid": "guid-o", "type": 2},
  {"name": "late", "dgid": "guid-late", "type": 2, "hidden": true},
  {"name": "dgl", "dgid": "guid-l", "type": 1, "imported": true},
  {"name": "dgs", "dgid": "guid-s", "type": 8, "imported": true,
   "volumes": [{"name": "s-off", "device": "\\Device\\s-off", "volume_name": "vn-s-off", "state": 32},
               {"name": "s-on", "device": "\\Device\\s-on", "volume_name": "vn-s-on"}]},
  {"name": "dgn", "dgid": "guid-n", "type": 8,
   "volumes": [{"name": "n-off", "device": "\\Device\\n-off", "state": 32}]}]})";
}

bool among(const std::vector<std::uint32_t>& statuses, std::uint32_t status) {
    return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
}

// Parts of the upper half of a status.
constexpr std::uint32_t bus_facility = 0x100;
constexpr std::uint32_t service_failure = 0xE515;  // a failure of the service's facility
constexpr std::uint32_t system_failure = 0x8007;   // a failure that carries an error of the system
// Errors of the system are below.
constexpr std::uint32_t system_error_limit = 0x4000;

bool is_described(const Contract& contract, std::uint32_t status) {
    const std::uint32_t upper_half = status >> 16;
    const bool is_bus_failure = (status >> 30) == 3 && (upper_half & 0xFFF) == bus_facility;
    const bool is_service_failure = upper_half == service_failure;
    const bool is_system_error = status < system_error_limit || upper_half == system_failure;
    return status == FARLO_SUCCESS || among(contract.statuses, status) ||
           (contract.service_statuses && (is_bus_failure || is_service_failure)) ||
           (contract.system_errors && is_system_error);
}

void PrintTo(const Situation& situation, std::ostream* out) {
    *out << situation.export_name << " (" << situation.name << ")";
}

const std::vector<Situation>& situations() {
    return table;
}

bool full_sweep() {
    static const bool full = [] {
        const char* wanted = std::getenv("FARLO_SWEEP");
        return wanted != nullptr && std::strcmp(wanted, "full") == 0;
    }();
    return full;
}

}  // namespace sweep
