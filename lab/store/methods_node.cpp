// Start, stop and state of the cluster volume manager on this node. The misc
// object has its role and failure, and how long starts and stops take.
#include "store/methods.h"
#include "store/service_status.h"

namespace lab {
namespace {

constexpr std::uint32_t start_failed = 1;  // "nodeStatus"

Object* misc_of(Model& model) {
    const std::vector<opal_objid>& misc = model.of_type(ZTTYPE_MISC);
    return misc.empty() ? nullptr : model.find(misc.front());
}

NodeState state_of(const NodeTransition& transition, const Object& misc) {
    return node_state(transition, misc.number("nodeRole"), misc.number("nodeStatus"));
}

void begin(MethodCall& call, NodeTransition::To to, std::uint32_t seconds) {
    call.model.node = {to, call.now_ms + 1000 * std::uint64_t{seconds}};
    settle_node(call.model, call.now_ms);
}

}  // namespace

NodeState node_state(const NodeTransition& transition, std::uint32_t role, std::uint32_t status) {
    if (transition.to != NodeTransition::To::none) {
        return transition.to == NodeTransition::To::running ? node_starting : node_stopping;
    }
    if (role != 0) {
        return node_running;
    }
    return status != 0 ? node_failed : node_stopped;
}

void settle_node(Model& model, std::uint64_t now_ms) {
    if (!model.node.is_due(now_ms)) {
        return;
    }
    const bool starts = model.node.to == NodeTransition::To::running;
    model.node.to = NodeTransition::To::none;
    Object* misc = misc_of(model);
    if (misc == nullptr) {
        return;
    }
    if (starts && misc->is_true("startFails")) {
        model.set(*misc, "nodeStatus", uint32_value(start_failed));
    } else {
        model.set(*misc, "nodeRole", uint32_value(starts ? misc->number("startRole") : 0));
    }
}

opal_status start_node(MethodCall& call) {
    Object* misc = misc_of(call.model);
    if (misc == nullptr) {
        return status_no_node;
    }
    switch (state_of(call.model.node, *misc)) {
    case node_starting:
    case node_running:
        return ZTERROR_NODE_ALREADY_STARTED;
    case node_stopping:
        return status_node_busy;
    default:
        call.model.set(*misc, "nodeStatus", uint32_value(0));
        begin(call, NodeTransition::To::running, misc->number("startSeconds"));
        return ZTSTATUS_OK;
    }
}

opal_status stop_node(MethodCall& call) {
    const Object* misc = misc_of(call.model);
    if (misc == nullptr) {
        return status_no_node;
    }
    switch (state_of(call.model.node, *misc)) {
    case node_running:
        begin(call, NodeTransition::To::stopped, misc->number("stopSeconds"));
        return ZTSTATUS_OK;
    case node_starting:
    case node_stopping:
        return status_node_busy;
    default:
        return status_node_not_running;
    }
}

opal_status get_node_state(MethodCall& call) {
    const Object* misc = misc_of(call.model);
    if (misc == nullptr) {
        return status_no_node;
    }
    call.output.push_back({"nodeState", uint32_value(state_of(call.model.node, *misc))});
    return ZTSTATUS_OK;
}

}  // namespace lab
