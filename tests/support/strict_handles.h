// The lab's strict mode for a part of a test.
#pragma once

#include "ztcmd/lab_cmd.h"

namespace support {

// Switches the strict mode (LabCmdStrict in lab_cmd.h) on or off while the object exists.
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
