#include "volume/disk_layout.h"

#include "api/farlo.h"
#include "bus/bus_memory.h"
#include "core/trace_log.h"
#include "core/windows_handle.h"
#include "volume/system_failure.h"

#include <winioctl.h>

#include <cstddef>
#include <cstring>

namespace farlo {
namespace {

// Room for a layout of `layout_partitions` partitions; never grown.
constexpr std::size_t layout_partitions = 129;
constexpr std::size_t layout_size = offsetof(DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) +
                                    layout_partitions * sizeof(PARTITION_INFORMATION_EX);
static_assert(layout_size == 18624);

static_assert(PARTITION_STYLE_MBR == FARLO_PARTITION_STYLE_MBR);
static_assert(PARTITION_STYLE_GPT == FARLO_PARTITION_STYLE_GPT);
static_assert(PARTITION_STYLE_RAW == FARLO_PARTITION_STYLE_RAW);

std::uint32_t refuse_null_out() {
    log(0, L"GetDiskTypeAndSignatureW() failed ,NULL Signature/Guid/Type");
    return FARLO_INVALID_ARGUMENT;
}

std::uint32_t read_layout(const wchar_t* path, std::uint32_t* signature, std::uint8_t* disk_guid,
                          std::uint32_t* style) {
    if (path == nullptr) {
        log(0, L"GetDiskTypeAndSignatureW() failed ,NULL VolumeGuid");
        return FARLO_INVALID_ARGUMENT;
    }
    if (signature == nullptr || style == nullptr) {
        return refuse_null_out();
    }
    const Handle device(CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!device) {
        const std::uint32_t status = failure_of(GetLastError());
        log(0, L"GetDiskTypeAndSignatureW() CreateFile Failed for %s error %d", path, status);
        return status;
    }
    const BusBlock<DRIVE_LAYOUT_INFORMATION_EX> layout(
        static_cast<DRIVE_LAYOUT_INFORMATION_EX*>(_ZtAlloc(layout_size)));
    if (layout == nullptr) {
        log(0, L"GetDiskTypeAndSignatureW: ZtAlloc failed to allocate memory for "
               L"PDRIVE_LAYOUT_INFORMATION");
        return FARLO_OUT_OF_MEMORY;
    }
    DWORD returned = 0;
    if (!DeviceIoControl(device.get(), IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0, layout.get(),
                         layout_size, &returned, nullptr)) {
        const std::uint32_t status = failure_of(GetLastError());
        log(0, L"GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error");
        return status;
    }
    // The GUID is written for GPT disks only; callers without GPT disks pass NULL.
    if (layout->PartitionStyle == PARTITION_STYLE_GPT && disk_guid == nullptr) {
        return refuse_null_out();
    }
    *style = layout->PartitionStyle;
    if (*style == PARTITION_STYLE_MBR) {
        *signature = layout->Mbr.Signature;
    } else if (*style == PARTITION_STYLE_GPT) {
        std::memcpy(disk_guid, &layout->Gpt.DiskId, sizeof layout->Gpt.DiskId);
    }
    // KEPT: decimal digits after "0x"; administrators search for this wording.
    log(0, L"Exiting GetDiskTypeAndSignatureW Type=0x%d Sig=0x%x", *style, *signature);
    return FARLO_SUCCESS;
}

}  // namespace

// KEPT: the bare name is the entry line and the exit line; administrators search for
// it.
std::uint32_t GetDiskTypeAndSignatureW(const wchar_t* path, std::uint32_t* signature,
                                       std::uint8_t* disk_guid, std::uint32_t* style) {
    log(6, L"GetDiskTypeAndSignatureW");
    const std::uint32_t status = read_layout(path, signature, disk_guid, style);
    log(6, L"GetDiskTypeAndSignatureW");
    return status;
}

}  // namespace farlo
