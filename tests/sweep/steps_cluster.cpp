// Fast-failover flag, state of the cluster service, cluster node.
#include "shared_steps.h"
#include "steps.h"

namespace sweep {
namespace {

Steps fast_failover() {
    return find_group_by_name("@dgc", {"SetFastFailoverFlag():GetDgObjId() failed, error=({}) "}) +
           each_failure_logs({"SetFastFailoverFlag() failed, error=({}) "},
                             invoke_method("0.2027"));
}

Steps service_state() {
    return each_failure_logs(
        {"ClusterServiceState() failed, error=({}) "},
        find_cluster_service({"ClusterServiceState: GetClusSvcId failed with error = {}"}) +
            invoke_method("0.2028"));
}

}  // namespace

std::vector<ExportSteps> cluster_steps() {
    return {{{"SetFastFailoverFlagW"}, "", fast_failover()},
            {{"ClusterServiceStateA", "ClusterServiceStateW"}, "", service_state()},
            {{"StartCVMClusterW"}, "", invoke_node_method("StartCVMClusterW", "0.6058")},
            {{"StopCVMClusterW"}, "", invoke_node_method("StopCVMClusterW", "0.6059")},
            {{"GetCVMClusterNodeStateW"},
             "",
             invoke_node_method("GetCVMClusterNodeStateW", "0.6060") +
                 Steps{{"PsFindProperty \"nodeState\"", continues()}}}};
}

}  // namespace sweep
