// A start or stop of the node in progress.
#pragma once

#include <cstdint>

namespace lab {

class Model;

struct NodeTransition {
    enum class To { none, running, stopped };
    To to = To::none;
    std::uint64_t due_ms = 0;  // on the store's clock

    bool is_due(std::uint64_t now_ms) const { return to != To::none && now_ms >= due_ms; }
};

// The state of the node as MISCOP_GETNODESTATE returns it.
enum NodeState : std::uint32_t {
    node_stopped = 0,
    node_starting = 1,
    node_running = 2,
    node_stopping = 3,
    node_failed = 4,
};
NodeState node_state(const NodeTransition& transition, std::uint32_t role, std::uint32_t status);

// Completes the transition if it is due.
void settle_node(Model& model, std::uint64_t now_ms);

}  // namespace lab
