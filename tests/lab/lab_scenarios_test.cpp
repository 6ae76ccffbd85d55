// Records of the lab's own scenarios. Nothing is replaced: the lab's service executes the methods;
// the drives, file systems and mount points are the machine's.
#include "query/record_image.h"
#include "support/farlo_test.h"
#include "support/service_names.h"

namespace {

using namespace support;
using records::disk_size;
using records::Image;
using records::volume_size;

// The scenario fills names with dots up to a "|" at the end.
std::wstring filled(std::wstring start, std::size_t length) {
    start.resize(length - 1, L'.');
    return start + L'|';
}

// The machine's names for a drive: its device, and its volume.
std::wstring device_of(const wchar_t* drive) {
    wchar_t device[MAX_PATH] = L"";
    EXPECT_NE(QueryDosDeviceW(drive, device, MAX_PATH), 0u) << GetLastError();
    return device;
}
std::wstring volume_name_of(const wchar_t* root) {
    wchar_t name[MAX_PATH] = L"";
    EXPECT_TRUE(GetVolumeNameForVolumeMountPointW(root, name, MAX_PATH)) << GetLastError();
    return name;
}

class LabScenarios : public FarloTest {
  protected:
    void with_scenario(const wchar_t* name, const std::function<void()>& body) {
        once([&] {
            load_scenario_file(std::filesystem::path(LAB_SCENARIOS) / name);
            body();
        });
    }
    void with_records(const std::function<void()>& body) { with_scenario(L"records.json", body); }

    // Expects that the library reports the size `wanted` and returns a buffer of that size.
    template <class Get> GuardedBuffer buffer_of_reported_size(std::uint32_t wanted, Get&& get) {
        std::uint32_t size = 0;
        std::uint8_t unused = 0;
        EXPECT_EQ(get(&unused, &size), FARLO_BUFFER_TOO_SMALL);
        EXPECT_EQ(size, wanted);
        return GuardedBuffer(size);
    }
    void expect_group(const wchar_t* group, const Image& wanted) {
        const auto get = [&](void* record, std::uint32_t* size) {
            return FARLO(GetDgPropertiesW)(handle, group, nullptr, static_cast<DgInfo*>(record),
                                           size);
        };
        auto size = static_cast<std::uint32_t>(wanted.bytes().size());
        const GuardedBuffer record = buffer_of_reported_size(size, get);
        EXPECT_EQ(get(record.data(), &size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    }
    // `size` is the size that the library reports.
    void expect_light_group(const wchar_t* group, std::uint32_t size, const Image& wanted) {
        const auto get = [&](void* record, std::uint32_t* buffer_size) {
            return FARLO(GetDgVolPropertiesW)(handle, group, nullptr,
                                              static_cast<DgVolInfo*>(record), buffer_size);
        };
        const GuardedBuffer record = buffer_of_reported_size(size, get);
        EXPECT_EQ(get(record.data(), &size), FARLO_SUCCESS);
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    }
};

constexpr wchar_t raw_device[] = L"\\Device\\HarddiskDmVolumes\\dg_nodisks\\vol_raw";
constexpr wchar_t bare_device[] = L"\\Device\\HarddiskDmVolumes\\dg_nodisks\\vol_bare";
constexpr wchar_t off_device[] = L"\\Device\\HarddiskDmVolumes\\dg_spanned\\vol_off";

constexpr char spanned_guid[] = "b0000000-0000-0000-0000-000000000002";

records::Volume mirror_volume() {
    return {device_of(L"M:"), L"M:", L"NTFS", L"Mirror", L"X:\\mnt\\mirror", 3, 0, 10'737'418'240};
}
records::Volume spanned_volume() {
    return {device_of(L"N:"), L"N:", L"ReFS", L"Spanned", L"", 1, 0, 2'147'483'648};
}

TEST_F(LabScenarios, MirrorHasTwoDisks) {
    with_records([&] {
        Image group(8 + 2 * disk_size + volume_size);
        group.counts(2, 1);
        group.disk(8, {L"Harddisk1", 0x1A2B3C4D, 1, 0, 2});
        // Its signature is formed from its disk id.
        group.disk(8 + disk_size, {L"Harddisk2", 0x1A2B3C4E, 2, 1, 2});
        group.volume(8 + 2 * disk_size, mirror_volume());
        expect_group(L"dg_mirror", group);

        // The size that is passed is four bytes less than the record.
        std::uint32_t size = 1660 + 2 * disk_size;
        const GuardedBuffer record(size + 4);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, device_of(L"M:").c_str(),
                                           record.as<VolPropInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(record.difference(group.bytes()), "");
    });
}

TEST_F(LabScenarios, DiskIsListedOnceForEachSubdisk) {
    with_records([&] {
        std::uint32_t size = 1660 + 2 * disk_size;
        const GuardedBuffer record(size + 4);
        EXPECT_EQ(FARLO(GetVolPropertiesW)(handle, device_of(L"N:").c_str(),
                                           record.as<VolPropInfo>(), &size),
                  FARLO_SUCCESS);
        Image wanted(size + 4);
        wanted.counts(2, 1);
        wanted.disk(8, {L"Harddisk3", 0x1A2B3C4F, 3, 0, 2});
        wanted.disk(8 + disk_size, {L"Harddisk3", 0x1A2B3C4F, 3, 0, 2});
        wanted.volume(8 + 2 * disk_size, spanned_volume());
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

TEST_F(LabScenarios, LightRecordsHaveDriveLettersOfMachine) {
    with_records([&] {
        Image mirror(8 + volume_size);
        mirror.counts(1, 0x1A2B3C4D);
        mirror.volume(8, {device_of(L"M:"), L"M:", {}, {}, {}, 3, {}, 10'737'418'240});
        expect_light_group(L"dg_mirror", 8 + volume_size, mirror);

        // Without a disk the volumes start at offset 4. The letter X is known to the service only,
        // not to the machine.
        Image nodisks(8 + 2 * volume_size);
        nodisks.number<std::uint32_t>(0, 2);
        nodisks.volume(4, {raw_device, L"", {}, {}, {}, 1, {}, 4096});
        nodisks.volume(4 + volume_size, {bare_device, L"", {}, {}, {}, 1, {}, 8192});
        expect_light_group(L"dg_nodisks", 8 + 2 * volume_size, nodisks);
    });
}

TEST_F(LabScenarios, GroupsWithoutDisksOrVolumesHaveZeroCounts) {
    with_records([&] {
        Image nodisks(8 + 2 * volume_size);
        nodisks.counts(0, 2);
        nodisks.volume(8, {raw_device, L"X:", {}, {}, L"", 1, 0, 4096});
        nodisks.volume(8 + volume_size, {bare_device, L"", {}, {}, L"X:\\bare", 1, 0, 8192});
        expect_group(L"dg_nodisks", nodisks);

        Image novolumes(8 + disk_size);
        novolumes.counts(1, 0);
        novolumes.disk(8, {L"Harddisk4", 0x1A2B3C50, 4, 0, 3});
        expect_group(L"dg_novolumes", novolumes);

        expect_group(L"dg_empty", Image(8).counts(0, 0));
    });
}

TEST_F(LabScenarios, NamesThatDoNotFitAreTruncated) {
    with_records([&] {
        const std::wstring device = L"\\Device\\HarddiskDmVolumes\\dg_fields\\";
        Image wanted(8 + 4 * disk_size + 2 * volume_size);
        wanted.counts(4, 2);
        wanted.disk(8, {filled(L"disk of 15 ", 15), 1, 0, 0, 0});
        wanted.disk(8 + disk_size, {filled(L"disk of 16 one", 16).substr(0, 15), 2, 0, 0, 0});
        wanted.disk(8 + 2 * disk_size, {L"Harddisk5", 0xFFFFFFFF, 0, 0, 0});
        wanted.disk(8 + 3 * disk_size, {L"Harddisk6", 0x1A2B3C4F, 0, 0, 0});
        const std::size_t first = 8 + 4 * disk_size;
        wanted.volume(first,
                      {filled(device + L"vol_full", 259), L"Y:", filled(L"file system of 31 ", 31),
                       filled(L"label of 259 ", 259), L"X:\\" + filled(L"path of 257 ", 257),
                       4294967295, -2147483648LL, 18446744073709551615ULL});
        wanted.volume(first + volume_size,
                      {filled(device + L"vol_overfull", 260).substr(0, 259), L"",
                       filled(L"file system of 32 ", 32).substr(0, 31),
                       filled(L"label of 260 ", 260).substr(0, 259),
                       L"X:\\" + filled(L"path of 258 ", 258).substr(0, 257), 0, 0, 0});
        expect_group(L"dg_fields", wanted);
    });
}

TEST_F(LabScenarios, VolumesWithoutLinkAreUnusable) {
    with_records([&] {
        std::uint32_t count = 2;
        const GuardedBuffer records(2 * volume_size);
        EXPECT_EQ(FARLO(GetUnusableVolumesInfo)(handle, L"dg_nodisks", nullptr,
                                                records.as<VolInfo>(), &count),
                  FARLO_SUCCESS);
        EXPECT_EQ(count, 2u);
        Image wanted(2 * volume_size);
        wanted.volume(0, {raw_device, L"X:", {}, {}, L"", 1, FARLO_VOLUME_UNUSABLE, 4096});
        wanted.volume(volume_size,
                      {bare_device, L"", {}, {}, L"X:\\bare", 1, FARLO_VOLUME_UNUSABLE, 8192});
        EXPECT_EQ(records.difference(wanted.bytes()), "");

        // A drive has a link and is usable, unless the volume is offline. Volumes of data change
        // objects are skipped.
        count = 1;
        const GuardedBuffer offline(volume_size);
        EXPECT_EQ(FARLO(GetUnusableVolumesInfo)(handle, L"dg_spanned", nullptr,
                                                offline.as<VolInfo>(), &count),
                  FARLO_SUCCESS);
        EXPECT_EQ(count, 1u);
        EXPECT_EQ(
            offline.difference(
                Image(volume_size)
                    .volume(0, {off_device, L"", {}, {}, L"", 1, FARLO_VOLUME_UNUSABLE, 1'048'576})
                    .bytes()),
            "");

        EXPECT_EQ(FARLO(GetUnusableVolumesInfo)(handle, L"dg_mirror", nullptr,
                                                offline.as<VolInfo>(), &count),
                  FARLO_SUCCESS);
        EXPECT_EQ(count, 0u);
    });
}

TEST_F(LabScenarios, VolumeWithoutLinkIsMarkedUnusable) {
    with_records([&] {
        std::uint32_t size = volume_size;
        const GuardedBuffer usable(volume_size);
        EXPECT_EQ(FARLO(GetVolumeInfo)(handle, L"dg_mirror", nullptr, device_of(L"M:").c_str(),
                                       usable.as<VolInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(usable.difference(Image(volume_size).volume(0, mirror_volume()).bytes()), "");
        const GuardedBuffer unusable(volume_size);
        EXPECT_EQ(FARLO(GetVolumeInfo)(handle, L"dg_nodisks", nullptr, raw_device,
                                       unusable.as<VolInfo>(), &size),
                  FARLO_SUCCESS);
        EXPECT_EQ(
            unusable.difference(
                Image(volume_size)
                    .volume(0, {raw_device, L"X:", {}, {}, L"", 1, FARLO_VOLUME_UNUSABLE, 4096})
                    .bytes()),
            "");
    });
}

TEST_F(LabScenarios, VolumeIsFoundBySerialNumber) {
    with_records([&] {
        start_watching();
        std::uint32_t size = FARLO_VOLUME_NAME_BUFFER_SIZE;
        const GuardedBuffer name(FARLO_VOLUME_NAME_BUFFER_SIZE);
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg_spanned", nullptr, 0x1A2B3C4E,
                                                       name.as<wchar_t>(), &size),
                  FARLO_SUCCESS);
        EXPECT_TRUE(name.holds_string(std::wstring_view(volume_name_of(L"N:\\"))));
        expect_log(
            {{4, "Entering GetVolumeNameForSerialNumberW - dg_spanned partition number 439041102"},
             {4, "Exiting GetVolumeNameForSerialNumberW"}});
    });
}

TEST_F(LabScenarios, UnknownSerialNumberIsNotFound) {
    with_records([&] {
        start_watching();
        std::uint32_t size = FARLO_VOLUME_NAME_BUFFER_SIZE;
        const GuardedBuffer name(FARLO_VOLUME_NAME_BUFFER_SIZE);
        EXPECT_EQ(FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg_spanned", nullptr, 0x1A2B3C4D,
                                                       name.as<wchar_t>(), &size),
                  FARLO_VOLUME_NOT_FOUND);
        EXPECT_TRUE(name.untouched());
        // The group's other two volumes do not exist on the machine.
        const std::string no_information =
            "GetVolumeNameForSerialNumberW: GetVolumeInformation failed , wcVolumeGuid "
            "\\\\?\\Volume{b0000000-0000-0000-0001-00000000000";
        expect_log(
            {{4, "Entering GetVolumeNameForSerialNumberW - dg_spanned partition number 439041101"},
             {0, no_information + "1}\\, error=(0x3)"},
             {0, no_information + "2}\\, error=(0x3)"},
             {0, "GetVolumeNameForSerialNumberW() failed, error=(0x63) "},
             {4, "Exiting GetVolumeNameForSerialNumberW"}});
    });
}

TEST_F(LabScenarios, RefreshAddsMountPoint) {
    with_records([&] {
        EXPECT_EQ(FARLO(FFUpdateMountPathW)(handle, L"m"), FARLO_SUCCESS);
        std::uint32_t size = volume_size;
        const GuardedBuffer record(volume_size);
        EXPECT_EQ(FARLO(GetVolumeInfo)(handle, L"dg_mirror", nullptr, device_of(L"M:").c_str(),
                                       record.as<VolInfo>(), &size),
                  FARLO_SUCCESS);
        records::Volume wanted = mirror_volume();
        wanted.mounts = L"X:\\mnt\\mirror; N:\\soon";
        EXPECT_EQ(record.difference(Image(volume_size).volume(0, wanted).bytes()), "");
    });
}

TEST_F(LabScenarios, VolumeGoesOfflineAndOnline) {
    with_records([&] {
        const std::wstring device = device_of(L"N:");
        const auto state = [&] {
            std::uint32_t value = 0xC5C5C5C5;
            EXPECT_EQ(
                FARLO(GetDgVolumeStateW)(handle, nullptr, spanned_guid, device.c_str(), &value),
                FARLO_SUCCESS);
            return value;
        };
        EXPECT_EQ(state(), volume_state::online);
        EXPECT_EQ(FARLO(OfflineVolW)(handle, spanned_guid, device.c_str(), 0), FARLO_SUCCESS);
        EXPECT_EQ(state(), volume_state::offline);
        EXPECT_EQ(FARLO(OnlineVolW)(handle, spanned_guid, device.c_str(), 0, 1000), FARLO_SUCCESS);
        EXPECT_EQ(state(), volume_state::online);
    });
}

TEST_F(LabScenarios, LargeGroupIsWrittenWhole) {
    with_scenario(L"large_group.json", [&] {
        std::uint32_t size = 0;
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg_large", nullptr, nullptr, &size),
                  FARLO_BUFFER_TOO_SMALL);
        ASSERT_EQ(size, 8u + 500 * 56 + 2000 * 1656);
        const GuardedBuffer record(size);
        EXPECT_EQ(FARLO(GetDgPropertiesW)(handle, L"dg_large", nullptr, record.as<DgInfo>(), &size),
                  FARLO_SUCCESS);
        Image wanted(size);
        wanted.counts(500, 2000);
        for (std::uint32_t i = 1; i <= 500; ++i) {
            wchar_t name[16];
            swprintf(name, 16, L"Harddisk%03u", i);
            // The decimal digits of i, read as hexadecimal digits.
            const std::uint32_t digits = (i / 100) << 8 | (i / 10 % 10) << 4 | i % 10;
            wanted.disk(8 + (i - 1) * disk_size, {name, 0xC0000000 | digits, 0, 0, 2});
        }
        for (std::uint32_t i = 1; i <= 2000; ++i) {
            wchar_t device[64];
            swprintf(device, 64, L"\\Device\\HarddiskDmVolumes\\dg_large\\vol%04u", i);
            wanted.volume(
                8 + 500 * disk_size + (i - 1) * volume_size,
                {device, L"", L"NTFS", L"Volume " + std::to_wstring(i), L"", 1, 0, 1'073'741'824});
        }
        EXPECT_EQ(record.difference(wanted.bytes()), "");
    });
}

}  // namespace
