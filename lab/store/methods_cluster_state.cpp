// Settings of the cluster, stored as properties of the target.
#include "store/methods.h"
#include "store/service_status.h"

namespace lab {
namespace {

opal_status store_number(MethodCall& call, const char* name) {
    const std::uint32_t* value = call.number(name);
    if (value == nullptr) {
        return status_missing_parameter;
    }
    call.model.set(call.target, name, uint32_value(*value));
    return ZTSTATUS_OK;
}

}  // namespace

opal_status set_fast_failover(MethodCall& call) {
    return store_number(call, "FastFailoverFlag");
}

opal_status set_cluster_service_state(MethodCall& call) {
    return store_number(call, "ServiceState");
}

}  // namespace lab
