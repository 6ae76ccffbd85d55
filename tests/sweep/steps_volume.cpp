// Volumes online and offline, their dismounting and mount paths.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

#include <utility>

using namespace support;

namespace sweep {
namespace {

const CallPattern get_node_role = get_property("@misc", "nodeRole");

// The first and last lines of OnlineVol.
Steps online_volume(const std::string& device, Steps steps) {
    return with_lines(
        {.before = {"Entering OnlineVolW - " + device},
         .after_success = {"OnlineVolW() succeeded for volume " + device + ", error=(0x0) "},
         .after_failure = {"OnlineVolW() failed for volume " + device + ", error=({}) "}},
        std::move(steps));
}

Steps check_node() {
    const Outcome no_misc =
        returns(FARLO_PROVIDER_FAILED, {"OnlineVolW()::misc object not present"});
    return {{get_objects(object_type::misc).nth(1), no_misc},
            {get_node_role.nth(1), returns(FARLO_EXCEPTION)}};
}

// A group that is not found is searched for once more.
Steps find_group(const std::string& group) {
    const Outcome finds_it_again = continues({not_found_by_guid});
    return Steps{{get_objects(object_type::disk_group), continues()}} +
           pass_over_groups(group, "dgid") +
           Steps{{get_property(group, "LDM DG TYPE").nth(1), finds_it_again},
                 {get_property(group, "dgid").nth(1), finds_it_again},
                 {get_property(group, "imported"), returns(FARLO_EXCEPTION)},
                 {get_property(group, "Name"), returns(FARLO_EXCEPTION)}};
}

// The n-th search for the cluster service and the n-th set of the call are those of this
// request.
Steps send_online(const std::string& device, unsigned search, unsigned input_set) {
    return find_volume_by_device(device, FARLO_INVALID_ARGUMENT) +
           find_cluster_service({"OnlineVolW():GetClusSvcId() failed, error=({}) "}, search) +
           invoke_method(method::online_volume, passes_status_on(), input_set);
}

Steps online_imported() {
    const std::string device = "\\Device\\s-off";
    return online_volume(device, check_node() + find_group("@dgs") + send_online(device, 1, 1));
}

// What the thread does until it waits for the node. When another process starts the node, the
// result is the same.
Steps start_node() {
    return Steps{{get_objects(object_type::misc).nth(2),
                  returns(FARLO_PROVIDER_FAILED, {"CVMClusterStart::misc object not present"})},
                 {call_of("CreateMutexA"),
                  returns(FARLO_EXCEPTION, {"CVMClusterStart: CreateMutexA failed, "
                                            "error=({call}) "})},
                 {call_of("WaitForSingleObject"), continues()},
                 {get_node_role.nth(2), returns(FARLO_EXCEPTION)}} +
           each_failure_logs({"CVMClusterStart:StartCVMCluster failed, error=({}) "},
                             invoke_node_method("StartCVMClusterW", method::start_node));
}

// The export starts a thread and waits for it; the thread starts the node and waits for that.
Steps online_node_stopped() {
    const std::string device = "\\Device\\s-off";
    const std::string waiting = "CVMClusterStart: Waiting for the CVM cluster start to complete";
    const std::string completed = "CVMClusterStart: CVM cluster start completed";
    const std::string not_started = "OnlineVolW():Could not start CVM Cluster";
    const std::string wait_failed = "OnlineVolW(): WaitForSingleObject failed! error=({}) ";
    const CallPattern wait = call_of("WaitForSingleObject").nth(1);

    const Steps create_thread = {
        {call_of("CreateThread"),
         returns(FARLO_EXCEPTION, {"OnlineVolW():CreateThread failed error=({call}) "})}};
    const Steps wait_fails = {{wait.failing(), passes_status_on({wait_failed})}};
    const Steps wait_is_abandoned = {
        {wait.abandoned(), returns(FARLO_PROVIDER_FAILED, {wait_failed})}};
    const Steps wait_times_out = {{wait.timing_out(), continues()}};
    const Steps poll_node = {{get_node_role.nth(3), returns(FARLO_EXCEPTION)},
                             {get_property("@misc", "nodeStatus"), returns(FARLO_EXCEPTION)}};
    const Steps get_result = {
        {call_of("GetExitCodeThread"),
         passes_status_on({"OnlineVolW(): GetExitCodeThread failed! error=({}) "})}};

    return online_volume(device, with_lines({.after_success = {waiting, completed}},
                                            check_node() + create_thread)) +
           // The thread goes on after the call has returned.
           with_lines({.after_failure = {waiting, completed}}, online_volume(device, wait_fails)) +
           online_volume(
               device,
               with_lines({.before = {waiting, completed}}, wait_is_abandoned + wait_times_out) +
                   with_lines(
                       {.after_success = {waiting, completed}, .after_failure = {not_started}},
                       start_node()) +
                   with_lines({.before = {waiting},
                               .after_success = {completed},
                               .after_failure = {not_started}},
                              poll_node) +
                   with_lines({.before = {waiting, completed}},
                              get_result + find_group("@dgs") + send_online(device, 2, 3)));
}

// Imports the volume's group. The options change on the way, and with them the name under
// which the import is logged.
Steps import_group() {
    return each_failure_logs(
               {"OnlineDg dgn failed with res  {}"},
               allocate_guid({"OnlineDgExW():SetDgGuidParam() failed, error=({}) "}) +
                   find_group_by_guid("@dgn",
                                      {"OnlineDgExW():GetDgObjIdByGuid() failed, error=({}) "}, 2) +
                   find_cluster_service({"OnlineDgExW():GetClusSvcId() failed, error=({}) "}, 1) +
                   Steps{{create_set().nth(1), returns(FARLO_EXCEPTION)},
                         {add_property_to(1, "Name"), returns(FARLO_EXCEPTION)}}) +
           each_failure_logs({"OfflineDg dgn failed with res  {}"},
                             Steps{{add_any_property_to(1), returns(FARLO_EXCEPTION)},
                                   {create_set().nth(2), continues()}} +
                                 call_refused_method(method::import_group, passes_status_on()));
}

Steps online_not_imported() {
    const std::string device = "\\Device\\n-off";
    const std::string called = "OnlineDg dgn is called with flag 0x200881";
    const std::string imported = "OfflineDg dgn succeeded with res  0x0";
    const std::string not_imported = "OnlineVolW():OnlineDg()  failed, error=({}) ";
    // An exception in the import ends the whole call.
    const Steps import_throws = {{allocation, returns(FARLO_EXCEPTION)}};
    // The service reports success but has not imported the group.
    const Steps import_does_nothing = {
        {call_method(method::import_group).without_output(), returns(service_not_imported)}};
    return online_volume(
        device,
        with_lines({.after_success = {called, imported}}, check_node() + find_group("@dgn")) +
            with_lines({.before = {called}}, import_throws) +
            with_lines(
                {.before = {called}, .after_success = {imported}, .after_failure = {not_imported}},
                import_group()) +
            with_lines({.before = {called, imported}},
                       import_does_nothing + send_online(device, 2, 3)));
}

Steps offline_volume() {
    const std::string device = "\\Device\\s-on";
    const Outcome no_misc =
        returns(FARLO_PROVIDER_FAILED, {"OfflineVolW()::misc object not present"});
    return with_lines(
        {.before = {"Entering OfflineVolW - " + device},
         .after_success = {"OfflineVolW() succeeded for volume " + device + ", error=(0x0) "},
         .after_failure = {"OfflineVolW() failed for volume " + device + ", error=({}) "}},
        Steps{{get_objects(object_type::misc), no_misc},
              {get_node_role, returns(FARLO_EXCEPTION)}} +
            find_group_by_guid("@dgs", {"OfflineVolW:GetDgObjIdByGuid()  failed, error=({}) "}) +
            find_volume_by_device(device, FARLO_INVALID_ARGUMENT) +
            find_cluster_service({"OfflineDgExW():GetClusSvcId() failed, error=({}) "}) +
            invoke_method(method::offline_volume));
}

Steps dismount(const std::string& path) {
    return with_lines(
        {.before = {"Entering OfflineVolumeW - " + path},
         .after_success = {"OfflineVolumeW() succeeded for volume " + path + ", error=(0x0) "},
         .after_failure = {"OfflineVolumeW() failed for volume " + path + ", error=({}) "}},
        Steps{{call_of("CreateFileW"),
               passes_status_on({"OfflineVolumeW:CreateFileW for v1 failed {}"})},
              {call_of("FlushFileBuffers"),
               passes_status_on({"OfflineVolumeW: FlushFileBuffers for " + path + " failed {}"})},
              {call_of("DeviceIoControl"),
               passes_status_on({"OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for v1 failed {}"})}} +
            send_config_request());
}

// A volume whose name cannot be read is passed over.
Steps refresh_mount_path() {
    const Outcome not_found =
        returns(FARLO_PROVIDER_FAILED,
                {"FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  v1"});
    const Outcome refused = passes_status_on(
        {"FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed with error = {}."});
    return Steps{{get_objects(object_type::volume), not_found},
                 {get_property("@v1", "Name"), not_found}} +
           invoke_method(method::update_mount_path, refused);
}

}  // namespace

std::vector<ExportSteps> volume_steps() {
    return {{{"OnlineVolA", "OnlineVolW"}, "imported", online_imported()},
            {{"OnlineVolW"}, "node stopped", online_node_stopped()},
            {{"OnlineVolW"}, "not imported", online_not_imported()},
            {{"OfflineVolA", "OfflineVolW"}, "", offline_volume()},
            {{"OfflineVolumeA"}, "", dismount("\\\\.\\F:\\")},
            {{"OfflineVolumeW"}, "", dismount("\\\\.\\F:")},
            {{"FFUpdateMountPathA", "FFUpdateMountPathW"}, "", refresh_mount_path()}};
}

}  // namespace sweep
