// farlo.hpp over the lab: what each member returns, and the sizes of records that change while
// they are read.
#include "api/hpp_test.h"
#include "support/fault_rules.h"
#include "support/interposer.h"

#include <functional>
#include <string>
#include <vector>

namespace {

using namespace support;
using farlo::Connection;
using farlo::GroupRef;
using farlo::Status;

constexpr char storage[] = R"({
    "node": {"role": 0},
    "disk_groups": [
        {"name": "dg", "dgid": "guid-1", "type": 2, "imported": true,
         "disks": [
            {"name": "Disk1", "device": "\\Device\\Disk1", "signature": 4096, "port": 1,
             "target": 2, "lun": 3},
            {"name": "Disk2", "disk_id": "1f-2", "state": 3}],
         "volumes": [
            {"name": "v1", "device": "\\Device\\v1", "volume_name": "name1", "drive_letter": "F",
             "guid": "volume-1", "type": 3, "state": 32, "size": 10737418240,
             "file_system": {"type": "NTFS", "label": "Data"},
             "plexes": [
                {"name": "v1-01", "state": 7, "subdisks": [{"name": "s", "disk": "Disk1"}]},
                {"name": "v1-02"}]},
            {"name": "v2", "device": "\\Device\\v2", "type": 1, "size": 1024,
             "mount_points": [{"path": "logs", "volume": "v1"}]}]},
        {"name": "empty", "dgid": "guid-2", "type": 2, "imported": true},
        {"name": "shared", "dgid": "guid-8", "type": 8, "imported": true,
         "volumes": [{"name": "v8", "device": "v8", "volume_name": "name8", "state": 32}]},
        {"name": "offline", "dgid": "guid-3", "type": 2},
        {"name": "local", "dgid": "guid-4", "type": 1, "imported": true}]})";

class Hpp : public HppTest {
  protected:
    Hpp() { scenario = storage; }
};

const GroupRef dg = L"dg";

void expect_first_volume(const farlo::Volume& volume) {
    EXPECT_EQ(volume.device_name, L"\\Device\\v1");
    EXPECT_EQ(volume.drive_letter, L"F:");
    EXPECT_EQ(volume.file_system, L"NTFS");
    EXPECT_EQ(volume.label, L"Data");
    EXPECT_EQ(volume.mount_points, L"");
    EXPECT_EQ(volume.type, 3u);
    EXPECT_EQ(volume.state, farlo::VolumeState::offline);
    EXPECT_EQ(volume.size, 10737418240u);
}

void expect_first_disk(const farlo::Disk& disk) {
    EXPECT_EQ(disk.name, L"Disk1");
    EXPECT_EQ(disk.signature, 4096u);
    EXPECT_EQ(disk.port, 1u);
    EXPECT_EQ(disk.target, 2u);
    EXPECT_EQ(disk.lun, 3u);
}

// ------------------------------------------------------------------ records

TEST_F(Hpp, ReadsAGroup) {
    connected([](Connection& connection) {
        const farlo::Group group = connection.group(dg);
        ASSERT_EQ(group.disks.size(), 2u);
        expect_first_disk(group.disks[0]);
        EXPECT_EQ(group.disks[1].name, L"Disk2");
        EXPECT_EQ(group.disks[1].signature, 0x1fu) << "formed from the disk's id";
        ASSERT_EQ(group.volumes.size(), 2u);
        expect_first_volume(group.volumes[0]);
        EXPECT_EQ(group.volumes[1].device_name, L"\\Device\\v2");
        EXPECT_EQ(group.volumes[1].mount_points, L"F:\\logs");
        EXPECT_EQ(group.volumes[1].file_system, L"");

        const farlo::Group empty = connection.group(L"empty");
        EXPECT_TRUE(empty.disks.empty());
        EXPECT_TRUE(empty.volumes.empty());
    });
}

TEST_F(Hpp, ReadsALightGroupWithAndWithoutDisks) {
    connected([](Connection& connection) {
        const farlo::LightGroup group = connection.light_group(dg);
        EXPECT_EQ(group.signature, 4096u);
        ASSERT_EQ(group.volumes.size(), 2u);
        EXPECT_EQ(group.volumes[0].device_name, L"\\Device\\v1");
        EXPECT_EQ(group.volumes[0].size, 10737418240u);
        EXPECT_EQ(group.volumes[0].label, L"") << "not in the light form";
        EXPECT_EQ(group.volumes[1].device_name, L"\\Device\\v2");

        const farlo::LightGroup shared = connection.light_group(GroupRef::by_guid("guid-8"));
        EXPECT_EQ(shared.signature, 0u);
        ASSERT_EQ(shared.volumes.size(), 1u);
        EXPECT_EQ(shared.volumes[0].device_name, L"v8");

        EXPECT_TRUE(connection.light_group(L"empty").volumes.empty());
    });
}

TEST_F(Hpp, ReadsAVolumeWithItsDisks) {
    connected([](Connection& connection) {
        const farlo::VolumeWithDisks result = connection.volume_with_disks(L"\\Device\\v1");
        ASSERT_EQ(result.disks.size(), 1u);
        expect_first_disk(result.disks[0]);
        expect_first_volume(result.volume);
        EXPECT_EQ(thrown_by([&] { connection.volume_with_disks(L"none"); }),
                  Status::invalid_argument);
    });
}

TEST_F(Hpp, ReadsOneVolume) {
    connected([](Connection& connection) {
        expect_first_volume(connection.volume(dg, L"\\Device\\v1"));
        EXPECT_EQ(connection.volume(dg, L"\\Device\\v2").state, farlo::VolumeState::none);
        EXPECT_EQ(connection.volume_info(dg, L"\\Device\\v2").state, farlo::VolumeState::offline)
            << "the mount-point manager does not know it";
        EXPECT_EQ(connection.volume_state(dg, L"\\Device\\v1"), farlo::VolumeState::offline);
        EXPECT_EQ(thrown_by([&] { connection.volume(dg, L"none"); }), Status::volume_not_found);
    });
}

TEST_F(Hpp, ReadsUnusableVolumes) {
    connected([](Connection& connection) {
        const std::vector<farlo::Volume> volumes = connection.unusable_volumes(dg);
        ASSERT_EQ(volumes.size(), 2u);
        expect_first_volume(volumes[0]);
        EXPECT_EQ(volumes[1].device_name, L"\\Device\\v2");
        EXPECT_TRUE(has_any(volumes[1].state, farlo::VolumeState::unusable));
        EXPECT_EQ(thrown_by([&] { connection.unusable_volumes(L"empty"); }),
                  Status::volume_not_found);
    });
}

TEST_F(Hpp, ReadsDisksAndPlexes) {
    connected([](Connection& connection) {
        const std::vector<farlo::Disk> disks = connection.disks(dg);
        ASSERT_EQ(disks.size(), 2u);
        expect_first_disk(disks[0]);
        EXPECT_EQ(disks[1].signature, 0u) << "its own, which it has not";
        EXPECT_TRUE(connection.disks(L"empty").empty());

        const std::vector<farlo::Plex> plexes = connection.plexes(dg, L"\\Device\\v1");
        ASSERT_EQ(plexes.size(), 2u);
        EXPECT_EQ(plexes[0].name, L"v1-01");
        EXPECT_EQ(static_cast<std::uint32_t>(plexes[0].state), 7u);
        EXPECT_EQ(plexes[1].name, L"v1-02");
        EXPECT_EQ(plexes[1].state, farlo::PlexState::none);
        EXPECT_TRUE(connection.plexes(dg, L"\\Device\\v2").empty());
    });
}

// ----------------------------------------------------------- other members

TEST_F(Hpp, ListsGroupsByScope) {
    connected([](Connection& connection) {
        using Names = std::vector<std::wstring>;
        EXPECT_EQ(connection.groups(), (Names{L"dg", L"empty"}));
        EXPECT_EQ(connection.groups(farlo::Scope::non_cluster), (Names{L"shared", L"local"}));
        EXPECT_EQ(connection.groups(farlo::Scope::all),
                  (Names{L"dg", L"empty", L"shared", L"local"}));
    });
}

TEST_F(Hpp, IdentifiesGroupsAndVolumes) {
    connected([](Connection& connection) {
        EXPECT_EQ(connection.group_guid(L"dg"), "guid-1");
        EXPECT_EQ(connection.group_guid(L"local", farlo::Scope::all), "guid-4");
        EXPECT_EQ(connection.group_name("guid-1"), L"dg");
        EXPECT_EQ(connection.volume_guid(dg, L"\\Device\\v1"), "volume-1");
        EXPECT_EQ(connection.cluster_shared_group_guid(L"v8"), "guid-8");
        EXPECT_TRUE(connection.is_volume_of_type(L"name8", farlo::GroupType::cluster_shared));
        EXPECT_FALSE(connection.is_volume_of_type(L"name8", farlo::GroupType::cluster));
        EXPECT_TRUE(connection.is_volume_clusterable(L"name8"));
        EXPECT_FALSE(connection.is_volume_clusterable(L"name1"));
        farlo::DiskIdentity disk;
        disk.style = farlo::PartitionStyle::mbr;
        disk.signature = 4096;
        EXPECT_TRUE(connection.is_storage_clusterable(disk));
        disk.signature = 4097;
        EXPECT_FALSE(connection.is_storage_clusterable(disk));
        EXPECT_EQ(connection.first_volume_disk(L"empty"), std::nullopt);
    });
}

TEST_F(Hpp, ImportsAndDeportsAGroup) {
    connected([](Connection& connection) {
        const GroupRef group(L"offline", "guid-3");
        EXPECT_FALSE(connection.is_imported_by_service(group));
        connection.online_group(group);
        EXPECT_TRUE(connection.is_imported_by_service(group));
        EXPECT_EQ(thrown_by([&] { connection.online_group(group); }), Status::already_imported);
        connection.offline_group(group);
        EXPECT_FALSE(connection.is_imported_by_service(group));
        connection.import_group(group);
        EXPECT_TRUE(connection.is_imported_by_service(group));
        connection.deport_group(group);
        EXPECT_FALSE(connection.is_imported_by_service(group));
        connection.online_group(group, farlo::OnlineOptions::none, L"renamed");
        EXPECT_EQ(connection.group_name("guid-3"), L"renamed");
    });
}

TEST_F(Hpp, ReadsHealth) {
    connected([](Connection& connection) {
        EXPECT_EQ(connection.disk_state(L"Disk1"), farlo::DiskState::none);
        EXPECT_EQ(connection.disk_state(L"\\Device\\Disk1"), farlo::DiskState::none);
        const farlo::DiskState dead = connection.disk_state(L"Disk2");
        EXPECT_EQ(dead, farlo::DiskState::missing | farlo::DiskState::failed);
        const farlo::DiskAvailability disks = connection.disk_availability(dg);
        EXPECT_EQ(disks.total, 2u);
        EXPECT_EQ(disks.live, 1u);
        EXPECT_EQ(thrown_by([&] { connection.disk_state(L"none"); }), Status::missing_argument);
    });
}

TEST_F(Hpp, ReservesAGroupThroughTheService) {
    support_scsi3 = 2;
    connected([](Connection& connection) {
        EXPECT_EQ(connection.reservation(dg), farlo::Reservation::not_held);
        connection.arbitrate(dg);
        EXPECT_EQ(connection.reservation(dg), farlo::Reservation::held);
        connection.stop_reservation(dg);
        EXPECT_EQ(connection.reservation(dg), farlo::Reservation::not_held);
    });
}

TEST_F(Hpp, StartsAndStopsTheNode) {
    connected([](Connection& connection) {
        EXPECT_EQ(connection.node_state(), farlo::NodeState::stopped);
        EXPECT_TRUE(connection.start_node());
        EXPECT_EQ(connection.node_state(), farlo::NodeState::running);
        EXPECT_FALSE(connection.start_node());
        connection.stop_node();
        EXPECT_EQ(connection.node_state(), farlo::NodeState::stopped);
    });
}

TEST_F(Hpp, ReportsANodeThatStartsStopsOrFails) {
    scenario = R"({"node": {"start_seconds": 60, "stop_seconds": 60}})";
    connected([](Connection& connection) {
        connection.start_node();
        EXPECT_EQ(connection.node_state(), farlo::NodeState::starting);
    });
    scenario = R"({"node": {"role": 1, "stop_seconds": 60}})";
    connected([](Connection& connection) {
        connection.stop_node();
        EXPECT_EQ(connection.node_state(), farlo::NodeState::stopping);
    });
    scenario = R"({"node": {"start_fails": true}})";
    connected([](Connection& connection) {
        connection.start_node();
        EXPECT_EQ(connection.node_state(), farlo::NodeState::failed);
    });
}

TEST_F(Hpp, SwitchesAVolume) {
    scenario =
        std::string(storage).replace(std::string(storage).find("\"role\": 0"), 9, "\"role\": 1");
    connected([](Connection& connection) {
        const GroupRef shared = GroupRef::by_guid("guid-8");
        EXPECT_EQ(connection.volume_state(shared, L"v8"), farlo::VolumeState::offline);
        connection.online_volume("guid-8", L"v8");
        EXPECT_EQ(connection.volume_state(shared, L"v8"), farlo::VolumeState::none);
        connection.offline_volume("guid-8", L"v8");
        EXPECT_EQ(connection.volume_state(shared, L"v8"), farlo::VolumeState::offline);
        EXPECT_NO_THROW(connection.refresh_mount_path(L"v8"));
        EXPECT_NO_THROW(connection.set_fast_failover_flag(shared, 1));
        EXPECT_NO_THROW(connection.report_cluster_service_state(1));
    });
}

// What has no member.
TEST_F(Hpp, CallsNarrowForms) {
    connected([](Connection& connection) {
        char guid[FARLO_GUID_TEXT_SIZE] = "";
        EXPECT_EQ(connection.call(&farlo_api::GetDgGuidA, "dg", guid), FARLO_SUCCESS);
        EXPECT_STREQ(guid, "guid-1");
        EXPECT_EQ(connection.call(&farlo_api::GetDgGuidA, nullptr, guid), FARLO_MISSING_ARGUMENT);
    });
}

// -------------------------------------------------------------------- sizes

// A group's function of the DLL, which a test watches and interferes with.
struct Watched {
    farlo_api real;
    std::vector<std::uint32_t> sizes;             // that were passed
    std::function<void(std::size_t call)> after;  // the n-th call, from 1
};
Watched watched;

template <class Function> std::uint32_t watch(std::uint32_t size, Function&& call) {
    watched.sizes.push_back(size);
    const std::uint32_t status = call();
    if (watched.after) {
        watched.after(watched.sizes.size());
    }
    return status;
}

std::string volumes(int count) {
    return R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "imported": true, "volumes": [
        {"name": "v#", "device": "v#", "plexes": [], "count": )" +
           std::to_string(count) + R"(}]}]})";
}
std::string disks(int count) {
    return R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "imported": true, "disks": [
        {"name": "d#", "count": )" +
           std::to_string(count) + R"(}]}]})";
}
std::string groups(int count) {
    return R"({"disk_groups": [{"name": "a-long-name-of-a-group-####", "dgid": "guid-#",
        "imported": true, "count": )" +
           std::to_string(count) + "}]}";
}

// The first buffer, and what each further one has in addition to the size that was reported.
constexpr std::uint32_t first = 8192;
constexpr std::uint32_t reserve = 4096;
constexpr std::uint32_t volume_size = 1656;

class HppSizes : public Hpp {
  protected:
    // A library that watches the functions with sizes.
    static farlo::Library watching() {
        farlo_api api = farlo::Library::load().api();  // the fixture keeps the DLL loaded
        watched = {api, {}, nullptr};
        api.GetDgPropertiesW = [](opal_handle handle, const wchar_t* name, const char* guid,
                                  DgInfo* record, std::uint32_t* size) {
            return watch(*size, [&] {
                return watched.real.GetDgPropertiesW(handle, name, guid, record, size);
            });
        };
        api.GetDgVolPropertiesW = [](opal_handle handle, const wchar_t* name, const char* guid,
                                     DgVolInfo* record, std::uint32_t* size) {
            return watch(*size, [&] {
                return watched.real.GetDgVolPropertiesW(handle, name, guid, record, size);
            });
        };
        api.GetVolPropertiesW = [](opal_handle handle, const wchar_t* device, VolPropInfo* record,
                                   std::uint32_t* size) {
            return watch(*size, [&] {
                return watched.real.GetVolPropertiesW(handle, device, record, size);
            });
        };
        api.GetDgDiskPropertiesW = [](opal_handle handle, const wchar_t* name, const char* guid,
                                      DgDiskList* record, std::uint32_t* size) {
            return watch(*size, [&] {
                return watched.real.GetDgDiskPropertiesW(handle, name, guid, record, size);
            });
        };
        api.GetUnusableVolumesInfo = [](opal_handle handle, const wchar_t* name, const char* guid,
                                        VolInfo* records, std::uint32_t* count) {
            return watch(*count, [&] {
                return watched.real.GetUnusableVolumesInfo(handle, name, guid, records, count);
            });
        };
        api.GetDgNameListW = [](opal_handle handle, wchar_t** buffer, std::uint32_t* size,
                                std::uint32_t* count) {
            return watch(*size,
                         [&] { return watched.real.GetDgNameListW(handle, buffer, size, count); });
        };
        return farlo::Library(api);
    }
    void watched_connection(const std::function<void(Connection&)>& body) {
        once([&] {
            {
                Connection connection(watching());
                body(connection);
            }
            watched = {};
        });
    }
    // Replaces the storage after the n-th call.
    void grow_after(std::size_t call, const std::string& json) {
        watched.after = [=, this](std::size_t made) {
            if (made == call) {
                load_scenario(json);
            }
        };
    }
    using Sizes = std::vector<std::uint32_t>;
};

TEST_F(HppSizes, FitTheFirstBufferWithOneCall) {
    scenario = volumes(4);  // 8 + 4 * 1656 bytes
    watched_connection([](Connection& connection) {
        EXPECT_EQ(connection.group(dg).volumes.size(), 4u);
        EXPECT_EQ(watched.sizes, Sizes{first});
    });
}

TEST_F(HppSizes, GrowToWhatIsReported) {
    scenario = volumes(40);
    watched_connection([](Connection& connection) {
        EXPECT_EQ(connection.group(dg).volumes.size(), 40u);
        EXPECT_EQ(watched.sizes, (Sizes{first, 8 + 40 * volume_size + reserve}));

        watched.sizes.clear();
        EXPECT_EQ(connection.light_group(dg).volumes.size(), 40u);
        EXPECT_EQ(watched.sizes, (Sizes{first, 8 + 40 * volume_size + reserve}));

        watched.sizes.clear();
        EXPECT_EQ(connection.unusable_volumes(dg).size(), 40u);
        EXPECT_EQ(watched.sizes, (Sizes{first / volume_size, 42})) << "records, not bytes";
    });
}

TEST_F(HppSizes, LeaveRoomForWhatIsWrittenBeyondAVolumesSize) {
    // A volume on 200 subdisks: 200 disks of 56 bytes.
    std::string subdisks;
    for (int i = 0; i < 200; ++i) {
        subdisks += std::string(subdisks.empty() ? "" : ", ") + R"({"name": "s)" +
                    std::to_string(i) + R"(", "disk": "d"})";
    }
    scenario = R"({"disk_groups": [{"name": "dg", "dgid": "guid-1", "disks": [{"name": "d"}],
        "volumes": [{"name": "v", "device": "v", "plexes": [{"name": "p", "subdisks": [)" +
               subdisks + "]}]}]}]}";
    watched_connection([](Connection& connection) {
        EXPECT_EQ(connection.volume_with_disks(L"v").disks.size(), 200u);
        const std::uint32_t reported = 8 + 200 * 56 + volume_size - 4;
        EXPECT_EQ(watched.sizes, (Sizes{first - 4, reported + reserve - 4}));
    });
}

TEST_F(HppSizes, GrowAgainWhenTheRecordHasGrownMeanwhile) {
    scenario = volumes(10);
    watched_connection([this](Connection& connection) {
        grow_after(1, volumes(60));
        EXPECT_EQ(connection.group(dg).volumes.size(), 60u);
        EXPECT_EQ(watched.sizes,
                  (Sizes{first, 8 + 10 * volume_size + reserve, 8 + 60 * volume_size + reserve}));
    });
    scenario = volumes(10);
    watched_connection([this](Connection& connection) {
        grow_after(1, volumes(60));
        EXPECT_EQ(connection.unusable_volumes(dg).size(), 60u);
        EXPECT_EQ(watched.sizes.size(), 3u);
    });
    scenario = disks(200);
    watched_connection([this](Connection& connection) {
        grow_after(1, disks(500));
        EXPECT_EQ(connection.disks(dg).size(), 500u);
        EXPECT_EQ(watched.sizes, (Sizes{first, 4 + 200 * 56 + reserve, 4 + 500 * 56 + reserve}));
    });
    scenario = groups(200);
    watched_connection([this](Connection& connection) {
        grow_after(1, groups(500));
        const std::vector<std::wstring> names = connection.groups();
        ASSERT_EQ(names.size(), 500u);
        EXPECT_EQ(names.front(), L"a-long-name-of-a-group-0001");
        EXPECT_EQ(names.back(), L"a-long-name-of-a-group-0500");
        EXPECT_EQ(watched.sizes, (Sizes{first, 200 * 56 + reserve, 500 * 56 + reserve}));
    });
}

TEST_F(HppSizes, ReadARecordThatHasShrunkMeanwhile) {
    scenario = volumes(60);
    watched_connection([this](Connection& connection) {
        grow_after(1, volumes(2));
        EXPECT_EQ(connection.group(dg).volumes.size(), 2u);
        EXPECT_EQ(watched.sizes.size(), 2u);
    });
}

TEST_F(HppSizes, GiveUpOnARecordThatGrowsWithoutEnd) {
    scenario = volumes(10);
    watched_connection([this](Connection& connection) {
        watched.after = [this](std::size_t made) {
            load_scenario(volumes(10 + 10 * static_cast<int>(made)));
        };
        EXPECT_EQ(thrown_by([&] { connection.group(dg); }), Status::buffer_too_small);
        EXPECT_EQ(watched.sizes.size(), 16u);
    });
}

// The call stores the size that is needed, and then ends with FARLO_NOT_CONNECTED. The next one
// must not take that size for the buffer's.
TEST_F(HppSizes, AreSetAnewAfterTheConnectionWasLost) {
    const auto lose = [this](const FaultRule& rule, const std::function<void()>& read,
                             const Sizes& wanted) {
        watched.sizes.clear();
        FaultRule once_only = dropping(rule);
        once_only.call = 1;
        set_faults(fault_plan({once_only}));
        read();
        EXPECT_EQ(watched.sizes, wanted);
        set_faults("[]");
    };
    scenario = volumes(40);
    watched_connection([&](Connection& connection) {
        const std::uint32_t needed = 8 + 40 * volume_size + reserve;
        lose(listing(object_type::volume),
             [&] { EXPECT_EQ(connection.group(dg).volumes.size(), 40u); }, {first, first, needed});
        lose(listing(object_type::volume),
             [&] { EXPECT_EQ(connection.light_group(dg).volumes.size(), 40u); },
             {first, first, needed});
        lose(reading("ztvmstate"), [&] { EXPECT_EQ(connection.unusable_volumes(dg).size(), 40u); },
             {4, 4, 42});
    });
    scenario = disks(200);
    watched_connection([&](Connection& connection) {
        lose(listing(object_type::disk), [&] { EXPECT_EQ(connection.disks(dg).size(), 200u); },
             {first, first, 4 + 200 * 56 + reserve});
    });
    scenario = groups(200);
    watched_connection([&](Connection& connection) {
        lose(reading("Name"), [&] { EXPECT_EQ(connection.groups().size(), 200u); },
             {first, first, 200 * 56 + reserve});
    });
}

// -------------------------------------------------------- lost connections

// The lookup that has lost its connection returns FARLO_NOT_FOUND.
TEST_F(Hpp, RepeatsALookupThatHasLostTheConnection) {
    connected([this](Connection& connection) {
        FaultRule drop = dropping({.function = "DbGetObjects", .type = object_type::disk_group});
        drop.call = 1;
        set_faults(fault_plan({drop}));
        EXPECT_EQ(connection.group_name("guid-1"), L"dg");
        set_faults("[]");
    });
}

TEST_F(Hpp, ReportsALossWhenTheServiceStaysAway) {
    once([] {
        farlo::ReconnectPolicy policy;
        policy.first_pause = std::chrono::milliseconds(1);
        Connection connection(farlo::Library::load(), policy);
        LabDropConnections();
        LabRefuseConnections(bus_not_connected);
        EXPECT_EQ(thrown_by([&] { connection.groups(); }), Status::not_connected);
        EXPECT_EQ(thrown_by([&] { connection.group_name("guid-1"); }), Status::not_connected);
        EXPECT_EQ(thrown_by([&] { connection.online_group(L"offline"); }), Status::not_connected);
        EXPECT_EQ(thrown_by([&] { connection.is_volume_clusterable(L"name8"); }),
                  Status::not_connected);
        LabRefuseConnections(0);
        EXPECT_EQ(connection.group_name("guid-1"), L"dg");
    });
}

// The service has imported the group, and the status is lost.
TEST_F(Hpp, DoesNotRepeatAnImportWhoseStatusWasLost) {
    connected([this](Connection& connection) {
        FaultRule drop{.function = "PrCallDispatch"};
        drop.drops = true;
        drop.call = 1;
        set_faults(fault_plan({drop}));
        const GroupRef group = GroupRef::by_guid("guid-3");
        start_watching();
        EXPECT_EQ(thrown_by([&] { connection.online_group(group); }), Status::not_connected);
        EXPECT_EQ(calls_of("PrCallDispatch").size(), 1u);
        set_faults("[]");
        EXPECT_TRUE(connection.is_imported_by_service(group));
    });
}

TEST_F(Hpp, LogsOneLineOfLevel6ToFindOutWhetherItIsConnected) {
    at_every_threshold([this] {
        Connection connection(farlo::Library::load());
        start_watching();
        connection.report_cluster_service_state(1);
        EXPECT_EQ(calls_of("PrCallDispatch").size(), 1u);
        expect_log({{6, "Entering GetDgVolPlexStatesW"},
                    {4, "Entering ClusterServiceState"},
                    {4, "Exiting ClusterServiceState"}});
    });
}

// ------------------------------------------------------------------ loading

TEST_F(Hpp, KeepsTheDllLoadedAsLongAsItIsUsed) {
    load_scenario(scenario);
    wchar_t path[MAX_PATH];
    HMODULE module = nullptr;
    {
        std::optional<farlo::Library> library = farlo::Library::load();
        module = GetModuleHandleW(L"farlo.dll");
        ASSERT_NE(module, nullptr);
        Connection connection(*library);
        library.reset();
        EXPECT_NE(GetModuleFileNameW(module, path, MAX_PATH), 0u);
        EXPECT_EQ(connection.node_state(), farlo::NodeState::stopped);
    }
    EXPECT_EQ(GetModuleHandleW(L"farlo.dll"), nullptr);
}

TEST_F(Hpp, LoadsTheDllWithTheFlagsOfTheCaller) {
    constexpr DWORD safe = LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32;
    std::vector<DWORD> passed;
    StandIn<HMODULE(const wchar_t*, HANDLE, DWORD)> load(
        GetModuleHandleW(nullptr), "LoadLibraryExW",
        [&](const wchar_t* path, HANDLE reserved, DWORD flags) {
            EXPECT_STREQ(path, L"C:\\agent\\farlo.dll");
            passed.push_back(flags);
            return load.real(L"farlo.dll", reserved, 0);
        });
    farlo::Library::load(L"C:\\agent\\farlo.dll");
    farlo::Library::load(L"C:\\agent\\farlo.dll", safe);
    EXPECT_EQ(passed, (std::vector<DWORD>{0, safe}));
}

TEST_F(Hpp, ReportsADllThatCannotBeLoaded) {
    try {
        farlo::Library::load(L"no-such.dll");
        FAIL() << "nothing was thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::error_code(ERROR_MOD_NOT_FOUND, std::system_category()));
    }
}

TEST_F(Hpp, ReportsADllThatIsAnother) {
    try {
        farlo::Library::load(L"shlwapi.dll");
        FAIL() << "nothing was thrown";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::error_code(ERROR_PROC_NOT_FOUND, std::system_category()));
        EXPECT_NE(std::string(error.what()).find("InitializeClusterW"), std::string::npos)
            << error.what();
    }
}

}  // namespace
