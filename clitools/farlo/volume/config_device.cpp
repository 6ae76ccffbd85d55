#include "config_device.h"

#include "dmcontrol.h"
#include "farlo.h"
#include "kernel_device.h"
#include "windows_handle.h"

namespace farlo {
namespace {

constexpr int open_tries = 3;
constexpr DWORD open_pause_ms = 1000;

constexpr std::uint32_t native_unsuccessful = 0xC0000001;
constexpr std::uint32_t native_invalid_parameter = 0xC000000D;
constexpr std::uint32_t native_no_such_device = 0xC000000E;
constexpr std::uint32_t native_sharing_violation = 0xC0000043;

// Not the info device's numbers.
std::uint32_t native_to_status(std::uint32_t native) {
    switch (native) {
    case 0:
        return FARLO_SUCCESS;
    case native_sharing_violation:
        return FARLO_DEVICE_SHARING_VIOLATION;
    case native_unsuccessful:
        return FARLO_DEVICE_UNSUCCESSFUL;
    case native_no_such_device:
        return FARLO_NOT_FOUND;
    case native_invalid_parameter:
        return FARLO_MISSING_ARGUMENT;
    default:
        return FARLO_DEVICE_FAILED;
    }
}

// The native status of the last try.
std::uint32_t open_config_device(Handle& device) {
    NTSTATUS status = 0;
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
    return static_cast<std::uint32_t>(status);
}

}  // namespace

std::uint32_t SendDmConfigRequest(std::uint32_t code, void* record) {
    Handle device;
    const std::uint32_t opened = open_config_device(device);
    if (!device) {
        return native_to_status(opened);
    }
    return native_to_status(send_control_record(device.get(), code, record).status());
}

}  // namespace farlo
