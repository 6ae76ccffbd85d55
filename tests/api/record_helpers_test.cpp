// The functions of farlo.h that prepare and read records.
#include "farlo.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

namespace {

using support::GuardedBuffer;

// A record that begins with these numbers and is zero otherwise.
template <class Record>
Record* make_record(GuardedBuffer& buffer, std::vector<std::uint32_t> numbers) {
    std::memset(buffer.data(), 0, buffer.size());
    std::memcpy(buffer.data(), numbers.data(), numbers.size() * sizeof numbers[0]);
    return buffer.as<Record>();
}

std::ptrdiff_t offset(const void* part, GuardedBuffer& buffer) {
    return static_cast<const std::uint8_t*>(part) - buffer.data();
}

TEST(RecordHelpers, ComputeSizes) {
    EXPECT_EQ(farlo_dg_info_size(0, 0), 8u);
    EXPECT_EQ(farlo_dg_info_size(2, 3), 8u + 112u + 4968u);
    EXPECT_EQ(farlo_dg_info_size(0xFFFFFFFF, 0xFFFFFFFF), 8u + 1712u * 0xFFFFFFFFull);
    EXPECT_EQ(farlo_vol_info_list_size(0xFFFFFFFF), 1656u * 0xFFFFFFFFull);
    EXPECT_EQ(farlo_vol_prop_info_allocation(1660), 1664u);
    EXPECT_EQ(farlo_vol_prop_info_allocation(0xFFFFFFFF), 0x100000003u);
}

TEST(RecordHelpers, FindPartsOfGroup) {
    GuardedBuffer buffer(8 + 2 * 56 + 1656);
    const auto* const record = make_record<DgInfo>(buffer, {2, 1});
    const std::size_t size = buffer.size();
    EXPECT_EQ(offset(farlo_dg_info_disk(record, size, 0), buffer), 8);
    EXPECT_EQ(offset(farlo_dg_info_disk(record, size, 1), buffer), 64);
    EXPECT_EQ(farlo_dg_info_disk(record, size, 2), nullptr);
    EXPECT_EQ(offset(farlo_dg_info_volume(record, size, 0), buffer), 120);
    EXPECT_EQ(farlo_dg_info_volume(record, size, 1), nullptr);
    // The buffer ends within the entry, or the record is NULL.
    EXPECT_EQ(farlo_dg_info_volume(record, size - 1, 0), nullptr);
    EXPECT_EQ(farlo_dg_info_disk(record, 8 + 112 - 1, 1), nullptr);
    EXPECT_NE(farlo_dg_info_disk(record, 8 + 112, 1), nullptr);
    EXPECT_EQ(farlo_dg_info_disk(record, 3, 0), nullptr);
    EXPECT_EQ(farlo_dg_info_disk(nullptr, size, 0), nullptr);
    EXPECT_EQ(farlo_dg_info_volume(nullptr, size, 0), nullptr);
}

// The counts are larger than the buffer can hold.
TEST(RecordHelpers, FindNothingForImpossibleCounts) {
    GuardedBuffer buffer(8 + 56 + 1656);
    const std::size_t size = buffer.size();
    const auto* record = make_record<DgInfo>(buffer, {0xFFFFFFFF, 0xFFFFFFFF});
    EXPECT_EQ(farlo_dg_info_disk(record, size, 0xFFFFFFFE), nullptr);
    EXPECT_EQ(farlo_dg_info_volume(record, size, 0), nullptr);
    EXPECT_EQ(farlo_dg_info_volume(record, size, 0xFFFFFFFE), nullptr);
    const auto* const list = make_record<DgDiskList>(buffer, {0xFFFFFFFF});
    EXPECT_EQ(farlo_dg_disk_list_disk(list, size, 0x04924925), nullptr);
    const auto* const light = make_record<DgVolInfo>(buffer, {0xFFFFFFFF});
    EXPECT_EQ(farlo_dg_vol_info_volume(light, size, 0x80000000), nullptr);
}

TEST(RecordHelpers, FindPartsOfVolume) {
    GuardedBuffer buffer(8 + 2 * 56 + 1656);
    const std::size_t size = buffer.size();
    std::memset(buffer.data(), 1, size);
    EXPECT_EQ(farlo_vol_prop_info_prepare(buffer.data(), size), size - 4);
    EXPECT_EQ(buffer.difference(std::vector<std::uint8_t>(size, 0)), "");
    const auto* const record = make_record<VolPropInfo>(buffer, {2, 1});
    EXPECT_EQ(offset(farlo_vol_prop_info_disk(record, size, 1), buffer), 64);
    EXPECT_EQ(farlo_vol_prop_info_disk(record, size, 2), nullptr);
    EXPECT_EQ(offset(farlo_vol_prop_info_volume(record, size), buffer), 120);
    // The size that is passed to GetVolProperties is four bytes less than the record.
    EXPECT_EQ(farlo_vol_prop_info_volume(record, size - 4), nullptr);
    EXPECT_EQ(farlo_vol_prop_info_volume(make_record<VolPropInfo>(buffer, {2, 0}), size), nullptr);
}

TEST(RecordHelpers, PrepareNothingForNullOrFourBytes) {
    for (const std::size_t size : {0u, 3u, 4u}) {
        GuardedBuffer buffer(size);
        EXPECT_EQ(farlo_vol_prop_info_prepare(buffer.data(), size), 0u);
    }
    EXPECT_EQ(farlo_vol_prop_info_prepare(nullptr, 1664), 0u);
    EXPECT_EQ(farlo_dg_vol_info_prepare(nullptr, 1664), 0u);
}

// The mark for the first drive letter is written only where the buffer has room for it.
TEST(RecordHelpers, PrepareLightRecordWithinItsBuffer) {
    for (const std::size_t size : {0u, 4u, 8u, 523u, 529u, 530u, 1664u}) {
        SCOPED_TRACE(size);
        GuardedBuffer buffer(size);
        EXPECT_EQ(farlo_dg_vol_info_prepare(buffer.data(), size), size);
        std::vector<std::uint8_t> wanted(size, 0);
        if (size >= 530) {
            std::fill_n(wanted.begin() + 524, 6, std::uint8_t{0xFF});
        }
        EXPECT_EQ(buffer.difference(wanted), "");
        const auto* const record = buffer.as<DgVolInfo>();
        EXPECT_EQ(farlo_dg_vol_info_volume(record, size, 0), nullptr);
        EXPECT_EQ(farlo_dg_vol_info_signature(record, size), 0u);
    }
}

TEST(RecordHelpers, FindSignatureOfLightRecordWithoutVolumes) {
    GuardedBuffer buffer(8);
    const auto* const record = make_record<DgVolInfo>(buffer, {0, 4660});
    EXPECT_EQ(farlo_dg_vol_info_signature(record, 8), 4660u);
    EXPECT_EQ(farlo_dg_vol_info_signature(record, 7), 0u);
    EXPECT_EQ(farlo_dg_vol_info_signature(nullptr, 8), 0u);
    EXPECT_EQ(farlo_dg_vol_info_volume(record, 8, 0), nullptr);
}

// A light record of one volume, as the function writes it into a prepared buffer, with any
// number of the drive letter's characters cleared where it is empty.
struct LightVolume {
    bool signature;
    std::size_t device_name;  // its characters; those that do not fit are cut off
    bool letter;
    std::size_t cleared;
};

void fill(GuardedBuffer& buffer, const LightVolume& volume) {
    const std::uint32_t head[] = {1, 4660};
    std::memcpy(buffer.data(), head, volume.signature ? 8 : 4);
    auto* const record = reinterpret_cast<VolInfo*>(buffer.data() + (volume.signature ? 8 : 4));
    const std::size_t length = std::min<std::size_t>(volume.device_name, 259);
    const std::wstring name = std::wstring(length, L':') + L'\0';
    std::memcpy(&record->device_name, name.c_str(), name.size() * sizeof(wchar_t));
    std::memset(&record->drive_letter, 0, volume.cleared * sizeof(wchar_t));
    if (volume.letter) {
        std::memcpy(&record->drive_letter, L"F:", 3 * sizeof(wchar_t));
    }
}

TEST(RecordHelpers, FindVolumesOfLightRecordWithAnyClearedDriveLetter) {
    constexpr std::size_t size = 8 + 1656;
    for (const bool signature : {false, true}) {
        for (const std::size_t device_name : {0u, 1u, 257u, 258u, 259u, 300u}) {
            for (const bool letter : {false, true}) {
                for (const std::size_t cleared : {1u, 2u, 3u}) {
                    SCOPED_TRACE(std::to_string(signature) + ' ' + std::to_string(device_name) +
                                 ' ' + std::to_string(letter) + ' ' + std::to_string(cleared));
                    GuardedBuffer buffer(size);
                    const auto* const record = buffer.as<DgVolInfo>();
                    ASSERT_EQ(farlo_dg_vol_info_prepare(buffer.data(), size), size);
                    fill(buffer, {signature, device_name, letter, cleared});
                    EXPECT_EQ(farlo_dg_vol_info_has_signature(record, size) != 0, signature);
                    EXPECT_EQ(farlo_dg_vol_info_signature(record, size), signature ? 4660u : 0u);
                    EXPECT_EQ(offset(farlo_dg_vol_info_volume(record, size, 0), buffer),
                              signature ? 8 : 4);
                }
            }
        }
    }
}

// A device name that could not be read leaves all of the mark, or what precedes the drive
// letter.
TEST(RecordHelpers, FindVolumesOfLightRecordWithoutDeviceName) {
    constexpr std::size_t size = 8 + 1656;
    for (const bool signature : {false, true}) {
        for (const bool letter : {false, true}) {
            GuardedBuffer buffer(size);
            const auto* const record = buffer.as<DgVolInfo>();
            farlo_dg_vol_info_prepare(buffer.data(), size);
            std::memset(buffer.data(), 0, 4);
            *buffer.data() = 1;
            std::memcpy(buffer.data() + (signature ? 528 : 524), letter ? L"F:" : L"",
                        letter ? 6 : 2);
            EXPECT_EQ(farlo_dg_vol_info_has_signature(record, size) != 0, signature);
        }
    }
}

TEST(RecordHelpers, FindPartsOfDiskList) {
    GuardedBuffer buffer(4 + 2 * 56);
    const auto* const record = make_record<DgDiskList>(buffer, {2});
    EXPECT_EQ(offset(farlo_dg_disk_list_disk(record, buffer.size(), 1), buffer), 60);
    EXPECT_EQ(farlo_dg_disk_list_disk(record, buffer.size(), 2), nullptr);
    EXPECT_EQ(farlo_dg_disk_list_disk(record, buffer.size() - 1, 1), nullptr);
}

TEST(ParseGuid, StoresTheBytesOfWindowsGuid) {
    const GUID expected = {
        0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}};
    for (const char* string :
         {"00112233-4455-6677-8899-aabbccddeeff", "{00112233-4455-6677-8899-AABBCCDDEEFF}"}) {
        GUID parsed = {};
        EXPECT_EQ(farlo_parse_guid(string, reinterpret_cast<uint8_t*>(&parsed)), 1);
        EXPECT_TRUE(IsEqualGUID(parsed, expected)) << string;
    }
}

TEST(ParseGuid, LeavesTheResultUnchangedForAnyOtherString) {
    const std::array<uint8_t, FARLO_GUID_SIZE> before = {1, 2, 3};
    for (const char* string :
         {"", "{", "{}", "guid-1", "{00112233-4455-6677-8899-aabbccddeeff",
          "00112233-4455-6677-8899-aabbccddeeff}", "00112233-4455-6677-8899-aabbccddeef",
          "00112233-4455-6677-8899-aabbccddeeff0", "00112233-4455-6677-8899-aabbccddeefg",
          "00112233a4455-6677-8899-aabbccddeeff", "{00112233-4455-6677-8899-aabbccddeeff}}"}) {
        std::array<uint8_t, FARLO_GUID_SIZE> parsed = before;
        EXPECT_EQ(farlo_parse_guid(string, parsed.data()), 0) << string;
        EXPECT_EQ(parsed, before) << string;
    }
}

}  // namespace
