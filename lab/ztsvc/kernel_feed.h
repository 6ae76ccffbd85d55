// Keeps the volume manager's driver and the store in step: the driver learns of
// changes in the store, the store of requests to the driver. Does nothing if the
// driver is not loaded.
#pragma once

#include "dmcontrol/control_device.h"
#include "store/locks.h"
#include "store/store.h"

namespace lab {

class KernelFeed {
  public:
    // Sends the driver the storage now, and every change later.
    explicit KernelFeed(Store& store);
    ~KernelFeed() { m_store.set_change_sink({}); }
    KernelFeed(const KernelFeed&) = delete;
    KernelFeed& operator=(const KernelFeed&) = delete;

    bool has_driver() const { return static_cast<bool>(m_control); }

    // Makes the driver return a status for the next requests with a code of dmcontrol.h; 0
    // requests end that. Throws std::runtime_error without a driver.
    void plan_reply(std::uint32_t code, std::uint32_t status, std::uint32_t requests);

    // Applies to the store what programs requested from the driver. Call it before
    // each request to the store, so that no answer is out of date.
    void collect();

  private:
    void feed(Model& model, const std::vector<opal_objid>& changed);

    Store& m_store;
    ControlDevice m_control;
    SRWLOCK m_collect_lock = SRWLOCK_INIT;
};

}  // namespace lab
