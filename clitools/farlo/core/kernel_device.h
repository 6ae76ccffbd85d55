// Opening the volume manager's control devices, and sending them requests.
#pragma once

#include "core/native_calls.h"

#include <cstdint>

namespace farlo {

// Tries once to open a device by its native name for reading and writing, shared.
// Stores the handle, which the caller closes, and the I/O status.
[[nodiscard]] NTSTATUS open_kernel_device(const wchar_t* name, ULONG options, HANDLE& opened,
                                          IO_STATUS_BLOCK& io_status);

// The two native statuses of a request.
struct ControlAnswer {
    NTSTATUS returned;
    NTSTATUS completed;

    // The status with which the driver completed the request, unless that is plain
    // success.
    [[nodiscard]] NTSTATUS status() const {
        return completed != STATUS_SUCCESS ? completed : returned;
    }
};
[[nodiscard]] ControlAnswer send_control_record(HANDLE device, std::uint32_t code, void* record);

}  // namespace farlo
