// The lab's strict mode (lab_cmd.h, LabCmdStrict) in one test.
#pragma once

#include "ztcmd/lab_cmd.h"

namespace support {

// Switches the mode on or off while it is in scope.
class StrictHandles {
  public:
    explicit StrictHandles(bool on) : m_before(LabCmdStrict(on ? 1 : 0)) {}
    ~StrictHandles() { LabCmdStrict(m_before); }
    StrictHandles(const StrictHandles&) = delete;
    StrictHandles& operator=(const StrictHandles&) = delete;

  private:
    int m_before;
};

}  // namespace support
