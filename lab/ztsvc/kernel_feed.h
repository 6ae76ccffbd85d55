// What the volume manager's driver is told of the storage, and what programs told
// it. Without the driver it does nothing.
#pragma once

#include "control_device.h"
#include "locks.h"
#include "store.h"

namespace lab {

class KernelFeed {
  public:
    // Feeds the driver now, and with every change of the store.
    explicit KernelFeed(Store& store);
    ~KernelFeed() { m_store.set_change_sink({}); }
    KernelFeed(const KernelFeed&) = delete;
    KernelFeed& operator=(const KernelFeed&) = delete;

    bool has_driver() const { return static_cast<bool>(m_control); }

    // Does to the store what programs told the driver. To be called before the
    // store answers, so that it never tells what is over.
    void collect();

  private:
    void feed(Model& model, const std::vector<opal_objid>& changed);

    Store& m_store;
    ControlDevice m_control;
    SRWLOCK m_collect_lock = SRWLOCK_INIT;
};

}  // namespace lab
