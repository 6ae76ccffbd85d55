#include "core/kernel_device.h"

#include "dmcontrol.h"

#include <cwchar>

namespace farlo {

NTSTATUS open_kernel_device(const wchar_t* name, ULONG options, HANDLE& opened,
                            IO_STATUS_BLOCK& io_status) {
    const auto size = static_cast<USHORT>(std::wcslen(name) * sizeof *name);
    // The system only reads the name.
    UNICODE_STRING path{size, static_cast<USHORT>(size + sizeof *name), const_cast<wchar_t*>(name)};
    OBJECT_ATTRIBUTES attributes{};
    attributes.Length = sizeof attributes;
    attributes.ObjectName = &path;
    attributes.Attributes = OBJ_CASE_INSENSITIVE;
    return ZwOpenFile(&opened, SYNCHRONIZE | FILE_READ_DATA | FILE_WRITE_DATA, &attributes,
                      &io_status, FILE_SHARE_READ | FILE_SHARE_WRITE, options);
}

ControlAnswer send_control_record(HANDLE device, std::uint32_t code, void* record) {
    dm_control_block block{reinterpret_cast<std::uintptr_t>(record), 0};
    IO_STATUS_BLOCK io_status{};
    const NTSTATUS returned =
        ZwDeviceIoControlFile(device, nullptr, nullptr, nullptr, &io_status, code, &block,
                              sizeof block, &block, sizeof block);
    return {returned, io_status.Status};
}

}  // namespace farlo
