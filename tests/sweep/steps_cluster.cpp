// Fast-failover flag, state of the cluster service, cluster node.
#include "shared_steps.h"
#include "steps.h"

namespace sweep {
namespace {

Steps fast_failover() {
    return group_by_name("@dgc", {"SetFastFailoverFlag():GetDgObjId() failed, error=({}) "}) +
           ended_by({"SetFastFailoverFlag() failed, error=({}) "}, method("0.2027"));
}

Steps service_state() {
    return ended_by({"ClusterServiceState() failed, error=({}) "},
                    cluster_service({"ClusterServiceState: GetClusSvcId failed with error = {}"}) +
                        method("0.2028"));
}

}  // namespace

std::vector<StepsOf> cluster_steps() {
    return {{{"SetFastFailoverFlagW"}, "", fast_failover()},
            {{"ClusterServiceStateA", "ClusterServiceStateW"}, "", service_state()},
            {{"StartCVMClusterW"}, "", node_method("StartCVMClusterW", "0.6058")},
            {{"StopCVMClusterW"}, "", node_method("StopCVMClusterW", "0.6059")},
            {{"GetCVMClusterNodeStateW"},
             "",
             node_method("GetCVMClusterNodeStateW", "0.6060") +
                 Steps{{"PsFindProperty \"nodeState\"", goes_on()}}}};
}

}  // namespace sweep
