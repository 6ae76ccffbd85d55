// Identities read from the lab's disks: a real request to a real device.
#include "drivers/driver_service.h"
#include "labdisk/lab_disks.h"
#include "support/bus_lines.h"
#include "support/farlo_test.h"

#include <winioctl.h>

#include <cstring>

namespace {

using namespace support;

constexpr std::uint32_t untouched_value = 0xC5C5C5C5;
constexpr GUID gpt_identity = LAB_DISK_GPT_IDENTITY;
// Headers and 128 partitions: the library's buffer has room for one more.
constexpr std::uint32_t buffer_size = 18624;

std::filesystem::path driver_file() {
    wchar_t path[MAX_PATH] = L"";
    SearchPathW(nullptr, L"labdisk.sys", nullptr, MAX_PATH, path, nullptr);
    return path;
}

std::wstring path_of(const wchar_t* disk) {
    return std::wstring(L"\\\\.\\") + disk;
}

class LabDisks : public FarloTest {
  protected:
    // Loaded anew: what runs is what was built.
    static void SetUpTestSuite() {
        lab::stop_driver(L"labdisk");
        lab::start_driver(L"labdisk", driver_file());
    }
    static void TearDownTestSuite() { lab::stop_driver(L"labdisk"); }

    std::uint32_t ask(const wchar_t* disk) {
        return FARLO(GetDiskTypeAndSignatureW)(path_of(disk).c_str(), signature.as<std::uint32_t>(),
                                               identity.data(), style.as<std::uint32_t>());
    }
    static std::string exiting(const std::string& type, const std::string& number) {
        return "Exiting GetDiskTypeAndSignatureW Type=0x" + type + " Sig=0x" + number;
    }
    void expect_answer(const std::string& type, const std::string& number) {
        expect_log({{6, "GetDiskTypeAndSignatureW"},
                    {0, exiting(type, number)},
                    {6, "GetDiskTypeAndSignatureW"}});
    }

    GuardedBuffer signature{4};
    GuardedBuffer identity{16};
    GuardedBuffer style{4};
};

TEST_F(LabDisks, AnMbrDiskHasASignature) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(LAB_DISK_MBR), 0u);
        EXPECT_EQ(*style.as<std::uint32_t>(), 0u);
        EXPECT_EQ(*signature.as<std::uint32_t>(), 0x1A2B3C4Du);
        EXPECT_TRUE(identity.untouched());
        expect_answer("0", "1a2b3c4d");
    });
}

TEST_F(LabDisks, AGptDiskHasAnIdentity) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(LAB_DISK_GPT), 0u);
        EXPECT_EQ(*style.as<std::uint32_t>(), 1u);
        EXPECT_EQ(std::memcmp(identity.data(), &gpt_identity, sizeof gpt_identity), 0);
        EXPECT_TRUE(signature.untouched());
        expect_answer("1", "c5c5c5c5");
    });
}

TEST_F(LabDisks, ARawDiskHasNeither) {
    at_every_threshold([&] {
        EXPECT_EQ(ask(LAB_DISK_RAW), 0u);
        EXPECT_EQ(*style.as<std::uint32_t>(), 2u);
        EXPECT_TRUE(signature.untouched());
        EXPECT_TRUE(identity.untouched());
        expect_answer("2", "c5c5c5c5");
    });
}

TEST_F(LabDisks, ALayoutThatDoesNotFitIsNotReadTwice) {
    at_every_threshold([&] {
        auto& asked = interpose<decltype(DeviceIoControl)>(
            "DeviceIoControl",
            [&](HANDLE device, DWORD code, void* input, DWORD input_size, void* output,
                DWORD output_size, DWORD* returned, OVERLAPPED* overlapped) -> BOOL {
                EXPECT_EQ(code, 0x70050u);
                EXPECT_EQ(output_size, buffer_size);
                return DeviceIoControl(device, code, input, input_size, output, output_size,
                                       returned, overlapped);
            });
        EXPECT_EQ(ask(LAB_DISK_CROWDED), 122u);
        EXPECT_EQ(asked.calls(), 1u);
        EXPECT_TRUE(style.untouched());
        EXPECT_TRUE(signature.untouched());
        EXPECT_TRUE(identity.untouched());
        expect_log({{6, "GetDiskTypeAndSignatureW"},
                    {0, "GetDiskTypeAndSignatureW: IOCTL_DISK_GET_DRIVE_LAYOUT_EX failed error"},
                    {6, "GetDiskTypeAndSignatureW"}});
    });
}

TEST_F(LabDisks, TheFirstVolumesDiskNamesTheGroupsStorage) {
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
        std::uint32_t type = untouched_value;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, L"dg_mbr", &id, &type), 0u);
        EXPECT_EQ(id, 0x1A2B3C4Du);
        EXPECT_EQ(type, 0u);
        id = untouched_value;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDA)(handle, "DG_GPT", &id, &type), 0u);
        EXPECT_EQ(id, untouched_value);
        EXPECT_EQ(type, 1u);
        type = untouched_value;
        EXPECT_EQ(FARLO(GetFirstVolumesDiskIDW)(handle, L"dg_crowded", &id, &type), 122u);
        EXPECT_EQ(id, untouched_value);
        EXPECT_EQ(type, untouched_value);
    });
}

// The disks themselves, without the library.
class LabDiskLayout : public LabDisks {
  protected:
    // The error of a request with a buffer of that size; 0 and its layout in
    // `bytes` for one that was answered.
    DWORD request(const wchar_t* disk, DWORD size) {
        const HANDLE device =
            CreateFileW(path_of(disk).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                        nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_NE(device, INVALID_HANDLE_VALUE);
        bytes.assign(size, 0xC5);
        DWORD returned = 0;
        const BOOL answered = DeviceIoControl(device, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, nullptr, 0,
                                              bytes.data(), size, &returned, nullptr);
        const DWORD error = GetLastError();
        CloseHandle(device);
        bytes.resize(returned);
        return answered ? 0 : error;
    }
    const DRIVE_LAYOUT_INFORMATION_EX& layout() const {
        return *reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(bytes.data());
    }

    std::vector<std::uint8_t> bytes;
};

TEST_F(LabDiskLayout, TakesExactlyItsRoom) {
    // 48 bytes of header, 144 a partition.
    EXPECT_EQ(request(LAB_DISK_MBR, 48 + 4 * 144 - 1), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(request(LAB_DISK_MBR, 48 + 4 * 144), 0u);
    EXPECT_EQ(bytes.size(), 624u);
    EXPECT_EQ(layout().PartitionCount, 4u);
    EXPECT_EQ(request(LAB_DISK_RAW, 47), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(request(LAB_DISK_RAW, 48), 0u);
    EXPECT_EQ(layout().PartitionCount, 0u);
    EXPECT_EQ(request(LAB_DISK_CROWDED, buffer_size), DWORD{ERROR_INSUFFICIENT_BUFFER});
    EXPECT_EQ(request(LAB_DISK_CROWDED, buffer_size + 144), 0u);
    EXPECT_EQ(layout().PartitionCount, 130u);
}

TEST_F(LabDiskLayout, TellsOfItsPartitions) {
    ASSERT_EQ(request(LAB_DISK_MBR, 65536), 0u);
    EXPECT_EQ(layout().PartitionEntry[0].PartitionStyle, PARTITION_STYLE_MBR);
    EXPECT_EQ(layout().PartitionEntry[0].StartingOffset.QuadPart, 0x100000);
    EXPECT_EQ(layout().PartitionEntry[0].Mbr.PartitionType, 7);
    EXPECT_EQ(layout().PartitionEntry[1].PartitionNumber, 0u);
    EXPECT_EQ(layout().PartitionEntry[3].PartitionLength.QuadPart, 0);

    ASSERT_EQ(request(LAB_DISK_GPT, 65536), 0u);
    ASSERT_EQ(layout().PartitionCount, 2u);
    EXPECT_TRUE(IsEqualGUID(layout().Gpt.DiskId, gpt_identity));
    EXPECT_EQ(layout().Gpt.MaxPartitionCount, 128u);
    const PARTITION_INFORMATION_EX& second = layout().PartitionEntry[1];
    EXPECT_EQ(second.PartitionStyle, PARTITION_STYLE_GPT);
    EXPECT_EQ(second.PartitionNumber, 2u);
    EXPECT_EQ(second.StartingOffset.QuadPart, 0x200000);
    EXPECT_FALSE(IsEqualGUID(second.Gpt.PartitionId, layout().PartitionEntry[0].Gpt.PartitionId));
}

TEST_F(LabDiskLayout, OtherRequestsAreRefused) {
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
