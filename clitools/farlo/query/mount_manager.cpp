#include "query/mount_manager.h"

#include "core/windows_handle.h"

#include <winioctl.h>

#include <ddk/mountmgr.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>
#include <memory>
#include <new>

namespace farlo {
namespace {

static_assert(IOCTL_MOUNTMGR_QUERY_POINTS == 0x6D0008);
static_assert(sizeof(MOUNTMGR_MOUNT_POINT) == 24);

constexpr DWORD input_size = 1048;
constexpr DWORD output_size = 8192;
constexpr std::size_t device_offset = sizeof(MOUNTMGR_MOUNT_POINT);
constexpr std::size_t points_offset = offsetof(MOUNTMGR_MOUNT_POINTS, MountPoints);

// Writes a query for all links of a device. Returns false when the name of the device
// does not fit into the query.
bool fill_question(std::uint8_t* input, const wchar_t* device) {
    const std::size_t size = std::wcslen(device) * sizeof *device;
    if (size > input_size - device_offset) {
        return false;
    }
    MOUNTMGR_MOUNT_POINT question{};
    question.DeviceNameOffset = device_offset;
    question.DeviceNameLength = static_cast<USHORT>(size);
    std::memcpy(input, &question, sizeof question);
    std::memcpy(input + device_offset, device, size);
    return true;
}

// Searches a reply of `size` bytes for the first name that contains `search`.
bool find_link(const std::uint8_t* output, std::size_t size, wchar_t* link, const wchar_t* search) {
    if (size < points_offset) {
        return false;
    }
    ULONG reported = 0;
    std::memcpy(&reported, output + offsetof(MOUNTMGR_MOUNT_POINTS, NumberOfMountPoints),
                sizeof reported);
    const std::size_t count =
        std::min<std::size_t>(reported, (size - points_offset) / sizeof(MOUNTMGR_MOUNT_POINT));
    for (std::size_t i = 0; i < count; ++i) {
        MOUNTMGR_MOUNT_POINT point;
        std::memcpy(&point, output + points_offset + i * sizeof point, sizeof point);
        const std::size_t length = point.SymbolicLinkNameLength / sizeof(wchar_t);
        if (point.SymbolicLinkNameOffset > size ||
            point.SymbolicLinkNameLength > size - point.SymbolicLinkNameOffset ||
            length >= mount_link_capacity) {
            continue;
        }
        wchar_t name[mount_link_capacity];
        std::memcpy(name, output + point.SymbolicLinkNameOffset, length * sizeof *name);
        name[length] = L'\0';
        if (std::wcsstr(name, search) != nullptr) {
            std::wcscpy(link, name);
            return true;
        }
    }
    return false;
}

}  // namespace

bool QueryMountPointName(const wchar_t* device, wchar_t* link, const wchar_t* search) {
    // No caller passes NULL.
    if (link == nullptr || search == nullptr) {
        return false;
    }
    *link = L'\0';
    // A query without a name may be taken for one about all links.
    if (device == nullptr || *device == L'\0') {
        return false;
    }
    const Handle manager(CreateFileW(MOUNTMGR_DOS_DEVICE_NAME, GENERIC_READ | GENERIC_WRITE,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                     FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!manager) {
        return false;
    }
    try {
        const auto input = std::make_unique<std::uint8_t[]>(input_size);
        const auto output = std::make_unique_for_overwrite<std::uint8_t[]>(output_size);
        DWORD returned = 0;
        return fill_question(input.get(), device) &&
               DeviceIoControl(manager.get(), IOCTL_MOUNTMGR_QUERY_POINTS, input.get(), input_size,
                               output.get(), output_size, &returned, nullptr) &&
               find_link(output.get(), std::min(returned, output_size), link, search);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace farlo
