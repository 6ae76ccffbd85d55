// Making, remaking and releasing the connection of a handle.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Connects the handle in `slot`, or reconnects one that is no longer connected
// (three tries, 500 ms apart). 0, or 20 when there is no connection.
[[nodiscard]] std::uint32_t ValidateClusterW(opal_handle* slot);

// Releases a handle: 0, or 21 when the command library refused. The caller's
// slot is not cleared.
[[nodiscard]] std::uint32_t UnInitializeClusterW(opal_handle handle);

// A connection that one call makes for itself; released when it goes out of scope.
class OwnConnection {
  public:
    OwnConnection() = default;
    ~OwnConnection();
    OwnConnection(const OwnConnection&) = delete;
    OwnConnection& operator=(const OwnConnection&) = delete;

    // NULL while none was made.
    opal_handle get() const { return m_handle; }
    opal_handle* slot() { return &m_handle; }

  private:
    opal_handle m_handle = nullptr;
};

// Validation for a call that was given a handle, but not its slot. The handle is
// never released: others may be using it. A handle that is still connected is
// validated as ValidateClusterW does. For one that has dropped, `own` is
// connected, with the tries, pauses and log lines of a reconnection. It carries
// neither the alerts nor the provider runtime, as it does not outlive the call:
// the next ValidateClusterW starts those. 0, or 20 when there is no connection.
[[nodiscard]] std::uint32_t validate_borrowed(opal_handle handle, OwnConnection& own);

}  // namespace farlo
