// Volumes online and offline, their dismounting and mount paths.
#include "shared_steps.h"
#include "steps.h"

#include <cstdint>
#include <utility>

using namespace support;

namespace sweep {
namespace {

const CallPattern misc_role = get_property("@misc", "nodeRole");

// The lines around everything that OnlineVol does.
Steps online_lines(const std::string& device, Steps steps) {
    return framed({"Entering OnlineVolW - " + device},
                  {"OnlineVolW() succeeded for volume " + device + ", error=(0x0) "},
                  {"OnlineVolW() failed for volume " + device + ", error=({}) "}, std::move(steps));
}

Steps find_node() {
    const Outcome missing =
        returns(FARLO_PROVIDER_FAILED, {"OnlineVolW()::misc object not present"});
    return {{get_objects(object_type::misc), missing, 1}, {misc_role, returns(FARLO_EXCEPTION), 1}};
}

// A group that is not found is looked for again.
Steps find_group(const std::string& group) {
    return Steps{{get_objects(object_type::disk_group), continues()},
                 {get_property(group, "LDM DG TYPE"), continues({not_found_by_guid}), 1},
                 {get_property(group, "dgid"), continues({not_found_by_guid}), 1},
                 {get_property(group, "imported"), returns(FARLO_EXCEPTION)},
                 {get_property(group, "Name"), returns(FARLO_EXCEPTION)}} +
           other_groups("dgid");
}

// The n-th search for the cluster service and the n-th set are the request's.
Steps request_online(const std::string& device, unsigned search, unsigned set) {
    return find_volume_by_device(device, FARLO_INVALID_ARGUMENT) +
           find_cluster_service({"OnlineVolW():GetClusSvcId() failed, error=({}) "}, search) +
           invoke_method(method::online_volume, passes_status_on(), set);
}

Steps online_imported() {
    const std::string device = "\\Device\\s-off";
    return online_lines(device, find_node() + find_group("@dgs") + request_online(device, 1, 1));
}

// The thread's steps up to its wait for the node. That others start it makes no difference.
Steps start_node() {
    return Steps{
               {get_objects(object_type::misc),
                returns(FARLO_PROVIDER_FAILED, {"CVMClusterStart::misc object not present"}), 2},
               {"CreateMutexA", returns(FARLO_EXCEPTION,
                                        {"CVMClusterStart: CreateMutexA failed, error=({call}) "})},
               {"WaitForSingleObject", continues()},
               {misc_role, returns(FARLO_EXCEPTION), 2}} +
           each_failure_logs({"CVMClusterStart:StartCVMCluster failed, error=({}) "},
                             invoke_node_method("StartCVMClusterW", method::start_node));
}

Steps online_node_stopped() {
    const std::string device = "\\Device\\s-off";
    const std::string waiting = "CVMClusterStart: Waiting for the CVM cluster start to complete";
    const std::string completed = "CVMClusterStart: CVM cluster start completed";
    const std::string not_started = "OnlineVolW():Could not start CVM Cluster";
    const std::string wait_fails = "OnlineVolW(): WaitForSingleObject failed! error=({}) ";
    // The thread goes on without its maker.
    const Steps unwaited = framed(
        {}, {}, {waiting, completed},
        online_lines(device, {{"WaitForSingleObject fails", passes_status_on({wait_fails}), 1}}));
    const Steps waited = {
        {"WaitForSingleObject abandoned", returns(FARLO_PROVIDER_FAILED, {wait_fails}), 1},
        {"GetExitCodeThread",
         passes_status_on({"OnlineVolW(): GetExitCodeThread failed! error=({}) "})}};
    const Steps no_thread = {
        {"CreateThread",
         returns(FARLO_EXCEPTION, {"OnlineVolW():CreateThread failed error=({call}) "})}};
    const Steps polled = {{misc_role, returns(FARLO_EXCEPTION), 3},
                          {get_property("@misc", "nodeStatus"), returns(FARLO_EXCEPTION)}};
    // The last steps stand in front: they are told from the thread's by their numbers.
    return unwaited +
           online_lines(device, framed({waiting, completed}, {}, {},
                                       find_group("@dgs") + request_online(device, 2, 3) + waited) +
                                    framed({}, {waiting, completed}, {}, find_node() + no_thread) +
                                    framed({}, {waiting, completed}, {not_started}, start_node()) +
                                    framed({waiting}, {completed}, {not_started}, polled));
}

// The import of the volume's group, which changes the options before it sends them.
Steps import_group() {
    return each_failure_logs(
               {"OnlineDg dgn failed with res  {}"},
               guid_string({"OnlineDgExW():SetDgGuidParam() failed, error=({}) "}) +
                   find_group_by_guid("@dgn",
                                      {"OnlineDgExW():GetDgObjIdByGuid() failed, error=({}) "}, 2) +
                   find_cluster_service({"OnlineDgExW():GetClusSvcId() failed, error=({}) "}, 1) +
                   Steps{{create_set(), returns(FARLO_EXCEPTION), 1},
                         {add_property_to(1, "Name"), returns(FARLO_EXCEPTION)}}) +
           each_failure_logs({"OfflineDg dgn failed with res  {}"},
                             invoke_method(method::import_group));
}

Steps online_not_imported() {
    const std::string device = "\\Device\\n-off";
    const std::string called = "OnlineDg dgn is called with flag 0x200881";
    const std::string imported = "OfflineDg dgn succeeded with res  0x0";
    const std::string not_imported = "OnlineVolW():OnlineDg()  failed, error=({}) ";
    // A service that did not do what it was asked for.
    const Steps not_done = {
        {call_method(method::import_group).without_output(), returns(service_not_imported)}};
    const Steps request = {{add_any_property_to(3), returns(FARLO_EXCEPTION)}};
    // An import that ends by an exception ends the call.
    const Steps import_thrown = {{allocation, returns(FARLO_EXCEPTION)}};
    return online_lines(device,
                        framed({called, imported}, {}, {}, not_done + request) +
                            framed({called}, {}, {}, import_thrown) +
                            framed({called}, {imported}, {not_imported}, import_group()) +
                            framed({}, {called, imported}, {}, find_node() + find_group("@dgn")) +
                            framed({called, imported}, {}, {}, request_online(device, 2, 3)));
}

Steps offline() {
    const std::string device = "\\Device\\s-on";
    return framed(
        {"Entering OfflineVolW - " + device},
        {"OfflineVolW() succeeded for volume " + device + ", error=(0x0) "},
        {"OfflineVolW() failed for volume " + device + ", error=({}) "},
        Steps{{get_objects(object_type::misc),
               returns(FARLO_PROVIDER_FAILED, {"OfflineVolW()::misc object not present"})},
              {misc_role, returns(FARLO_EXCEPTION)}} +
            find_group_by_guid("@dgs", {"OfflineVolW:GetDgObjIdByGuid()  failed, error=({}) "}) +
            other_groups("dgid") + find_volume_by_device(device, FARLO_INVALID_ARGUMENT) +
            find_cluster_service({"OfflineDgExW():GetClusSvcId() failed, error=({}) "}) +
            invoke_method(method::offline_volume));
}

Steps dismount(const std::string& path) {
    return framed(
        {"Entering OfflineVolumeW - " + path},
        {"OfflineVolumeW() succeeded for volume " + path + ", error=(0x0) "},
        {"OfflineVolumeW() failed for volume " + path + ", error=({}) "},
        Steps{{"CreateFileW", passes_status_on({"OfflineVolumeW:CreateFileW for v1 failed {}"})},
              {"FlushFileBuffers",
               passes_status_on({"OfflineVolumeW: FlushFileBuffers for " + path + " failed {}"})},
              {"DeviceIoControl",
               passes_status_on({"OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for v1 failed {}"})}} +
            config_device_request());
}

// A volume whose name cannot be read is passed over.
Steps refresh() {
    const Outcome not_found =
        returns(FARLO_PROVIDER_FAILED,
                {"FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  v1"});
    return Steps{{get_objects(object_type::volume), not_found},
                 {get_property("@v1", "Name"), not_found}} +
           invoke_method(method::update_mount_path,
                         passes_status_on(
                             {"FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed "
                              "with error = {}."}));
}

}  // namespace

std::vector<ExportSteps> volume_steps() {
    return {{{"OnlineVolA", "OnlineVolW"}, "imported", online_imported()},
            {{"OnlineVolW"}, "node stopped", online_node_stopped()},
            {{"OnlineVolW"}, "not imported", online_not_imported()},
            {{"OfflineVolA", "OfflineVolW"}, "", offline()},
            {{"OfflineVolumeA"}, "", dismount("\\\\.\\F:\\")},
            {{"OfflineVolumeW"}, "", dismount("\\\\.\\F:")},
            {{"FFUpdateMountPathA", "FFUpdateMountPathW"}, "", refresh()}};
}

}  // namespace sweep
