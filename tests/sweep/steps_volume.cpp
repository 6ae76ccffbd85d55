// Volumes online and offline, their dismounting and mount paths.
#include "shared_steps.h"
#include "steps.h"

#include <cstdint>
#include <utility>

namespace sweep {
namespace {

// The service's, for a volume whose group is not imported.
constexpr std::uint32_t service_not_imported = 0xe5150102;

constexpr char misc_role[] = "ObGetProperty @misc \"nodeRole\"";

// The lines around everything that OnlineVol does.
Steps onlines(const std::string& device, Steps steps) {
    return framed({"Entering OnlineVolW - " + device},
                  {"OnlineVolW() succeeded for volume " + device + ", error=(0x0) "},
                  {"OnlineVolW() failed for volume " + device + ", error=({}) "}, std::move(steps));
}

Steps node_looked_at() {
    const Outcome missing =
        answers(FARLO_PROVIDER_FAILED, {"OnlineVolW()::misc object not present"});
    return {{"DbGetObjects tamo_ztvm_misc", missing, 1}, {misc_role, answers(FARLO_EXCEPTION), 1}};
}

// A group that is not found is looked for again.
Steps group_looked_at(const std::string& group) {
    return Steps{{"DbGetObjects tamo_ztvm_diskgroup", goes_on()},
                 {"ObGetProperty " + group + " \"LDM DG TYPE\"", goes_on({by_guid_fails}), 1},
                 {"ObGetProperty " + group + " \"dgid\"", goes_on({by_guid_fails}), 1},
                 {"ObGetProperty " + group + " \"imported\"", answers(FARLO_EXCEPTION)},
                 {"ObGetProperty " + group + " \"Name\"", answers(FARLO_EXCEPTION)}} +
           other_groups("dgid");
}

// The n-th search for the cluster service and the n-th set are the request's.
Steps volume_asked_for(const std::string& device, unsigned search, unsigned set) {
    return volume_by_device(device, FARLO_INVALID_ARGUMENT) +
           cluster_service({"OnlineVolW():GetClusSvcId() failed, error=({}) "}, search) +
           method("0.6063", passes_on(), set);
}

Steps online_imported() {
    const std::string device = "\\Device\\s-off";
    return onlines(device,
                   node_looked_at() + group_looked_at("@dgs") + volume_asked_for(device, 1, 1));
}

// The thread's steps up to its wait for the node. That others start it makes no difference.
Steps node_started() {
    return Steps{
               {"DbGetObjects tamo_ztvm_misc",
                answers(FARLO_PROVIDER_FAILED, {"CVMClusterStart::misc object not present"}), 2},
               {"CreateMutexA", answers(FARLO_EXCEPTION,
                                        {"CVMClusterStart: CreateMutexA failed, error=({call}) "})},
               {"WaitForSingleObject", goes_on()},
               {misc_role, answers(FARLO_EXCEPTION), 2}} +
           ended_by({"CVMClusterStart:StartCVMCluster failed, error=({}) "},
                    node_method("StartCVMClusterW", "0.6058"));
}

Steps online_node_stopped() {
    const std::string device = "\\Device\\s-off";
    const std::string waiting = "CVMClusterStart: Waiting for the CVM cluster start to complete";
    const std::string completed = "CVMClusterStart: CVM cluster start completed";
    const std::string not_started = "OnlineVolW():Could not start CVM Cluster";
    const std::string wait_fails = "OnlineVolW(): WaitForSingleObject failed! error=({}) ";
    // The thread goes on without its maker.
    const Steps unwaited =
        framed({}, {}, {waiting, completed},
               onlines(device, {{"WaitForSingleObject fails", passes_on({wait_fails}), 1}}));
    const Steps waited = {
        {"WaitForSingleObject abandoned", answers(FARLO_PROVIDER_FAILED, {wait_fails}), 1},
        {"GetExitCodeThread", passes_on({"OnlineVolW(): GetExitCodeThread failed! error=({}) "})}};
    const Steps no_thread = {
        {"CreateThread",
         answers(FARLO_EXCEPTION, {"OnlineVolW():CreateThread failed error=({call}) "})}};
    const Steps polled = {{misc_role, answers(FARLO_EXCEPTION), 3},
                          {"ObGetProperty @misc \"nodeStatus\"", answers(FARLO_EXCEPTION)}};
    // The last steps stand in front: they are told from the thread's by their numbers.
    return unwaited +
           onlines(device,
                   framed({waiting, completed}, {}, {},
                          group_looked_at("@dgs") + volume_asked_for(device, 2, 3) + waited) +
                       framed({}, {waiting, completed}, {}, node_looked_at() + no_thread) +
                       framed({}, {waiting, completed}, {not_started}, node_started()) +
                       framed({waiting}, {completed}, {not_started}, polled));
}

// The import of the volume's group, which changes the options before it sends them.
Steps group_imported() {
    return ended_by({"OnlineDg dgn failed with res  {}"},
                    guid_text({"OnlineDgExW():SetDgGuidParam() failed, error=({}) "}) +
                        group_by_guid("@dgn",
                                      {"OnlineDgExW():GetDgObjIdByGuid() failed, error=({}) "}, 2) +
                        cluster_service({"OnlineDgExW():GetClusSvcId() failed, error=({}) "}, 1) +
                        Steps{{"PsCreatePropset", answers(FARLO_EXCEPTION), 1},
                              {"PsAddProperty #1 \"Name\"", answers(FARLO_EXCEPTION)}}) +
           ended_by({"OfflineDg dgn failed with res  {}"}, method("0.2003"));
}

Steps online_not_imported() {
    const std::string device = "\\Device\\n-off";
    const std::string called = "OnlineDg dgn is called with flag 0x200881";
    const std::string imported = "OfflineDg dgn succeeded with res  0x0";
    const std::string not_imported = "OnlineVolW():OnlineDg()  failed, error=({}) ";
    // A service that did not do what it was asked for.
    const Steps not_done = {{"PrCallDispatch 0.2003 nothing", answers(service_not_imported)}};
    const Steps request = {{"PsAddProperty #3", answers(FARLO_EXCEPTION)}};
    // An import that ends by an exception ends the call.
    const Steps import_thrown = {{"memory", answers(FARLO_EXCEPTION)}};
    return onlines(
        device, framed({called, imported}, {}, {}, not_done + request) +
                    framed({called}, {}, {}, import_thrown) +
                    framed({called}, {imported}, {not_imported}, group_imported()) +
                    framed({}, {called, imported}, {}, node_looked_at() + group_looked_at("@dgn")) +
                    framed({called, imported}, {}, {}, volume_asked_for(device, 2, 3)));
}

Steps offline() {
    const std::string device = "\\Device\\s-on";
    return framed(
        {"Entering OfflineVolW - " + device},
        {"OfflineVolW() succeeded for volume " + device + ", error=(0x0) "},
        {"OfflineVolW() failed for volume " + device + ", error=({}) "},
        Steps{{"DbGetObjects tamo_ztvm_misc",
               answers(FARLO_PROVIDER_FAILED, {"OfflineVolW()::misc object not present"})},
              {misc_role, answers(FARLO_EXCEPTION)}} +
            group_by_guid("@dgs", {"OfflineVolW:GetDgObjIdByGuid()  failed, error=({}) "}) +
            other_groups("dgid") + volume_by_device(device, FARLO_INVALID_ARGUMENT) +
            cluster_service({"OfflineDgExW():GetClusSvcId() failed, error=({}) "}) +
            method("0.6064"));
}

Steps dismount(const std::string& path) {
    return framed({"Entering OfflineVolumeW - " + path},
                  {"OfflineVolumeW() succeeded for volume " + path + ", error=(0x0) "},
                  {"OfflineVolumeW() failed for volume " + path + ", error=({}) "},
                  Steps{{"CreateFileW", passes_on({"OfflineVolumeW:CreateFileW for v1 failed {}"})},
                        {"FlushFileBuffers", passes_on({"OfflineVolumeW: FlushFileBuffers for " +
                                                        path + " failed {}"})},
                        {"DeviceIoControl",
                         passes_on({"OfflineVolumeW: FSCTL_DISMOUNT_VOLUME  for v1 failed {}"})}} +
                      config_request());
}

// A volume whose name cannot be read is passed over.
Steps refresh() {
    const Outcome not_found =
        answers(FARLO_PROVIDER_FAILED,
                {"FFUpdateMountPath: FindVolIdByDLorDevName - failed to find volume  v1"});
    return Steps{{"DbGetObjects tamo_ztvm_volume", not_found},
                 {"ObGetProperty @v1 \"Name\"", not_found}} +
           method("0.3041",
                  passes_on({"FFUpdateMountPath: MISCOP_UPDATE_MOUNTPATH, PrCallDispatch failed "
                             "with error = {}."}));
}

}  // namespace

std::vector<StepsOf> volume_steps() {
    return {{{"OnlineVolA", "OnlineVolW"}, "imported", online_imported()},
            {{"OnlineVolW"}, "node stopped", online_node_stopped()},
            {{"OnlineVolW"}, "not imported", online_not_imported()},
            {{"OfflineVolA", "OfflineVolW"}, "", offline()},
            {{"OfflineVolumeA"}, "", dismount("\\\\.\\F:\\")},
            {{"OfflineVolumeW"}, "", dismount("\\\\.\\F:")},
            {{"FFUpdateMountPathA", "FFUpdateMountPathW"}, "", refresh()}};
}

}  // namespace sweep
