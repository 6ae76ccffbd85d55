// farlo.hpp: what it passes to the functions of farlo.dll, and what it makes of their results.
#include "api/fake_farlo.h"
#include "farlo.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

namespace {

using farlo::Connection;
using farlo::Guid;

// What a function was given.
struct Given {
    std::vector<std::wstring> wide;
    std::vector<std::string> narrow;
    std::vector<std::uint32_t> numbers;
    Guid guid{};
};
Given given;

Guid guid_at(const void* bytes) {
    Guid guid;
    std::memcpy(guid.data(), bytes, guid.size());
    return guid;
}

constexpr Guid some_guid = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
const farlo::GroupRef dg(L"dg", "guid-1");

class HppArguments : public testing::Test {
  protected:
    HppArguments() { given = {}; }

    Connection connect() { return Connection(farlo::Library(api)); }
    static void expect(const std::vector<std::wstring>& wide,
                       const std::vector<std::string>& narrow,
                       const std::vector<std::uint32_t>& numbers) {
        EXPECT_EQ(given.wide, wide);
        EXPECT_EQ(given.narrow, narrow);
        EXPECT_EQ(given.numbers, numbers);
        given = {};
    }

    farlo_api api = support::make_fake_farlo();
};

TEST_F(HppArguments, OfTheOperationsOnGroups) {
    api.OnlineDgExW = [](opal_handle, const wchar_t* name, const char* guid,
                         const wchar_t* new_name, std::uint32_t options, std::uint32_t reserved) {
        given = {{name, new_name}, {guid}, {options, reserved}, {}};
        return FARLO_SUCCESS;
    };
    api.ImportDgW = [](opal_handle, const wchar_t* name, const char* guid, const wchar_t* new_name,
                       std::uint32_t options) {
        given = {{name, new_name}, {guid}, {options}, {}};
        return FARLO_SUCCESS;
    };
    api.OfflineDgW = [](opal_handle, const wchar_t* name, const char* guid, std::uint32_t options) {
        given = {{name}, {guid}, {options}, {}};
        return FARLO_SUCCESS;
    };
    api.SetFastFailoverFlagW = [](opal_handle, const wchar_t* name, const char* guid,
                                  std::uint32_t flag) {
        given = {{name}, {guid}, {flag}, {}};
        return FARLO_SUCCESS;
    };
    api.ClusterServiceStateW = [](opal_handle, std::uint32_t state) {
        given.numbers = {state};
        return FARLO_SUCCESS;
    };
    Connection connection = connect();
    connection.online_group(dg);
    expect({L"dg", L""}, {"guid-1"}, {0, 0});
    connection.online_group(L"dg", farlo::OnlineOptions::shared, L"new");
    expect({L"dg", L"new"}, {""}, {0x800, 0});
    connection.import_group(dg, farlo::OnlineOptions::clear_host_id, L"new");
    expect({L"dg", L"new"}, {"guid-1"}, {0x8000});
    connection.offline_group(dg, farlo::OfflineOptions::shared);
    expect({L"dg"}, {"guid-1"}, {0x800});
    connection.set_fast_failover_flag(dg, 7);
    expect({L"dg"}, {"guid-1"}, {7});
    connection.report_cluster_service_state(9);
    expect({}, {}, {9});
}

TEST_F(HppArguments, OfTheOperationsOnVolumes) {
    api.OnlineVolW = [](opal_handle, const char* guid, const wchar_t* device, std::uint32_t flags,
                        std::uint32_t timeout_ms) {
        given = {{device}, {guid}, {flags, timeout_ms}, {}};
        return FARLO_SUCCESS;
    };
    api.OfflineVolW = [](opal_handle, const char* guid, const wchar_t* device,
                         std::uint32_t flags) {
        given = {{device}, {guid}, {flags}, {}};
        return FARLO_SUCCESS;
    };
    api.OfflineVolumeW = [](const char* name, const wchar_t* path, const void* group_guid) {
        given = {{path}, {name}, {}, guid_at(group_guid)};
        return FARLO_SUCCESS;
    };
    Connection connection = connect();
    connection.online_volume("guid-1", L"v");
    expect({L"v"}, {"guid-1"}, {0, 1000});
    connection.online_volume("guid-1", L"v", nullptr, std::chrono::milliseconds(250), 6);
    expect({L"v"}, {"guid-1"}, {6, 250});
    // 50 days do not fit in 32 bits, and 0xFFFFFFFF means no interval.
    connection.online_volume("guid-1", L"v", nullptr, std::chrono::hours(50 * 24));
    expect({L"v"}, {"guid-1"}, {0, 0xFFFFFFFE});
    connection.online_volume("guid-1", L"v", nullptr, std::chrono::milliseconds(-1));
    expect({L"v"}, {"guid-1"}, {0, 0});
    connection.offline_volume("guid-1", L"v", 8);
    expect({L"v"}, {"guid-1"}, {8});
    connection.library().dismount_volume("name", L"path", some_guid);
    EXPECT_EQ(given.guid, some_guid);
    expect({L"path"}, {"name"}, {});
}

TEST_F(HppArguments, OfTheQuestionsAboutDisks) {
    api.IsStorageClusterable = [](opal_handle, std::uint32_t style, std::uint32_t signature,
                                  const std::uint8_t* disk_guid) {
        given = {{}, {}, {style, signature}, guid_at(disk_guid)};
        return std::uint8_t{1};
    };
    api.IsVolumeOfSpecifiedDgType = [](opal_handle, const wchar_t* name, std::uint32_t type) {
        given = {{name}, {}, {type}, {}};
        return std::uint8_t{1};
    };
    api.GetDiskTypeAndSignatureW = [](const wchar_t* path, std::uint32_t* signature,
                                      std::uint8_t* disk_guid, std::uint32_t* style) {
        given.wide = {path};
        *signature = 5;
        std::memcpy(disk_guid, some_guid.data(), some_guid.size());
        *style = FARLO_PARTITION_STYLE_GPT;
        return FARLO_SUCCESS;
    };
    api.GetFirstVolumesDiskIDW = [](opal_handle, const wchar_t* name, std::uint32_t* disk_id,
                                    std::uint32_t* style) {
        given.wide = {name};
        *disk_id = 6;
        *style = FARLO_PARTITION_STYLE_MBR;
        return FARLO_SUCCESS;
    };
    Connection connection = connect();
    const farlo::DiskIdentity disk = connection.library().disk_identity(L"path");
    expect({L"path"}, {}, {});
    EXPECT_EQ(disk.style, farlo::PartitionStyle::gpt);
    EXPECT_EQ(disk.signature, 5u);
    EXPECT_EQ(disk.guid, some_guid);

    EXPECT_TRUE(connection.is_storage_clusterable(disk));
    EXPECT_EQ(given.guid, some_guid);
    expect({}, {}, {FARLO_PARTITION_STYLE_GPT, 5});

    EXPECT_TRUE(connection.is_volume_of_type(L"v", farlo::GroupType::cluster_shared));
    expect({L"v"}, {}, {8});

    const std::optional<farlo::DiskIdentity> first = connection.first_volume_disk(L"dg");
    expect({L"dg"}, {}, {});
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->style, farlo::PartitionStyle::mbr);
    EXPECT_EQ(first->signature, 6u);
}

TEST_F(HppArguments, OfTheQuestionsAboutVolumes) {
    api.GetVolumeNameForSerialNumberW = [](opal_handle, const wchar_t* name, const char* guid,
                                           std::uint32_t serial_number, wchar_t* volume_name,
                                           std::uint32_t* size) {
        given = {{name}, {guid}, {serial_number, *size}, {}};
        std::wcscpy(volume_name, L"volume\\");
        return FARLO_SUCCESS;
    };
    // The status of a healthy volume is no success.
    api.GetDgVolumeStatusW = [](opal_handle, const char* guid, const std::uint8_t* volume_guid,
                                std::uint32_t* status) {
        given = {{}, {guid}, {}, guid_at(volume_guid)};
        *status = FARLO_VOLUME_STATUS_HEALTHY;
        return FARLO_DEVICE_UNSUCCESSFUL;
    };
    Connection connection = connect();
    EXPECT_EQ(connection.volume_name(dg, 12), L"volume\\");
    expect({L"dg"}, {"guid-1"}, {12, 1656});
    EXPECT_TRUE(connection.is_volume_healthy("guid-1", some_guid));
    EXPECT_EQ(given.guid, some_guid);
    expect({}, {"guid-1"}, {});
}

// ------------------------------------------------------ what the DLL writes

TEST_F(HppArguments, ReadsAFieldWithoutATerminator) {
    api.GetDgDiskPropertiesW = [](opal_handle, const wchar_t*, const char*, DgDiskList* record,
                                  std::uint32_t*) {
        DgDiskInfo disk{};
        std::wmemset(disk.name, L'x', 16);
        disk.signature = 1;
        record->disk_count = 1;
        std::memcpy(record + 1, &disk, sizeof disk);
        return FARLO_SUCCESS;
    };
    const std::vector<farlo::Disk> disks = connect().disks(dg);
    ASSERT_EQ(disks.size(), 1u);
    EXPECT_EQ(disks[0].name, std::wstring(16, L'x'));
    EXPECT_EQ(disks[0].signature, 1u);
}

TEST_F(HppArguments, ReadsNoNameBeyondTheBuffer) {
    api.GetDgNameListW = [](opal_handle, wchar_t** buffer, std::uint32_t* size,
                            std::uint32_t* count) {
        std::wmemset(*buffer, L'x', *size / sizeof(wchar_t));
        (*buffer)[1] = L'\0';
        *count = 3;
        return FARLO_SUCCESS;
    };
    const std::vector<std::wstring> names = connect().groups();
    ASSERT_EQ(names.size(), 2u);
    EXPECT_EQ(names[0], L"x");
    EXPECT_EQ(names[1], std::wstring(8192 / sizeof(wchar_t) - 2, L'x'));
}

// The DLL does not know how large the array is.
TEST_F(HppArguments, LeaveRoomForPlexesThatAreAdded) {
    static GetDgVolPlexStatesW_fn fake;
    fake = api.GetDgVolPlexStatesW;
    api.GetDgVolPlexStatesW = [](opal_handle handle, const wchar_t* name, const char* guid,
                                 const wchar_t* device, std::uint32_t* count,
                                 farlo_plex_state* plexes) -> std::uint32_t {
        if (device == nullptr) {
            return fake(handle, name, guid, device, count, plexes);
        }
        if (plexes == nullptr) {
            *count = 1;
            return FARLO_BUFFER_TOO_SMALL;
        }
        *count = 1 + 64;
        for (std::uint32_t i = 0; i < *count; ++i) {
            plexes[i] = {L"plex", i};
        }
        return FARLO_SUCCESS;
    };
    const std::vector<farlo::Plex> plexes = connect().plexes(dg, L"v");
    ASSERT_EQ(plexes.size(), 65u);
    EXPECT_EQ(plexes.back().name, L"plex");
    EXPECT_EQ(static_cast<std::uint32_t>(plexes.back().state), 64u);
}

}  // namespace
