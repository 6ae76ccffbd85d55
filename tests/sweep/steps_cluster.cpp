// Fast-failover flag, state of the cluster service, cluster node.
#include "sweep/shared_steps.h"
#include "sweep/steps.h"

using namespace support;

namespace sweep {
namespace {

Steps set_fast_failover_flag() {
    return find_group_by_name("@dgc", {"SetFastFailoverFlag():GetDgObjId() failed, error=({}) "}) +
           each_failure_logs({"SetFastFailoverFlag() failed, error=({}) "},
                             invoke_method(method::set_fast_failover_flag));
}

Steps set_cluster_service_state() {
    return each_failure_logs(
        {"ClusterServiceState() failed, error=({}) "},
        find_cluster_service({"ClusterServiceState: GetClusSvcId failed with error = {}"}) +
            invoke_method(method::set_cluster_service_state));
}

// Without a readable state the caller's value is left alone.
Steps get_node_state() {
    return invoke_node_method("GetCVMClusterNodeStateW", method::get_node_state) +
           Steps{{find_property("nodeState"), continues()}};
}

}  // namespace

std::vector<ExportSteps> cluster_steps() {
    return {{{"SetFastFailoverFlagW"}, "", set_fast_failover_flag()},
            {{"ClusterServiceStateA", "ClusterServiceStateW"}, "", set_cluster_service_state()},
            {{"StartCVMClusterW"}, "", invoke_node_method("StartCVMClusterW", method::start_node)},
            {{"StopCVMClusterW"}, "", invoke_node_method("StopCVMClusterW", method::stop_node)},
            {{"GetCVMClusterNodeStateW"}, "", get_node_state()}};
}

}  // namespace sweep
