#include "situations.h"

#include "farlo.h"
#include "machine.h"
#include "ztbus3.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <utility>

namespace sweep {
namespace {

using Kind = Argument::Kind;

// Limits of the interface's texts, in characters.
constexpr std::size_t group_limit = 31;
constexpr std::size_t path_limit = 259;
constexpr std::size_t guid_limit = 64;

const Argument h{Kind::handle};
const Argument slot{Kind::slot};
const Argument used_slot{Kind::used_slot};
const Argument own{Kind::own_handle};
const Argument bytes{Kind::bytes};
const Argument callback{Kind::callback};
const Argument folder{Kind::folder};

Argument n(const char* text, std::size_t limit = group_limit) {
    return {Kind::narrow, text, 0, 0, limit};
}
Argument w(const char* text, std::size_t limit = 0) {
    return {Kind::wide, text, 0, 0, limit};
}
Argument g(const char* text, std::size_t limit = guid_limit) {
    return {Kind::narrow, text, 0, 0, limit};
}
// A string that is only looked up: a longer one names nothing.
Argument looked_up(Argument argument) {
    argument.refused_beyond_limit = false;
    return argument;
}
Argument out(std::size_t size, bool written_on_failure = false) {
    return {Kind::out, "", 0, size, 0, written_on_failure};
}
Argument in_out(std::uint32_t value) {
    return {Kind::in_out, "", value, 4};
}
Argument list(std::size_t size) {
    return {Kind::list, "", 0, size, 0, true};
}
// A number of names is written before their texts.
Argument name_count() {
    return out(4, true);
}
Argument num(std::uint64_t value) {
    return {Kind::number, "", value};
}
const Argument no_name{};
const Argument no_guid{};
const Argument no_records{};

// As the header lists them.
Answers of(std::vector<std::uint32_t> statuses, bool service = false, bool system = false) {
    statuses.insert(statuses.end(), {FARLO_NULL_HANDLE, FARLO_NOT_CONNECTED});
    return {statuses, service, system};
}
Answers exactly(std::vector<std::uint32_t> statuses, bool service = false, bool system = false) {
    return {statuses, service, system};
}

Answers zero_only(Answers answers) {
    answers.zero_only = true;
    return answers;
}

// Without a closing line, a failure that tells of itself at level 6 only is silent.
Answers silent(std::vector<std::uint32_t> statuses, Answers answers) {
    answers.silent = std::move(statuses);
    return answers;
}

// Arguments that are refused without a line.
Answers refusing(std::vector<std::uint32_t> statuses, Answers answers) {
    answers.silent_refusals = std::move(statuses);
    return answers;
}

Answers null_handle(std::uint32_t status, Answers answers) {
    answers.null_handle = status;
    return answers;
}

// What becomes known on the way of a connection that is lost.
Answers dropped(std::vector<std::uint32_t> statuses, Answers answers) {
    answers.dropped = std::move(statuses);
    return answers;
}

// Once the service has answered, nobody looks whether the connection is still there.
Answers unaware(Answers answers) {
    answers.unaware = true;
    return answers;
}

// They make connections of their own.
const Answers connects = dropped({FARLO_SUCCESS}, exactly({FARLO_NOT_CONNECTED}));
const Answers alerts =
    null_handle(FARLO_SUCCESS, dropped({ZTERROR_NOT_CONNECTED}, exactly({}, true)));
const Answers a_flag = unaware({{}, false, false, true});
const Answers disconnect =
    silent({FARLO_UNINITIALIZE_FAILED}, zero_only(exactly({FARLO_UNINITIALIZE_FAILED})));

// GetDgGuid; the search for a group by its name.
const Answers search =
    unaware(of({FARLO_MISSING_ARGUMENT, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE,
                FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT},
               true));
const Answers name_list =
    refusing({FARLO_MISSING_ARGUMENT},
             silent({FARLO_BUFFER_TOO_SMALL},
                    of({FARLO_BUFFER_TOO_SMALL, FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION})));
const Answers group_name =
    of({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION});
// A group that is not imported is told by its status alone.
const Answers volume_guid_w = refusing(
    {FARLO_NOT_FOUND},
    silent({FARLO_EXCEPTION},
           zero_only(of({FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
                         FARLO_NOT_FOUND, FARLO_VOLUME_NOT_FOUND, FARLO_NO_CLUSTER_SERVICE,
                         FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION}))));
const Answers volume_guid_a =
    null_handle(FARLO_NO_VOLUME_GUID,
                dropped({FARLO_NO_VOLUME_GUID},
                        zero_only(exactly({FARLO_NO_VOLUME_GUID, FARLO_INVALID_ARGUMENT}))));
const Answers import =
    of({FARLO_ALREADY_IMPORTED, FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT,
        FARLO_INVALID_ARGUMENT, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_NOT_FOUND},
       true);
const Answers deport =
    of({FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
        FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_NOT_FOUND},
       true);
const Answers& reserve = import;
const Answers reservation_status =
    unaware(of({FARLO_NOT_FOUND, FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED,
                FARLO_NO_GUID_MEMORY, FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT,
                FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION},
               true));
// The driver needs no handle.
const Answers driver_reservation_status = null_handle(FARLO_SUCCESS, reservation_status);
const Answers release =
    exactly({FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT, FARLO_NO_GUID_MEMORY, FARLO_NOT_FOUND,
             FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED});
const Answers group_state =
    of({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCEPTION, FARLO_NO_GUID_MEMORY,
        FARLO_INVALID_ARGUMENT, FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_FAILED,
        FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE},
       true);
const Answers group_state_ex = of({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCEPTION});
// The state was delivered all the same.
const Answers disk_state =
    dropped({FARLO_SUCCESS}, of({FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT}));
const Answers availability = refusing(
    {FARLO_NULL_HANDLE, FARLO_MISSING_ARGUMENT},
    silent(
        {1, FARLO_NOT_CONNECTED, FARLO_NO_CLUSTER_SERVICE, FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION},
        zero_only(of({1, FARLO_NO_GUID_MEMORY, FARLO_EXCEPTION, FARLO_MISSING_ARGUMENT,
                      FARLO_INVALID_ARGUMENT, FARLO_NO_CLUSTER_SERVICE, FARLO_EXCLUDED_TYPE},
                     true))));
const Answers plex_states =
    unaware(refusing({FARLO_NULL_HANDLE, FARLO_PROVIDER_FAILED},
                     silent({FARLO_EXCEPTION}, of({FARLO_PROVIDER_FAILED, FARLO_MISSING_ARGUMENT,
                                                   FARLO_NOT_FOUND, FARLO_INVALID_ARGUMENT,
                                                   FARLO_BUFFER_TOO_SMALL, FARLO_EXCEPTION}))));
const Answers fast_failover = of({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_EXCEPTION}, true);
const Answers to_service = of({FARLO_NO_CLUSTER_SERVICE, FARLO_EXCEPTION}, true);
const Answers service_state = unaware(to_service);
const Answers node_state =
    of({FARLO_NO_CLUSTER_SERVICE, FARLO_MISSING_ARGUMENT, FARLO_EXCEPTION}, true);
// It may make another connection in place of the lost one.
const Answers online_volume =
    dropped({FARLO_NOT_CONNECTED, FARLO_SUCCESS},
            of({FARLO_INVALID_ARGUMENT, FARLO_PROVIDER_FAILED, FARLO_EXCEPTION, FARLO_NOT_FOUND,
                FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE, FARLO_NO_GUID_MEMORY,
                FARLO_MISSING_ARGUMENT},
               true, true));
const Answers offline_volume = of({FARLO_INVALID_ARGUMENT, FARLO_PROVIDER_FAILED, FARLO_EXCEPTION,
                                   FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_NO_CLUSTER_SERVICE},
                                  true);
const Answers dismount =
    exactly({FARLO_INVALID_ARGUMENT, FARLO_DEVICE_SHARING_VIOLATION, FARLO_DEVICE_UNSUCCESSFUL,
             FARLO_NOT_FOUND, FARLO_MISSING_ARGUMENT, FARLO_DEVICE_FAILED},
            false, true);
const Answers mount_path =
    refusing({FARLO_PROVIDER_FAILED},
             silent({FARLO_EXCEPTION, FARLO_NOT_CONNECTED},
                    of({FARLO_PROVIDER_FAILED, FARLO_INVALID_ARGUMENT, FARLO_EXCEPTION}, true)));
const Answers serial = of({FARLO_MISSING_ARGUMENT, FARLO_INVALID_ARGUMENT, FARLO_NOT_FOUND,
                           FARLO_BUFFER_TOO_SMALL, FARLO_VOLUME_NOT_FOUND, FARLO_EXCEPTION});
const Answers disk_layout = exactly({FARLO_INVALID_ARGUMENT, FARLO_OUT_OF_MEMORY}, false, true);
const Answers first_disk = unaware(
    refusing({FARLO_NOT_FOUND},
             silent({FARLO_EXCEPTION}, of({FARLO_NOT_FOUND, FARLO_EXCLUDED_TYPE, FARLO_EXCEPTION,
                                           FARLO_INVALID_ARGUMENT, FARLO_OUT_OF_MEMORY},
                                          false, true))));
const Answers shared_guid =
    of({FARLO_INVALID_ARGUMENT, FARLO_OUT_OF_MEMORY, FARLO_PROVIDER_FAILED, FARLO_EXCEPTION}, true);
const Answers vmms = exactly({FARLO_PROVIDER_FAILED, FARLO_INVALID_ARGUMENT}, false, true);
const Answers record = of({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_BUFFER_TOO_SMALL,
                           FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT});
const Answers volume_record = of({FARLO_MISSING_ARGUMENT, FARLO_NOT_FOUND, FARLO_BUFFER_TOO_SMALL,
                                  FARLO_EXCEPTION, FARLO_INVALID_ARGUMENT, FARLO_VOLUME_NOT_FOUND});
const Answers unusable = silent({FARLO_EXCEPTION, FARLO_NOT_CONNECTED}, volume_record);
// The handle is looked at late.
const Answers volume_status =
    null_handle(FARLO_NOT_CONNECTED,
                exactly({FARLO_SUCCESS, FARLO_DEVICE_UNSUCCESSFUL, FARLO_DEVICE_SHARING_VIOLATION,
                         FARLO_NOT_FOUND, FARLO_MISSING_ARGUMENT, FARLO_DEVICE_FAILED,
                         FARLO_INVALID_ARGUMENT, FARLO_NOT_CONNECTED}));

constexpr char node_runs[] = R"("role": 2)";
constexpr std::uint32_t all_options = 0xFFFFFFFF;
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
    {"connects", "InitializeClusterW", {slot}, connects},
    {"connects", "InitializeClusterA", {n("x", 0), num(0), slot}, connects},
    {"connects", "ValidateClusterA", {slot}, connects},
    {"connects", "ValidateClusterW", {slot}, connects},
    {"reconnects", "ValidateClusterW", {used_slot}, connects},
    {"disconnects", "UnInitializeClusterA", {own}, disconnect},
    {"disconnects", "UnInitializeClusterW", {own}, disconnect},
    {"registers", "RegisterForAlerts", {h, callback}, alerts},

    {"finds", "GetDgGuidA", {h, n("dgc"), out(65)}, search},
    {"finds", "GetDgGuidW", {h, w("dgc"), out(65)}, search},
    {"rescans", "GetDgGuidW", {h, w("late"), out(65)}, search},
    {"finds", "GetNonClusterDgGuidA", {h, n("dgl"), out(65)}, search},
    {"finds", "GetNonClusterDgGuidW", {h, w("dgl"), out(65)}, search},
    {"lists", "GetDgNameListA", {h, list(4), in_out(4), name_count()}, name_list},
    {"lists", "GetDgNameListW", {h, list(8), in_out(8), name_count()}, name_list},
    {"asks the size",
     "GetDgNameListW",
     {h, list(64), in_out(0), name_count()},
     name_list,
     FARLO_BUFFER_TOO_SMALL},
    {"lists", "GetNonClusterDgNameListA", {h, list(8), in_out(8), name_count()}, name_list},
    {"lists", "GetNonClusterDgNameListW", {h, list(16), in_out(16), name_count()}, name_list},
    {"finds", "GetDgNameW", {h, g("guid-c", 0), out(520)}, group_name},
    {"by GUID", "GetDgVolumeGuidA", {h, no_name, g("guid-c"), n(v1), out(65)}, volume_guid_a},
    {"by GUID", "GetDgVolumeGuidW", {h, no_name, g("guid-c"), w(v1), out(65)}, volume_guid_w},
    {"by name", "GetDgVolumeGuidW", {h, w("dgc"), no_guid, w(v1), out(65)}, volume_guid_w},

    {"by GUID", "OnlineDgExA", {h, n("dgo"), g("guid-o"), no_name, num(0), num(0)}, import},
    {"by GUID", "OnlineDgExW", {h, w("dgo"), g("guid-o"), no_name, num(0), num(0)}, import},
    {"by name", "OnlineDgExW", {h, w("dgo"), no_guid, w("new"), num(0), num(0)}, import},
    {"shared", "OnlineDgExW", {h, w("dgo"), no_guid, no_name, num(0x800), num(0)}, import},
    {"by name", "OnlineDgA", {h, n("dgo"), no_guid, n("new"), num(0)}, import},
    {"by name", "OnlineDgW", {h, w("dgo"), no_guid, w("new"), num(0)}, import},
    {"by GUID", "ImportDgA", {h, n("dgo"), g("guid-o"), n("new"), num(0)}, import},
    {"by GUID", "ImportDgW", {h, w("dgo"), g("guid-o"), w("new"), num(all_options)}, import},
    {"by name", "ImportDgW", {h, w("dgo"), no_guid, no_name, num(0)}, import},
    {"by name", "OfflineDgA", {h, n("dgc"), no_guid, num(0)}, deport},
    {"by name", "OfflineDgW", {h, w("dgc"), no_guid, num(0)}, deport},
    {"by GUID", "OfflineDgW", {h, w("dgc"), g("guid-c"), num(1)}, deport},
    {"by name", "DeportDgA", {h, n("dgc"), no_guid}, deport},
    {"by name", "DeportDgW", {h, w("dgc"), no_guid}, deport},
    {"by GUID", "DeportDgW", {h, no_name, g("guid-c")}, deport},

    {"by name", "ArbitrateDgA", {h, n("dgc"), no_guid}, reserve},
    {"by GUID", "ArbitrateDgW", {h, no_name, g("guid-c")}, reserve},
    {"by name", "ArbitrateDgW", {h, w("dgc"), no_guid}, reserve},
    {"by name", "StopDgReservationA", {h, n("dgc"), no_guid}, reserve},
    {"by GUID", "StopDgReservationW", {h, no_name, g("guid-c")}, reserve},
    {"by name", "StopDgReservationW", {h, w("dgc"), no_guid}, reserve},
    {"by driver",
     "GetDgReservationStatusA",
     {h, n("dgc"), no_guid, out(4, true)},
     reservation_status},
    {"by driver",
     "GetDgReservationStatusW",
     {h, no_name, g("guid-c"), out(4, true)},
     driver_reservation_status},
    {"by service",
     "GetDgReservationStatusW",
     {h, w("dgc"), no_guid, out(4)},
     reservation_status,
     0,
     2},
    {"releases", "ReleaseDgW", {g("guid-c", 255)}, release},

    {"by name", "GetDgStateA", {h, n("dgc"), no_guid, out(1)}, group_state},
    {"by GUID", "GetDgStateW", {h, no_name, g("guid-c"), out(1)}, group_state},
    {"by name", "GetDgStateW", {h, w("dgl"), no_guid, out(1)}, group_state},
    {"by GUID", "GetDgStateExW", {h, no_name, g("guid-c", 0), out(1)}, group_state_ex},
    {"finds", "GetDiskStateA", {h, n("d2"), out(4, true)}, disk_state},
    {"finds", "GetDiskStateW", {h, w("d2"), out(4, true)}, disk_state},
    {"by name", "GetDgDiskAvailabilityA", {h, n("dgc"), no_guid, out(4), out(4)}, availability},
    {"by GUID", "GetDgDiskAvailabilityW", {h, no_name, g("guid-c"), out(4), out(4)}, availability},
    {"fills",
     "GetDgVolPlexStatesA",
     {h, n("dgc", 0), no_guid, n(v1, 0), out(4, true), out(2 * 68)},
     plex_states},
    {"fills",
     "GetDgVolPlexStatesW",
     {h, no_name, g("guid-c", 0), w(v1), out(4, true), out(2 * 68)},
     plex_states},
    {"asks the number",
     "GetDgVolPlexStatesW",
     {h, no_name, g("guid-c", 0), w(v1), out(4, true), no_records},
     plex_states,
     FARLO_BUFFER_TOO_SMALL},
    {"sets", "SetFastFailoverFlagW", {h, w("dgc"), no_guid, num(1)}, fast_failover},
    {"reports", "ClusterServiceStateA", {h, num(1)}, service_state},
    {"reports", "ClusterServiceStateW", {h, num(1)}, service_state},
    {"starts", "StartCVMClusterW", {h}, to_service, 0, 0, 0, R"("role": 0)"},
    {"stops", "StopCVMClusterW", {h}, to_service},
    {"asks", "GetCVMClusterNodeStateW", {h, out(4)}, node_state},

    {"imported",
     "OnlineVolA",
     {h, looked_up(g("guid-s")), n(shared_off, path_limit), num(0), num(INFINITE)},
     online_volume},
    {"imported",
     "OnlineVolW",
     {h, looked_up(g("guid-s")), looked_up(w(shared_off, path_limit)), num(0), num(INFINITE)},
     online_volume},
    {"node stopped",
     "OnlineVolW",
     {h, looked_up(g("guid-s")), looked_up(w(shared_off, path_limit)), num(0), num(INFINITE)},
     online_volume,
     0,
     0,
     0,
     R"("role": 0, "start_seconds": 0)"},
    {"not imported",
     "OnlineVolW",
     {h, looked_up(g("guid-n")), looked_up(w("\\Device\\n-off", path_limit)), num(0),
      num(INFINITE)},
     online_volume},
    {"takes",
     "OfflineVolA",
     {h, looked_up(g("guid-s")), n(shared_on, path_limit), num(0)},
     offline_volume},
    {"takes",
     "OfflineVolW",
     {h, looked_up(g("guid-s")), looked_up(w(shared_on, path_limit)), num(0)},
     offline_volume},
    {"dismounts", "OfflineVolumeA", {g("v1"), n("\\\\.\\F:\\", path_limit), bytes}, dismount},
    {"dismounts", "OfflineVolumeW", {g("v1"), w("\\\\.\\F:", path_limit), bytes}, dismount},
    {"refreshes", "FFUpdateMountPathA", {h, n("v1", path_limit)}, mount_path},
    {"refreshes", "FFUpdateMountPathW", {h, w("v1")}, mount_path},
    {"finds",
     "GetVolumeNameForSerialNumberA",
     {h, n("dgc"), no_guid, num(Machine::serial_number), out(1656), in_out(1656)},
     serial},
    {"finds",
     "GetVolumeNameForSerialNumberW",
     {h, no_name, g("guid-c", 0), num(Machine::serial_number), out(1656), in_out(1656)},
     serial},
    {"MBR",
     "GetDiskTypeAndSignatureA",
     {n("\\\\.\\F:", path_limit), out(4), out(16), out(4)},
     disk_layout},
    {"MBR", "GetDiskTypeAndSignatureW", {w("\\\\.\\F:"), out(4), out(16), out(4)}, disk_layout},
    {"GPT",
     "GetDiskTypeAndSignatureW",
     {w("\\\\.\\F:"), out(4), out(16), out(4)},
     disk_layout,
     0,
     0,
     1},
    {"MBR", "GetFirstVolumesDiskIDA", {h, n("dgc", path_limit), out(4), out(4)}, first_disk},
    {"MBR", "GetFirstVolumesDiskIDW", {h, w("dgc"), out(4), out(4)}, first_disk},
    {"MBR", "IsStorageClusterable", {h, num(0), num(11), bytes}, a_flag, 1},
    {"GPT", "IsStorageClusterable", {h, num(1), num(0), bytes}, a_flag, 1},
    {"is", "IsVolumeOfSpecifiedDgType", {h, w("vn-s-on"), num(8)}, a_flag, 1},
    {"is", "IsVolumeClusterable", {h, w("vn-s-on")}, a_flag, 1},
    {"finds", "GetClusterSharedDgGuidA", {h, n(shared_on, path_limit), out(65)}, shared_guid},
    {"finds",
     "GetClusterSharedDgGuidW",
     {h, looked_up(w(shared_on, path_limit)), out(65)},
     shared_guid},
    {"wanted", "CheckOSVersionAndReg", {}, vmms},
    {"clears", "DeleteVMMSFolder", {folder}, vmms},

    {"fills",
     "GetDgPropertiesA",
     {h, n("dgc"), no_guid, out(group_size), in_out(group_size)},
     record},
    {"fills",
     "GetDgPropertiesW",
     {h, no_name, g("guid-c", 0), out(group_size), in_out(group_size)},
     record},
    {"asks the size",
     "GetDgPropertiesW",
     {h, no_name, g("guid-c", 0), out(8), in_out(0)},
     record,
     FARLO_BUFFER_TOO_SMALL},
    {"fills",
     "GetVolPropertiesA",
     {h, n(v1, path_limit), out(volume_prop_size), in_out(volume_prop_size - 4)},
     record},
    {"fills",
     "GetVolPropertiesW",
     {h, w(v1), out(volume_prop_size), in_out(volume_prop_size - 4)},
     record},
    {"fills",
     "GetDgVolPropertiesA",
     {h, n("dgc"), no_guid, out(light_size), in_out(light_size)},
     record},
    {"fills",
     "GetDgVolPropertiesW",
     {h, no_name, g("guid-c", 0), out(light_size), in_out(light_size)},
     record},
    {"fills",
     "GetDgVolumePropertiesA",
     {h, n("dgc"), no_guid, n(v1), out(volume_size), in_out(volume_size)},
     volume_record},
    {"fills",
     "GetDgVolumePropertiesW",
     {h, no_name, g("guid-c", 0), w(v1), out(volume_size), in_out(volume_size)},
     volume_record},
    {"fills",
     "GetDgDiskPropertiesA",
     {h, n("dgc"), no_guid, out(disks_size), in_out(disks_size)},
     record},
    {"fills",
     "GetDgDiskPropertiesW",
     {h, no_name, g("guid-c", 0), out(disks_size), in_out(disks_size)},
     record},
    {"finds", "GetDgVolumeStateA", {h, n("dgc"), no_guid, n(v1), out(4)}, volume_record},
    {"finds", "GetDgVolumeStateW", {h, no_name, g("guid-c", 0), w(v1), out(4)}, volume_record},
    {"healthy",
     "GetDgVolumeStatusA",
     {h, g("guid-c"), bytes, out(4, true)},
     volume_status,
     FARLO_DEVICE_UNSUCCESSFUL},
    {"healthy",
     "GetDgVolumeStatusW",
     {h, g("guid-c"), bytes, out(4, true)},
     volume_status,
     FARLO_DEVICE_UNSUCCESSFUL},
    {"fills",
     "GetUnusableVolumesInfo",
     {h, w("dgc"), no_guid, out(2 * volume_size), in_out(2)},
     unusable,
     0,
     0,
     0,
     node_runs,
     false},
    {"finds one",
     "GetUnusableVolumesInfo",
     {h, w("dgc"), no_guid, out(volume_size), in_out(1)},
     unusable},
    {"fills",
     "GetVolumeInfo",
     {h, w("dgc"), no_guid, w(v1), out(volume_size), in_out(volume_size)},
     volume_record},
};

}  // namespace

std::string scenario_text(const std::string& node) {
    return R"({"node": {"name": "node1", "reservation_key": 7, )" + node + R"(}, "disk_groups": [
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

bool is_described(const Answers& answers, std::uint32_t status) {
    const bool of_service =
        ((status >> 30) == 3 && ((status >> 16) & 0xFFF) == 0x100) || (status >> 16) == 0xE515;
    const bool of_system = status < 0x4000 || (status >> 16) == 0x8007;
    return status == FARLO_SUCCESS || among(answers.statuses, status) ||
           (answers.service && of_service) || (answers.system && of_system);
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
