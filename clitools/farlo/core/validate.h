// Connecting, reconnecting and releasing a handle.
#pragma once

#include "ztcmd.h"

#include <cstdint>

namespace farlo {

// Connects the handle in `slot`, or reconnects one that is no longer connected (three
// tries, 500 ms apart). Returns 0, or 20 when there is no connection.
[[nodiscard]] std::uint32_t ValidateClusterW(opal_handle* slot);

// Releases a handle. Returns 0, or 21 when the command library refused. The caller's
// slot is not cleared.
[[nodiscard]] std::uint32_t UnInitializeClusterW(opal_handle handle);

// A connection that one call makes for itself. It is released when it goes out of
// scope.
class OwnConnection {
  public:
    OwnConnection() = default;
    ~OwnConnection();
    OwnConnection(const OwnConnection&) = delete;
    OwnConnection& operator=(const OwnConnection&) = delete;

    // NULL while there is no connection.
    opal_handle get() const { return m_handle; }
    opal_handle* slot() { return &m_handle; }

  private:
    opal_handle m_handle = nullptr;
};

// Validates for a call that was given a handle, but not its slot. A handle that is
// still connected is validated as by ValidateClusterW. If the handle has dropped,
// connects `own`, with the tries, pauses and log lines of a reconnection, and without
// alerts and provider runtime: it does not outlive the call, and the next
// ValidateClusterW starts those. Never releases the handle, which others may be using.
// Returns 0, or 20 when there is no connection.
[[nodiscard]] std::uint32_t validate_borrowed(opal_handle handle, OwnConnection& own);

}  // namespace farlo
