#include "diskgroup/info_device.h"

#include "api/farlo.h"
#include "core/kernel_device.h"
#include "core/windows_handle.h"
#include "dmcontrol.h"

#include <atomic>

namespace farlo {
namespace {

constexpr int open_tries = 3;
constexpr DWORD open_pause_ms = 1000;

// Opened at the first request, never closed. There is no lock: two first requests at
// the same time may both open the device, and the later handle stays.
std::atomic<HANDLE> info_device{nullptr};

std::uint32_t native_to_status(NTSTATUS native) {
    switch (native) {
    case STATUS_SUCCESS:
        return FARLO_SUCCESS;
    case STATUS_OBJECT_NAME_NOT_FOUND:
        return FARLO_NOT_FOUND;
    case STATUS_SHARING_VIOLATION:
        return FARLO_DEVICE_SHARING_VIOLATION;
    default:
        return FARLO_DEVICE_FAILED;
    }
}

// The status of an open call. Its path is not found if no driver has made the folder of
// the devices.
std::uint32_t opening_to_status(NTSTATUS native) {
    return native == STATUS_OBJECT_PATH_NOT_FOUND ? FARLO_NOT_FOUND : native_to_status(native);
}

// Tries once. A failure that only the I/O status block reports counts, too.
std::uint32_t open_once(Handle& device) {
    HANDLE opened = nullptr;
    IO_STATUS_BLOCK io_status{};
    const NTSTATUS status =
        open_kernel_device(DM_INFO_DEVICE, FILE_SYNCHRONOUS_IO_ALERT, opened, io_status);
    if (!NT_SUCCESS(status)) {
        return opening_to_status(status);
    }
    device = Handle(opened);
    if (!NT_SUCCESS(io_status.Status)) {
        device.close();
        return opening_to_status(io_status.Status);
    }
    return FARLO_SUCCESS;
}

std::uint32_t open_info_device() {
    std::uint32_t status = FARLO_SUCCESS;
    for (int attempt = 0; attempt < open_tries; ++attempt) {
        Handle device;
        status = open_once(device);
        if (status == FARLO_SUCCESS) {
            info_device = device.release();
            return status;
        }
        Sleep(open_pause_ms);
    }
    return status;
}

}  // namespace

std::uint32_t DmInfoIoctl(std::uint32_t code, void* record) {
    if (info_device == nullptr) {
        const std::uint32_t status = open_info_device();
        if (status != FARLO_SUCCESS) {
            return status;
        }
    }
    const ControlAnswer answer = send_control_record(info_device, code, record);
    if (answer.returned == STATUS_OBJECT_NAME_NOT_FOUND) {
        return FARLO_NOT_FOUND;
    }
    return native_to_status(answer.status());
}

}  // namespace farlo
