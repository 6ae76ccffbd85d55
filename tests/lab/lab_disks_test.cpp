// The lab's disks, read through GetDiskTypeAndSignature and GetFirstVolumesDiskID, and directly.
#include "drivers/driver_service.h"
#include "lab/labdisk_file.h"
#include "labdisk/lab_disks.h"
#include "support/farlo_test.h"
#include "volume/drive_layout.h"

#include <winioctl.h>

#include <cstring>

namespace {

using namespace support;

constexpr GUID gpt_identity = LAB_DISK_GPT_IDENTITY;

std::wstring path_of(const wchar_t* disk) {
    return std::wstring(L"\\\\.\\") + disk;
}

class LabDisks : public FarloTest {
  protected:
    // Restarts the driver, so that the one that was built runs.
    static void SetUpTestSuite() {
        lab::stop_driver(L"labdisk");
        lab::start_driver(L"labdisk", labdisk_file());
    }
    static void TearDownTestSuite() { lab::stop_driver(L"labdisk"); }

    std::uint32_t get_type(const wchar_t* disk) {
        return FARLO(GetDiskTypeAndSignatureW)(path_of(disk).c_str(), signature.as<std::uint32_t>(),
                                               guid.data(), style.as<std::uint32_t>());
    }
    std::uint32_t stored_style() const { return *style.as<std::uint32_t>(); }

    GuardedBuffer signature{4};
    GuardedBuffer guid{FARLO_GUID_SIZE};
    GuardedBuffer style{4};
};

// The function logs its bare name at entry and at exit.
const Expected entering{6, "GetDiskTypeAndSignatureW"};
const Expected exiting = entering;

TEST_F(LabDisks, ProvideSignatureOfMbrDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(get_type(LAB_DISK_MBR), FARLO_SUCCESS);
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_MBR);
        EXPECT_EQ(*signature.as<std::uint32_t>(), 0x1A2B3C4Du);
        EXPECT_TRUE(guid.untouched());
        expect_log(
            {entering, {0, "Exiting GetDiskTypeAndSignatureW Type=0x0 Sig=0x1a2b3c4d"}, exiting});
    });
}

TEST_F(LabDisks, ProvideGuidOfGptDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(get_type(LAB_DISK_GPT), FARLO_SUCCESS);
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_GPT);
        EXPECT_EQ(std::memcmp(guid.data(), &gpt_identity, sizeof gpt_identity), 0);
        EXPECT_TRUE(signature.untouched());
        expect_log(
            {entering, {0, "Exiting GetDiskTypeAndSignatureW Type=0x1 Sig=0xc5c5c5c5"}, exiting});
    });
}

TEST_F(LabDisks, ProvideOnlyStyleOfRawDisk) {
    at_every_threshold([&] {
        EXPECT_EQ(get_type(LAB_DISK_RAW), FARLO_SUCCESS);
        EXPECT_EQ(stored_style(), FARLO_PARTITION_STYLE_RAW);
        EXPECT_TRUE(signature.untouched());
        EXPECT_TRUE(guid.untouched());
        expect_log(
            {entering, {0, "Exiting GetDiskTypeAndSignatureW Type=0x2 Sig=0xc5c5c5c5"}, exiting});
    });
}

TEST_F(LabDisks, RequestLayoutThatDoesNotFitOnlyOnce) {
    at_every_threshold([&] {
        auto& requests = interpose<decltype(DeviceIoControl)>(
            "DeviceIoControl",
            [&](HANDLE device, DWORD code, void* input, DWORD input_size, void* output,
                DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) -> BOOL {
                EXPECT_EQ(code, get_drive_layout_code);
                EXPECT_EQ(output_size, drive_layout_size);
                return DeviceIoControl(device, code, input, input_size, output, output_size,
                                       returned, overlapped);
            });
        EXPECT_EQ(get_type(LAB_DISK_CROWDED), DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(requests.calls(), 1u);
        EXPECT_TRUE(style.untouched());
        EXPECT_TRUE(signature.untouched());
        EXPECT_TRUE(guid.untouched());
        expect_log({entering,
                    {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                    exiting});
    });
}

TEST_F(LabDisks, IdentifyGroupByDiskOfFirstVolume) {
    scenario = R"({"disk_groups": [
        {"name": "dg_mbr", "dgid": "g1", "volumes": [
            {"name": "v1", "device": "\\D1", "volume_name": "\\\\.\\LabDiskMbr"},
            {"name": "v2", "device": "\\D2", "volume_name": "\\\\.\\LabDiskRaw"}]},
        {"name": "dg_gpt", "dgid": "g2", "volumes": [
            {"name": "v3", "device": "\\D3", "volume_name": "\\\\.\\LabDiskGpt"}]},
        {"name": "dg_crowded", "dgid": "g3", "volumes": [
            {"name": "v4", "device": "\\D4", "volume_name": "\\\\.\\LabDiskCrowded"}]}]})";
    once([&] {
        std::uint32_t id = untouched_value;
        std::uint32_t style_value = untouched_value;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, L"dg_mbr", &id, &style_value),
                  FARLO_SUCCESS);
        EXPECT_EQ(id, 0x1A2B3C4Du);
        EXPECT_EQ(style_value, FARLO_PARTITION_STYLE_MBR);
        id = untouched_value;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, "DG_GPT", &id, &style_value),
                  FARLO_SUCCESS);
        EXPECT_EQ(id, untouched_value);
        EXPECT_EQ(style_value, FARLO_PARTITION_STYLE_GPT);
        style_value = untouched_value;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, L"dg_crowded", &id, &style_value),
                  DWORD{ERROR_INSUFFICIENT_BUFFER});
        EXPECT_EQ(id, untouched_value);
        EXPECT_EQ(style_value, untouched_value);
    });
}

// The disks alone, without the library.
class LabDiskLayout : public LabDisks {
  protected:
    // Requests the layout with a buffer of this size. Returns the system's error, or ERROR_SUCCESS
    // with the layout in `bytes`.
    DWORD get_layout(const wchar_t* disk, DWORD size) {
        const HANDLE device =
            CreateFileW(path_of(disk).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_NE(device, INVALID_HANDLE_VALUE);
        bytes.assign(size, 0xC5);
        DWORD returned = 0;
        const BOOL succeeded = DeviceIoControl(device, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0,
                                               bytes.data(), size, &returned, nullptr);
        const DWORD error = GetLastError();
        CloseHandle(device);
        bytes.resize(returned);
        return succeeded ? ERROR_SUCCESS : error;
    }
    const DRIVE_LAYOUT_INFORMATION_EX& layout() const {
        return *reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(bytes.data());
    }

    std::vector<std::uint8_t> bytes;
};

TEST_F(LabDiskLayout, FitsIntoBufferOfExactlyItsSize) {
    // 48 bytes of header and 144 bytes for each partition.
    EXPECT_EQ(get_layout(LAB_DISK_MBR, 48 + 4 * 144 - 1), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(get_layout(LAB_DISK_MBR, 48 + 4 * 144), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(bytes.size(), 624u);
    EXPECT_EQ(layout().PartitionCount, 4u);
    EXPECT_EQ(get_layout(LAB_DISK_RAW, 47), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(get_layout(LAB_DISK_RAW, 48), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(layout().PartitionCount, 0u);
    EXPECT_EQ(get_layout(LAB_DISK_CROWDED, drive_layout_size), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(get_layout(LAB_DISK_CROWDED, drive_layout_size + 144), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(layout().PartitionCount, 130u);
}

TEST_F(LabDiskLayout, ListsPartitions) {
    ASSERT_EQ(get_layout(LAB_DISK_MBR, 65536), DWORD{ERROR_SUCCESS});
    EXPECT_EQ(layout().PartitionEntry[0].PartitionStyle, PARTITION_STYLE_MBR);
    EXPECT_EQ(layout().PartitionEntry[0].StartingOffset.QuadPart, 0x100000);
    EXPECT_EQ(layout().PartitionEntry[0].Mbr.PartitionType, 7);
    EXPECT_EQ(layout().PartitionEntry[1].PartitionNumber, 0u);
    EXPECT_EQ(layout().PartitionEntry[3].PartitionLength.QuadPart, 0);

    ASSERT_EQ(get_layout(LAB_DISK_GPT, 65536), DWORD{ERROR_SUCCESS});
    ASSERT_EQ(layout().PartitionCount, 2u);
    EXPECT_TRUE(IsEqualGUID(layout().Gpt.DiskId, gpt_identity));
    EXPECT_EQ(layout().Gpt.MaxPartitionCount, 128u);
    const PARTITION_INFORMATION_EX& second = layout().PartitionEntry[1];
    EXPECT_EQ(second.PartitionStyle, PARTITION_STYLE_GPT);
    EXPECT_EQ(second.PartitionNumber, 2u);
    EXPECT_EQ(second.StartingOffset.QuadPart, 0x200000);
    EXPECT_FALSE(IsEqualGUID(second.Gpt.PartitionId, layout().PartitionEntry[0].Gpt.PartitionId));
}

TEST_F(LabDiskLayout, RejectsOtherRequests) {
    const HANDLE device =
        CreateFileW(path_of(LAB_DISK_GPT).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(device, INVALID_HANDLE_VALUE);
    std::uint8_t output[256];
    DWORD returned = 0;
    EXPECT_FALSE(DeviceIoControl(device, IOCTL_DISK_GET_DRIVE_GEOMETRY, nullptr, 0, output,
                                 sizeof output, &returned, nullptr));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_FUNCTION});
    CloseHandle(device);
}

}  // namespace
