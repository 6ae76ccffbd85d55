#include "volume/config_device.h"

#include "api/farlo.h"
#include "core/kernel_device.h"
#include "core/windows_handle.h"
#include "dmcontrol.h"

namespace farlo {
namespace {

constexpr int open_tries = 3;
constexpr DWORD open_pause_ms = 1000;

// The info device maps native statuses to other numbers.
std::uint32_t native_to_status(NTSTATUS native) {
    switch (native) {
    case STATUS_SUCCESS:
        return FARLO_SUCCESS;
    case STATUS_SHARING_VIOLATION:
        return FARLO_DEVICE_SHARING_VIOLATION;
    case STATUS_UNSUCCESSFUL:
        return FARLO_DEVICE_UNSUCCESSFUL;
    case STATUS_NO_SUCH_DEVICE:
        return FARLO_NOT_FOUND;
    case STATUS_INVALID_PARAMETER:
        return FARLO_MISSING_ARGUMENT;
    default:
        return FARLO_DEVICE_FAILED;
    }
}

// Returns the native status of the last try.
NTSTATUS open_config_device(Handle& device) {
    NTSTATUS status = STATUS_SUCCESS;
    for (int attempt = 0; attempt < open_tries; ++attempt) {
        HANDLE opened = nullptr;
        IO_STATUS_BLOCK io_status{};
        status =
            open_kernel_device(DM_CONFIG_DEVICE, FILE_SYNCHRONOUS_IO_NONALERT, opened, io_status);
        if (NT_SUCCESS(status)) {
            device = Handle(opened);
            break;
        }
        Sleep(open_pause_ms);
    }
    return status;
}

}  // namespace

std::uint32_t SendDmConfigRequest(std::uint32_t code, void* record) {
    Handle device;
    const NTSTATUS opened = open_config_device(device);
    if (!device) {
        return native_to_status(opened);
    }
    return native_to_status(send_control_record(device.get(), code, record).status());
}

}  // namespace farlo
