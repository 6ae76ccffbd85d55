// What the clients of a service share.
#pragma once

#include "store/fault_plan.h"
#include "store/store.h"
#include "ztsvc/call_recorder.h"
#include "ztsvc/kernel_feed.h"
#include "ztsvc/log.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace lab {

struct ServiceParts {
    Store& store;
    FaultPlan& faults;
    KernelFeed& kernel;
    const Log& log;
    CallRecorder& recorder;

    // Set by the server.
    std::function<std::vector<ClientName>()> clients = {};
    // Disconnects a client. Returns false if there is no such client.
    std::function<bool(std::uint32_t number)> drop_client = {};
};

}  // namespace lab
