// The longest time that each function may block, as farlo.h states it: the sum of
// the library's own pauses in the situation that has most of them. What the
// service, a driver or a file takes comes on top of it.
#include "support/farlo_test.h"

#include <winternl.h>

#include <set>
#include <string>
#include <utility>

namespace {

using namespace support;

using OpenNative = NTSTATUS(HANDLE*, ACCESS_MASK, void*, void*, ULONG, ULONG);

// Which queries find nothing: pairs of the first one and their number.
using Ranges = std::vector<std::pair<int, int>>;
constexpr int every_query = 1000;

// One failed lookup is five empty queries (25 s); one that succeeds at its last try,
// four (20 s).
const Ranges all = {{1, every_query}};

// The search for a group by its name, when it succeeds as late as it can: 25 s for the
// lookup, 300 s for another caller's rescan, 25 s for the second lookup, 25 s and 10 s
// for a rescan of its own, 25 s for the third lookup, 20 s for the cluster service,
// which then knows the name.
constexpr std::uint64_t search_ms = 430'000;
const Ranges search_groups = {{1, 15}};
const Ranges search_services = {{1, 9}};

Ranges then(Ranges ranges, std::pair<int, int> more) {
    ranges.push_back(more);
    return ranges;
}

struct Longest {
    const char* export_name;
    std::uint64_t milliseconds;
    std::function<std::uint32_t()> call;
    std::uint32_t status;
    Ranges empty_groups = all;
    Ranges empty_services = all;
};

// Another process's rescan that does not end.
class OthersRescan {
  public:
    OthersRescan() {
        m_thread = CreateThread(nullptr, 0, hold, this, 0, nullptr);
        WaitForSingleObject(m_taken, INFINITE);
    }
    ~OthersRescan() {
        SetEvent(m_release);
        WaitForSingleObject(m_thread, INFINITE);
        for (const HANDLE handle : {m_thread, m_taken, m_release, m_mutex}) {
            CloseHandle(handle);
        }
    }
    OthersRescan(const OthersRescan&) = delete;
    OthersRescan& operator=(const OthersRescan&) = delete;

  private:
    static DWORD WINAPI hold(void* self) {
        const auto* const rescan = static_cast<OthersRescan*>(self);
        WaitForSingleObject(rescan->m_mutex, INFINITE);
        SetEvent(rescan->m_taken);
        WaitForSingleObject(rescan->m_release, INFINITE);
        ReleaseMutex(rescan->m_mutex);
        return 0;
    }

    HANDLE m_mutex = CreateMutexA(nullptr, FALSE, "Global\\rescanMutex");
    HANDLE m_taken = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE m_release = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    HANDLE m_thread = nullptr;
};

class BlockingTime : public FarloTest {
  protected:
    BlockingTime() {
        scenario = R"({"node": {"role": 1}, "disk_groups": [
            {"name": "dg", "dgid": "guid-1", "type": 2, "imported": true},
            {"name": "shared", "dgid": "guid-8", "type": 8,
             "volumes": [{"name": "v", "device": "v", "state": 32}]}]})";
    }

    static void add_rules(std::string& rules, const char* type, const Ranges& ranges) {
        for (const auto& [first, count] : ranges) {
            rules += std::string(rules.empty() ? "" : ", ") +
                     R"({"function": "DbGetObjects", "type": ")" + type + R"(", "call": )" +
                     std::to_string(first) + R"(, "times": )" + std::to_string(count) +
                     R"(, "nothing": true})";
        }
    }

    void expect_longest(const Longest& longest) {
        SCOPED_TRACE(longest.export_name);
        load_scenario(scenario);
        std::string rules;
        add_rules(rules, "tamo_ztvm_diskgroup", longest.empty_groups);
        add_rules(rules, "solvane_cluster_service", longest.empty_services);
        set_faults("[" + rules + "]");
        clock().forget();
        EXPECT_EQ(longest.call(), longest.status);
        EXPECT_EQ(clock().elapsed(), longest.milliseconds);
        set_faults("[]");
    }

    void expect_each(const std::vector<Longest>& calls) {
        for (const Longest& longest : calls) {
            expect_longest(longest);
        }
    }

    // The devices of the drivers are in use by another process, which shares nothing.
    void occupy_devices() {
        fail_calls<OpenNative>("ZwOpenFile", {.times = 1'000'000},
                               static_cast<NTSTATUS>(0xC0000043));
    }

    std::vector<Longest> searches_by_name() {
        const Ranges last_service = then(search_services, {11, every_query});
        return {
            {"GetDgGuidW", 435'000, [&] { return FARLO(GetDgGuidW)(handle, L"dg", text); }, 41},
            {"GetNonClusterDgGuidW", 435'000,
             [&] { return FARLO(GetNonClusterDgGuidW)(handle, L"dg", text); }, 41},
            {"OnlineDgExW", search_ms + 25'000,
             [&] { return FARLO(OnlineDgExW)(handle, L"dg", nullptr, nullptr, 0, 0); }, 41,
             search_groups, last_service},
            // A shared group is looked up by its GUID as well.
            {"OnlineDgExW", search_ms + 20'000 + 25'000,
             [&] {
                 return FARLO(OnlineDgExW)(handle, L"dg", nullptr, nullptr, FARLO_ONLINE_SHARED, 0);
             },
             41, then(search_groups, {16, 4}), last_service},
            {"OnlineDgW", search_ms + 20'000 + 25'000,
             [&] { return FARLO(OnlineDgW)(handle, L"dg", nullptr, nullptr, FARLO_ONLINE_SHARED); },
             41, then(search_groups, {16, 4}), last_service},
            {"ImportDgW", search_ms + 25'000,
             [&] { return FARLO(ImportDgW)(handle, L"dg", nullptr, nullptr, 0); }, 41,
             search_groups, last_service},
            // The group that is not found is deported under the null id, which the
            // service refuses.
            {"OfflineDgW", search_ms + 20'000 + 25'000,
             [&] { return FARLO(OfflineDgW)(handle, L"dg", nullptr, 0); }, 0xc1000010,
             then(search_groups, {16, 5}), then(search_services, {11, 4})},
            {"DeportDgW", search_ms + 20'000 + 25'000,
             [&] { return FARLO(DeportDgW)(handle, L"dg", nullptr); }, 1,
             then(search_groups, {16, 5}), then(search_services, {11, 4})},
            {"ArbitrateDgW", search_ms + 25'000,
             [&] { return FARLO(ArbitrateDgW)(handle, L"dg", nullptr); }, 41, search_groups,
             last_service},
            {"StopDgReservationW", search_ms + 25'000,
             [&] { return FARLO(StopDgReservationW)(handle, L"dg", nullptr); }, 41, search_groups,
             last_service},
            {"GetDgReservationStatusW", search_ms + 120'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, L"dg", nullptr, &word); }, 23,
             search_groups, search_services},
            {"GetDgDiskAvailabilityW", search_ms + 25'000,
             [&] {
                 return FARLO(GetDgDiskAvailabilityW)(handle, L"dg", nullptr, &word, &other_word);
             },
             41, search_groups, last_service},
        };
    }

    std::vector<Longest> lookups_with_a_guid() {
        const Ranges late = {{1, 4}};
        return {
            {"OnlineDgExW", 25'000,
             [&] { return FARLO(OnlineDgExW)(handle, nullptr, "guid-1", nullptr, 0, 0); }, 41},
            {"OnlineDgExW", 45'000,
             [&] {
                 return FARLO(OnlineDgExW)(handle, nullptr, "guid-1", nullptr, FARLO_ONLINE_SHARED,
                                           0);
             },
             41, late},
            {"ImportDgW", 25'000,
             [&] { return FARLO(ImportDgW)(handle, nullptr, "guid-1", nullptr, 0); }, 41},
            {"OfflineDgW", 45'000, [&] { return FARLO(OfflineDgW)(handle, nullptr, "guid-1", 0); },
             0xc1000010, all, late},
            {"DeportDgW", 45'000, [&] { return FARLO(DeportDgW)(handle, nullptr, "guid-1"); }, 1,
             all, late},
            {"ArbitrateDgW", 25'000, [&] { return FARLO(ArbitrateDgW)(handle, nullptr, "guid-1"); },
             41},
            {"StopDgReservationW", 25'000,
             [&] { return FARLO(StopDgReservationW)(handle, nullptr, "guid-1"); }, 41},
            {"GetDgDiskAvailabilityW", 25'000,
             [&] {
                 return FARLO(GetDgDiskAvailabilityW)(handle, nullptr, "guid-1", &word,
                                                      &other_word);
             },
             41},
            {"GetDgVolumeGuidW", 25'000,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, nullptr, "guid-1", L"v", text); }, 41},
            // By name the group is looked up, but not searched for.
            {"GetDgVolumeGuidW", 45'000,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, L"dg", nullptr, L"v", text); }, 41, late},
            {"OfflineVolW", 45'000, [&] { return FARLO(OfflineVolW)(handle, "guid-8", L"v", 0); },
             41, late},
            // The group is looked up twice and imported; then the volume goes online. A
            // connection that is made in place of a lost one takes up to 1 s more.
            {"OnlineVolW", 110'000,
             [&] { return FARLO(OnlineVolW)(handle, "guid-8", L"v", 0, 1000); }, 41,
             Ranges{{1, 5}, {6, 4}, {11, 4}}, Ranges{{1, 4}, {6, 5}}},
        };
    }

    std::vector<Longest> single_lookups() {
        return {
            {"GetDgNameListW", 25'000,
             [&] { return FARLO(GetDgNameListW)(handle, &names, &size, &word); }, 0},
            {"GetNonClusterDgNameListW", 25'000,
             [&] { return FARLO(GetNonClusterDgNameListW)(handle, &names, &size, &word); }, 0},
            {"GetDgNameW", 25'000, [&] { return FARLO(GetDgNameW)(handle, "guid-1", name); }, 1},
            {"GetDgStateExW", 25'000,
             [&] { return FARLO(GetDgStateExW)(handle, L"dg", nullptr, bytes); }, 1},
            {"GetDgVolPlexStatesW", 25'000,
             [&] {
                 return FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, L"v", &word, nullptr);
             },
             1},
            {"SetFastFailoverFlagW", 25'000,
             [&] { return FARLO(SetFastFailoverFlagW)(handle, L"dg", nullptr, 1); }, 1},
            {"ClusterServiceStateW", 25'000, [&] { return FARLO(ClusterServiceStateW)(handle, 1); },
             41},
            {"StartCVMClusterW", 25'000, [&] { return FARLO(StartCVMClusterW)(handle); }, 41},
            {"StopCVMClusterW", 25'000, [&] { return FARLO(StopCVMClusterW)(handle); }, 41},
            {"GetCVMClusterNodeStateW", 25'000,
             [&] { return FARLO(GetCVMClusterNodeStateW)(handle, &word); }, 41},
            {"GetVolumeNameForSerialNumberW", 25'000,
             [&] {
                 return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg", nullptr, 1, name,
                                                             &size);
             },
             1},
            {"GetFirstVolumesDiskIDW", 25'000,
             [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg", &word, &other_word); }, 1},
            {"GetDgPropertiesW", 25'000,
             [&] { return FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }, 1},
            {"GetDgVolPropertiesW", 25'000,
             [&] { return FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, nullptr, &size); }, 1},
            {"GetDgVolumePropertiesW", 25'000,
             [&] {
                 return FARLO(GetDgVolumePropertiesW)(handle, L"dg", nullptr, L"v", &volume, &size);
             },
             1},
            {"GetDgDiskPropertiesW", 25'000,
             [&] { return FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size); },
             1},
            {"GetDgVolumeStateW", 25'000,
             [&] { return FARLO(GetDgVolumeStateW)(handle, L"dg", nullptr, L"v", &word); }, 1},
            {"GetUnusableVolumesInfo", 25'000,
             [&] { return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &word); },
             1},
            {"GetVolumeInfo", 25'000,
             [&] { return FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"v", &volume, &size); }, 1},
        };
    }

    std::vector<Longest> occupied_devices() {
        return {
            {"GetDgReservationStatusW", 120'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &word); }, 23},
            {"ReleaseDgW", 24'000, [&] { return FARLO(ReleaseDgW)("guid-1"); }, 23},
            {"GetDgStateW", 3'000,
             [&] { return FARLO(GetDgStateW)(handle, nullptr, "guid-1", bytes); }, 23},
            {"GetDgVolumeStatusW", 3'000,
             [&] { return FARLO(GetDgVolumeStatusW)(handle, "guid-1", bytes, &word); }, 23},
        };
    }

    std::vector<Longest> missing_driver() {
        return {
            {"GetDgReservationStatusW", 3'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &word); }, 1},
            {"ReleaseDgW", 3'000, [&] { return FARLO(ReleaseDgW)("guid-1"); }, 1},
            {"GetDgStateW", 3'000 + 25'000,
             [&] { return FARLO(GetDgStateW)(handle, nullptr, "guid-1", bytes); }, 1},
            {"GetDgStateW", search_ms + 3'000 + 25'000,
             [&] { return FARLO(GetDgStateW)(handle, L"dg", nullptr, bytes); }, 1,
             then(search_groups, {16, 5}), search_services},
        };
    }

    std::vector<Longest> without_a_pause() {
        return {
            {"RegisterForAlerts", 0, [&] { return FARLO(RegisterForAlerts)(handle, nullptr); }, 0},
            {"GetDiskStateW", 0, [&] { return FARLO(GetDiskStateW)(handle, L"d", &word); }, 19},
            {"FFUpdateMountPathW", 0, [&] { return FARLO(FFUpdateMountPathW)(handle, L"none"); },
             0xc1000001},
            {"GetVolPropertiesW", 0,
             [&] {
                 return FARLO(GetVolPropertiesW)(handle, L"none",
                                                 reinterpret_cast<VolPropInfo*>(&volume), &size);
             },
             0x80070057},
            {"GetDiskTypeAndSignatureW", 0,
             [&] {
                 return FARLO(GetDiskTypeAndSignatureW)(L"\\\\.\\none", &word, bytes, &other_word);
             },
             2},
            {"GetClusterSharedDgGuidW", 0,
             [&] { return FARLO(GetClusterSharedDgGuidW)(handle, L"none", text); }, 0xc1000001},
            {"IsStorageClusterable", 0,
             [&] { return FARLO(IsStorageClusterable)(handle, 0, 1, bytes); }, 0},
            {"IsVolumeOfSpecifiedDgType", 0,
             [&] { return FARLO(IsVolumeOfSpecifiedDgType)(handle, L"none", 8); }, 0},
            {"IsVolumeClusterable", 0, [&] { return FARLO(IsVolumeClusterable)(handle, L"none"); },
             0},
            {"CheckOSVersionAndReg", 0, [&] { return FARLO(CheckOSVersionAndReg)(); }, 0x80070002},
            {"DeleteVMMSFolder", 0, [&] { return FARLO(DeleteVMMSFolder)(L"C:\\none\\"); },
             0x80070003},
            {"UnInitializeClusterW", 0,
             [&] {
                 const opal_handle released = handle;
                 handle = nullptr;
                 return FARLO(UnInitializeClusterW)(released);
             },
             0},
        };
    }

    char text[FARLO_GUID_TEXT_SIZE] = {};
    wchar_t name[FARLO_NAME_SIZE] = {};
    wchar_t* names = name;
    std::uint32_t size = 0;
    std::uint32_t word = 0;
    std::uint32_t other_word = 0;
    std::uint8_t bytes[16] = {};
    VolInfo volume{};
};

// The functions that search for a group by its name.
TEST_F(BlockingTime, SearchesByNameForUpTo435Seconds) {
    once([&] {
        const OthersRescan rescan;
        occupy_devices();
        expect_each(searches_by_name());
    });
}

// A group whose GUID is given is not searched for: no rescan, and no wait for one.
TEST_F(BlockingTime, LooksUpAGuidOnceOrTwice) {
    once([&] {
        const OthersRescan rescan;
        expect_each(lookups_with_a_guid());
    });
}

TEST_F(BlockingTime, LooksUpOnceForUpTo25Seconds) {
    once([&] { expect_each(single_lookups()); });
}

// A device is opened in three tries, a second apart: 3 s. The release and the
// reservation status repeat that six and thirty times, with a second after each.
TEST_F(BlockingTime, RetriesAnOccupiedDeviceForUpTo120Seconds) {
    once([&] {
        occupy_devices();
        expect_each(occupied_devices());
    });
}

// Without a driver one opening ends the reservation status and the release, and the
// service is asked for the group's state.
TEST_F(BlockingTime, GivesUpAfter3SecondsWithoutADriver) {
    once([&] {
        const OthersRescan rescan;
        fail_calls<OpenNative>("ZwOpenFile", {.times = 1'000'000},
                               static_cast<NTSTATUS>(0xC0000034));
        expect_each(missing_driver());
    });
}

// The status of a reservation that the service holds.
TEST_F(BlockingTime, LooksUpTheClusterServiceWhereItReserves) {
    support_scsi3 = 2;
    once([&] {
        const OthersRescan rescan;
        expect_longest(
            {"GetDgReservationStatusW", 25'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &word); }, 41});
        expect_longest(
            {"GetDgReservationStatusW", search_ms + 25'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, L"dg", nullptr, &word); }, 41,
             search_groups, then(search_services, {11, every_query})});
    });
}

// The volume is stood in for; the driver's device is occupied.
TEST_F(BlockingTime, OpensTheConfigDeviceFor3Seconds) {
    once([&] {
        interpose<decltype(CreateFileW)>("CreateFileW", [](auto...) -> HANDLE {
            return CreateEventW(nullptr, TRUE, FALSE, nullptr);
        });
        interpose<decltype(FlushFileBuffers)>("FlushFileBuffers", [](auto...) { return TRUE; });
        interpose<decltype(DeviceIoControl)>("DeviceIoControl", [](auto...) { return TRUE; });
        occupy_devices();
        expect_longest({"OfflineVolumeW", 3'000,
                        [&] { return FARLO(OfflineVolumeW)("v", L"\\\\.\\F:", bytes); }, 23});
    });
}

// Half a second after each of three reconnections that fail. An empty slot is tried
// once.
TEST_F(BlockingTime, ReconnectsForUpTo1500Milliseconds) {
    once([&] {
        disconnect();
        LabRefuseConnections(0xc1000103);
        expect_longest(
            {"ValidateClusterW", 1'500, [&] { return FARLO(ValidateClusterW)(&handle); }, 20});
        EXPECT_EQ(handle, nullptr);
        expect_longest(
            {"ValidateClusterW", 0, [&] { return FARLO(ValidateClusterW)(&handle); }, 20});
        LabRefuseConnections(0);
    });
}

// Functions without a pause, also where there is nothing that they look for.
TEST_F(BlockingTime, DoesNotPauseWithoutALookup) {
    once([&] { expect_each(without_a_pause()); });
}

// Each export is measured above, the narrow ones by their wide forms.
TEST_F(BlockingTime, MeasuresEveryFunction) {
    // Measured by a test of their own; the last is another name of the one before it.
    std::set<std::string> measured = {"OfflineVolumeW", "ValidateClusterW", "InitializeClusterW"};
    for (const auto& table : {searches_by_name(), lookups_with_a_guid(), single_lookups(),
                              occupied_devices(), missing_driver(), without_a_pause()}) {
        for (const Longest& longest : table) {
            measured.insert(longest.export_name);
        }
    }
    std::set<std::string> exported = {
#define SAME(name) #name,
#include "api/exports.inc"
#undef SAME
    };
    std::erase_if(exported, [&](const std::string& export_name) {
        const std::string stem = export_name.substr(0, export_name.size() - 1);
        return export_name.back() == 'A' && exported.count(stem + "W") != 0;
    });
    EXPECT_EQ(measured, exported);
}

}  // namespace
