// The volume manager's control devices: how one is opened, and how a request's
// record is sent to it.
#pragma once

#include "native_calls.h"

#include <cstdint>

namespace farlo {

// One try to open a device by its native name, to read and write, shared. What
// came is in `opened`, to be closed by the caller, and in `io_status`.
[[nodiscard]] NTSTATUS open_kernel_device(const wchar_t* name, ULONG options, HANDLE& opened,
                                          IO_STATUS_BLOCK& io_status);

// The two native statuses of a request.
struct ControlAnswer {
    NTSTATUS returned;
    NTSTATUS completed;

    // The driver's own, unless that is plain success.
    [[nodiscard]] NTSTATUS status() const {
        return completed != STATUS_SUCCESS ? completed : returned;
    }
};
[[nodiscard]] ControlAnswer send_control_record(HANDLE device, std::uint32_t code, void* record);

}  // namespace farlo
