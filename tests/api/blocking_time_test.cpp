// The longest time that each function may block, as farlo.h states it: the sum of the library's
// own pauses in the worst situation. The time that the service, a driver or a file takes is not
// included.
#include "api/export_names.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

#include <winternl.h>

#include <set>
#include <string>
#include <utility>

namespace {

using namespace support;

using OpenNative = NTSTATUS(HANDLE*, ACCESS_MASK, void*, void*, ULONG, ULONG);

// The queries that find nothing: for each range its first query, from 1, and the number of
// queries.
using Ranges = std::vector<std::pair<int, int>>;
constexpr int unlimited = 1000;
const Ranges every_query = {{1, unlimited}};

// A lookup that fails makes five queries and takes 25 s. One that succeeds with its last query
// has four empty ones and takes 20 s.
//
// The longest search for a group by its name takes 25 s for the lookup, 300 s for another
// process's rescan, 25 s for the second lookup, 25 s and 10 s for its own rescan, 25 s for the
// third lookup, and 20 s for the cluster service, which then knows the name.
constexpr std::uint64_t search_ms = 430'000;
const Ranges search_groups = {{1, 15}};
const Ranges search_services = {{1, 9}};

Ranges operator+(Ranges ranges, std::pair<int, int> range) {
    ranges.push_back(range);
    return ranges;
}

// A call in the situation in which it blocks longest.
struct LongestCall {
    const char* export_name;
    std::uint64_t milliseconds;
    std::function<std::uint32_t()> call;
    std::uint32_t status;
    Ranges empty_groups = every_query;
    Ranges empty_services = every_query;
};

// Holds the mutex of a rescan, like another process whose rescan does not end.
class RescanOfAnotherProcess {
  public:
    RescanOfAnotherProcess() {
        m_thread = CreateThread(nullptr, 0, hold, this, 0, nullptr);
        WaitForSingleObject(m_taken, INFINITE);
    }
    ~RescanOfAnotherProcess() {
        SetEvent(m_release);
        WaitForSingleObject(m_thread, INFINITE);
        for (const HANDLE handle : {m_thread, m_taken, m_release, m_mutex}) {
            CloseHandle(handle);
        }
    }
    RescanOfAnotherProcess(const RescanOfAnotherProcess&) = delete;
    RescanOfAnotherProcess& operator=(const RescanOfAnotherProcess&) = delete;

  private:
    static DWORD WINAPI hold(void* self) {
        const auto* const rescan = static_cast<RescanOfAnotherProcess*>(self);
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

    static void add_empty_queries(std::vector<FaultRule>& rules, const char* type,
                                  const Ranges& ranges) {
        for (const auto& [first, count] : ranges) {
            rules.push_back({.function = "DbGetObjects",
                             .type = type,
                             .call = first,
                             .times = count,
                             .succeeds_empty = true});
        }
    }

    void expect_longest(const LongestCall& longest) {
        SCOPED_TRACE(longest.export_name);
        load_scenario(scenario);
        std::vector<FaultRule> rules;
        add_empty_queries(rules, object_type::disk_group, longest.empty_groups);
        add_empty_queries(rules, object_type::cluster_service, longest.empty_services);
        set_faults(fault_plan(rules));
        clock().forget();
        EXPECT_EQ(longest.call(), longest.status);
        EXPECT_EQ(clock().elapsed(), longest.milliseconds);
        set_faults(fault_plan({}));
    }

    void expect_each(const std::vector<LongestCall>& calls) {
        for (const LongestCall& longest : calls) {
            expect_longest(longest);
        }
    }

    // Another process has opened the devices of the drivers without sharing them.
    void occupy_devices() {
        fail_calls<OpenNative>("ZwOpenFile", {.times = 1'000'000}, native::sharing_violation);
    }

    std::vector<LongestCall> searches_by_name() {
        const Ranges last_service = search_services + std::pair{11, unlimited};
        return {
            {"GetDgGuidW", 435'000, [&] { return FARLO(GetDgGuidW)(handle, L"dg", guid); },
             FARLO_NO_CLUSTER_SERVICE},
            {"GetNonClusterDgGuidW", 435'000,
             [&] { return FARLO(GetNonClusterDgGuidW)(handle, L"dg", guid); },
             FARLO_NO_CLUSTER_SERVICE},
            {"OnlineDgExW", search_ms + 25'000,
             [&] { return FARLO(OnlineDgExW)(handle, L"dg", nullptr, nullptr, 0, 0); },
             FARLO_NO_CLUSTER_SERVICE, search_groups, last_service},
            // A shared group is looked up by its GUID as well.
            {"OnlineDgExW", search_ms + 20'000 + 25'000,
             [&] {
                 return FARLO(OnlineDgExW)(handle, L"dg", nullptr, nullptr, FARLO_ONLINE_SHARED, 0);
             },
             FARLO_NO_CLUSTER_SERVICE, search_groups + std::pair{16, 4}, last_service},
            {"OnlineDgW", search_ms + 20'000 + 25'000,
             [&] { return FARLO(OnlineDgW)(handle, L"dg", nullptr, nullptr, FARLO_ONLINE_SHARED); },
             FARLO_NO_CLUSTER_SERVICE, search_groups + std::pair{16, 4}, last_service},
            {"ImportDgW", search_ms + 25'000,
             [&] { return FARLO(ImportDgW)(handle, L"dg", nullptr, nullptr, 0); },
             FARLO_NO_CLUSTER_SERVICE, search_groups, last_service},
            // A group that is not found is deported under the null id, which the service rejects.
            {"OfflineDgW", search_ms + 20'000 + 25'000,
             [&] { return FARLO(OfflineDgW)(handle, L"dg", nullptr, 0); }, bus_null_object,
             search_groups + std::pair{16, 5}, search_services + std::pair{11, 4}},
            {"DeportDgW", search_ms + 20'000 + 25'000,
             [&] { return FARLO(DeportDgW)(handle, L"dg", nullptr); }, FARLO_NOT_FOUND,
             search_groups + std::pair{16, 5}, search_services + std::pair{11, 4}},
            {"ArbitrateDgW", search_ms + 25'000,
             [&] { return FARLO(ArbitrateDgW)(handle, L"dg", nullptr); }, FARLO_NO_CLUSTER_SERVICE,
             search_groups, last_service},
            {"StopDgReservationW", search_ms + 25'000,
             [&] { return FARLO(StopDgReservationW)(handle, L"dg", nullptr); },
             FARLO_NO_CLUSTER_SERVICE, search_groups, last_service},
            {"GetDgReservationStatusW", search_ms + 120'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, L"dg", nullptr, &number); },
             FARLO_DEVICE_SHARING_VIOLATION, search_groups, search_services},
            {"GetDgDiskAvailabilityW", search_ms + 25'000,
             [&] {
                 return FARLO(GetDgDiskAvailabilityW)(handle, L"dg", nullptr, &number,
                                                      &other_number);
             },
             FARLO_NO_CLUSTER_SERVICE, search_groups, last_service},
        };
    }

    std::vector<LongestCall> lookups_with_a_guid() {
        const Ranges late = {{1, 4}};
        return {
            {"OnlineDgExW", 25'000,
             [&] { return FARLO(OnlineDgExW)(handle, nullptr, "guid-1", nullptr, 0, 0); },
             FARLO_NO_CLUSTER_SERVICE},
            {"OnlineDgExW", 45'000,
             [&] {
                 return FARLO(OnlineDgExW)(handle, nullptr, "guid-1", nullptr, FARLO_ONLINE_SHARED,
                                           0);
             },
             FARLO_NO_CLUSTER_SERVICE, late},
            {"ImportDgW", 25'000,
             [&] { return FARLO(ImportDgW)(handle, nullptr, "guid-1", nullptr, 0); },
             FARLO_NO_CLUSTER_SERVICE},
            {"OfflineDgW", 45'000, [&] { return FARLO(OfflineDgW)(handle, nullptr, "guid-1", 0); },
             bus_null_object, every_query, late},
            {"DeportDgW", 45'000, [&] { return FARLO(DeportDgW)(handle, nullptr, "guid-1"); },
             FARLO_NOT_FOUND, every_query, late},
            {"ArbitrateDgW", 25'000, [&] { return FARLO(ArbitrateDgW)(handle, nullptr, "guid-1"); },
             FARLO_NO_CLUSTER_SERVICE},
            {"StopDgReservationW", 25'000,
             [&] { return FARLO(StopDgReservationW)(handle, nullptr, "guid-1"); },
             FARLO_NO_CLUSTER_SERVICE},
            {"GetDgDiskAvailabilityW", 25'000,
             [&] {
                 return FARLO(GetDgDiskAvailabilityW)(handle, nullptr, "guid-1", &number,
                                                      &other_number);
             },
             FARLO_NO_CLUSTER_SERVICE},
            {"GetDgVolumeGuidW", 25'000,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, nullptr, "guid-1", L"v", guid); },
             FARLO_NO_CLUSTER_SERVICE},
            // A name is looked up, but not searched for.
            {"GetDgVolumeGuidW", 45'000,
             [&] { return FARLO(GetDgVolumeGuidW)(handle, L"dg", nullptr, L"v", guid); },
             FARLO_NO_CLUSTER_SERVICE, late},
            {"OfflineVolW", 45'000, [&] { return FARLO(OfflineVolW)(handle, "guid-8", L"v", 0); },
             FARLO_NO_CLUSTER_SERVICE, late},
            // Looks up the group twice, imports it and brings the volume online. A new
            // connection in place of a lost one takes up to 1 s more.
            {"OnlineVolW", 110'000,
             [&] { return FARLO(OnlineVolW)(handle, "guid-8", L"v", 0, 1000); },
             FARLO_NO_CLUSTER_SERVICE, Ranges{{1, 5}, {6, 4}, {11, 4}}, Ranges{{1, 4}, {6, 5}}},
        };
    }

    std::vector<LongestCall> single_lookups() {
        return {
            {"GetDgNameListW", 25'000,
             [&] { return FARLO(GetDgNameListW)(handle, &names, &size, &number); }, FARLO_SUCCESS},
            {"GetNonClusterDgNameListW", 25'000,
             [&] { return FARLO(GetNonClusterDgNameListW)(handle, &names, &size, &number); },
             FARLO_SUCCESS},
            {"GetDgNameW", 25'000, [&] { return FARLO(GetDgNameW)(handle, "guid-1", name); },
             FARLO_NOT_FOUND},
            {"GetDgStateExW", 25'000,
             [&] { return FARLO(GetDgStateExW)(handle, L"dg", nullptr, bytes); }, FARLO_NOT_FOUND},
            {"GetDgVolPlexStatesW", 25'000,
             [&] {
                 return FARLO(GetDgVolPlexStatesW)(handle, L"dg", nullptr, L"v", &number, nullptr);
             },
             FARLO_NOT_FOUND},
            {"SetFastFailoverFlagW", 25'000,
             [&] { return FARLO(SetFastFailoverFlagW)(handle, L"dg", nullptr, 1); },
             FARLO_NOT_FOUND},
            {"ClusterServiceStateW", 25'000, [&] { return FARLO(ClusterServiceStateW)(handle, 1); },
             FARLO_NO_CLUSTER_SERVICE},
            {"StartCVMClusterW", 25'000, [&] { return FARLO(StartCVMClusterW)(handle); },
             FARLO_NO_CLUSTER_SERVICE},
            {"StopCVMClusterW", 25'000, [&] { return FARLO(StopCVMClusterW)(handle); },
             FARLO_NO_CLUSTER_SERVICE},
            {"GetCVMClusterNodeStateW", 25'000,
             [&] { return FARLO(GetCVMClusterNodeStateW)(handle, &number); },
             FARLO_NO_CLUSTER_SERVICE},
            {"GetVolumeNameForSerialNumberW", 25'000,
             [&] {
                 return FARLO(GetVolumeNameForSerialNumberW)(handle, L"dg", nullptr, 1, name,
                                                             &size);
             },
             FARLO_NOT_FOUND},
            {"GetFirstVolumesDiskIDW", 25'000,
             [&] { return FARLO(GetFirstVolumesDiskIDW)(handle, L"dg", &number, &other_number); },
             FARLO_NOT_FOUND},
        };
    }

    std::vector<LongestCall> single_lookups_for_records() {
        return {
            {"GetDgPropertiesW", 25'000,
             [&] { return FARLO(GetDgPropertiesW)(handle, L"dg", nullptr, nullptr, &size); },
             FARLO_NOT_FOUND},
            {"GetDgVolPropertiesW", 25'000,
             [&] { return FARLO(GetDgVolPropertiesW)(handle, L"dg", nullptr, nullptr, &size); },
             FARLO_NOT_FOUND},
            {"GetDgVolumePropertiesW", 25'000,
             [&] {
                 return FARLO(GetDgVolumePropertiesW)(handle, L"dg", nullptr, L"v", &volume, &size);
             },
             FARLO_NOT_FOUND},
            {"GetDgDiskPropertiesW", 25'000,
             [&] { return FARLO(GetDgDiskPropertiesW)(handle, L"dg", nullptr, nullptr, &size); },
             FARLO_NOT_FOUND},
            {"GetDgVolumeStateW", 25'000,
             [&] { return FARLO(GetDgVolumeStateW)(handle, L"dg", nullptr, L"v", &number); },
             FARLO_NOT_FOUND},
            {"GetUnusableVolumesInfo", 25'000,
             [&] {
                 return FARLO(GetUnusableVolumesInfo)(handle, L"dg", nullptr, &volume, &number);
             },
             FARLO_NOT_FOUND},
            {"GetVolumeInfo", 25'000,
             [&] { return FARLO(GetVolumeInfo)(handle, L"dg", nullptr, L"v", &volume, &size); },
             FARLO_NOT_FOUND},
        };
    }

    std::vector<LongestCall> occupied_devices() {
        return {
            {"GetDgReservationStatusW", 120'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &number); },
             FARLO_DEVICE_SHARING_VIOLATION},
            {"ReleaseDgW", 24'000, [&] { return FARLO(ReleaseDgW)("guid-1"); },
             FARLO_DEVICE_SHARING_VIOLATION},
            {"GetDgStateW", 3'000,
             [&] { return FARLO(GetDgStateW)(handle, nullptr, "guid-1", bytes); },
             FARLO_DEVICE_SHARING_VIOLATION},
            {"GetDgVolumeStatusW", 3'000,
             [&] { return FARLO(GetDgVolumeStatusW)(handle, "guid-1", bytes, &number); },
             FARLO_DEVICE_SHARING_VIOLATION},
        };
    }

    std::vector<LongestCall> missing_driver() {
        return {
            {"GetDgReservationStatusW", 3'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &number); },
             FARLO_NOT_FOUND},
            {"ReleaseDgW", 3'000, [&] { return FARLO(ReleaseDgW)("guid-1"); }, FARLO_NOT_FOUND},
            {"GetDgStateW", 3'000 + 25'000,
             [&] { return FARLO(GetDgStateW)(handle, nullptr, "guid-1", bytes); }, FARLO_NOT_FOUND},
            {"GetDgStateW", search_ms + 3'000 + 25'000,
             [&] { return FARLO(GetDgStateW)(handle, L"dg", nullptr, bytes); }, FARLO_NOT_FOUND,
             search_groups + std::pair{16, 5}, search_services},
        };
    }

    std::vector<LongestCall> without_a_pause() {
        return {
            {"RegisterForAlerts", 0, [&] { return FARLO(RegisterForAlerts)(handle, nullptr); },
             FARLO_SUCCESS},
            {"GetDiskStateW", 0, [&] { return FARLO(GetDiskStateW)(handle, L"d", &number); },
             FARLO_MISSING_ARGUMENT},
            {"FFUpdateMountPathW", 0, [&] { return FARLO(FFUpdateMountPathW)(handle, L"none"); },
             FARLO_PROVIDER_FAILED},
            {"GetVolPropertiesW", 0,
             [&] {
                 return FARLO(GetVolPropertiesW)(handle, L"none",
                                                 reinterpret_cast<VolPropInfo*>(&volume), &size);
             },
             FARLO_INVALID_ARGUMENT},
            {"GetDiskTypeAndSignatureW", 0,
             [&] {
                 return FARLO(GetDiskTypeAndSignatureW)(L"\\\\.\\none", &number, bytes,
                                                        &other_number);
             },
             ERROR_FILE_NOT_FOUND},
            {"GetClusterSharedDgGuidW", 0,
             [&] { return FARLO(GetClusterSharedDgGuidW)(handle, L"none", guid); },
             FARLO_PROVIDER_FAILED},
            {"IsStorageClusterable", 0,
             [&] { return FARLO(IsStorageClusterable)(handle, 0, 1, bytes); }, FALSE},
            {"IsVolumeOfSpecifiedDgType", 0,
             [&] { return FARLO(IsVolumeOfSpecifiedDgType)(handle, L"none", 8); }, FALSE},
            {"IsVolumeClusterable", 0, [&] { return FARLO(IsVolumeClusterable)(handle, L"none"); },
             FALSE},
            {"CheckOSVersionAndReg", 0, [&] { return FARLO(CheckOSVersionAndReg)(); },
             system_file_not_found},
            {"DeleteVMMSFolder", 0, [&] { return FARLO(DeleteVMMSFolder)(L"C:\\none\\"); },
             system_path_not_found},
            {"UnInitializeClusterW", 0,
             [&] {
                 const opal_handle released = handle;
                 handle = nullptr;
                 return FARLO(UnInitializeClusterW)(released);
             },
             FARLO_SUCCESS},
        };
    }

    char guid[FARLO_GUID_TEXT_SIZE] = {};
    wchar_t name[FARLO_NAME_SIZE] = {};
    wchar_t* names = name;
    std::uint32_t size = 0;
    std::uint32_t number = 0;
    std::uint32_t other_number = 0;
    std::uint8_t bytes[16] = {};
    VolInfo volume{};
};

TEST_F(BlockingTime, SearchesByNameForUpTo550Seconds) {
    once([&] {
        const RescanOfAnotherProcess rescan;
        occupy_devices();
        expect_each(searches_by_name());
    });
}

// Functions look up a group by its GUID, but never search for it with a rescan.
TEST_F(BlockingTime, NeverWaitsForRescanWithGuid) {
    once([&] {
        const RescanOfAnotherProcess rescan;
        expect_each(lookups_with_a_guid());
    });
}

TEST_F(BlockingTime, LooksUpOnceForUpTo25Seconds) {
    once([&] {
        expect_each(single_lookups());
        expect_each(single_lookups_for_records());
    });
}

// Opening a device takes three tries with a second after each: 3 s. Releasing a group repeats
// that six times, its reservation status thirty times, with a second after each.
TEST_F(BlockingTime, RetriesOccupiedDeviceForUpTo120Seconds) {
    once([&] {
        occupy_devices();
        expect_each(occupied_devices());
    });
}

// Without a driver, the functions try to open the device once. GetDgStateW then asks the
// service.
TEST_F(BlockingTime, AsksMissingDriverForUpTo3Seconds) {
    once([&] {
        const RescanOfAnotherProcess rescan;
        fail_calls<OpenNative>("ZwOpenFile", {.times = 1'000'000}, native::object_name_not_found);
        expect_each(missing_driver());
    });
}

TEST_F(BlockingTime, LooksUpClusterServiceForReservationStatusOfService) {
    support_scsi3 = 2;
    once([&] {
        const RescanOfAnotherProcess rescan;
        expect_longest(
            {"GetDgReservationStatusW", 25'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, nullptr, "guid-1", &number); },
             FARLO_NO_CLUSTER_SERVICE});
        expect_longest(
            {"GetDgReservationStatusW", search_ms + 25'000,
             [&] { return FARLO(GetDgReservationStatusW)(handle, L"dg", nullptr, &number); },
             FARLO_NO_CLUSTER_SERVICE, search_groups, search_services + std::pair{11, unlimited}});
    });
}

// The volume is opened, flushed and dismounted without a failure.
TEST_F(BlockingTime, OpensConfigDeviceForUpTo3Seconds) {
    once([&] {
        interpose<decltype(CreateFileW)>("CreateFileW", [](auto...) -> HANDLE {
            return CreateEventW(nullptr, TRUE, FALSE, nullptr);
        });
        interpose<decltype(FlushFileBuffers)>("FlushFileBuffers", [](auto...) { return TRUE; });
        interpose<decltype(DeviceIoControl)>("DeviceIoControl", [](auto...) { return TRUE; });
        occupy_devices();
        expect_longest({"OfflineVolumeW", 3'000,
                        [&] { return FARLO(OfflineVolumeW)("v", L"\\\\.\\F:", bytes); },
                        FARLO_DEVICE_SHARING_VIOLATION});
    });
}

// A lost connection is reconnected three times, with half a second after each failure. A NULL
// handle is connected once.
TEST_F(BlockingTime, ReconnectsForUpTo1500Milliseconds) {
    once([&] {
        disconnect();
        LabRefuseConnections(bus_not_connected);
        expect_longest({"ValidateClusterW", 1'500, [&] { return FARLO(ValidateClusterW)(&handle); },
                        FARLO_NOT_CONNECTED});
        EXPECT_EQ(handle, nullptr);
        expect_longest({"ValidateClusterW", 0, [&] { return FARLO(ValidateClusterW)(&handle); },
                        FARLO_NOT_CONNECTED});
        LabRefuseConnections(bus_success);
    });
}

// These functions do not wait for objects that do not exist.
TEST_F(BlockingTime, DoesNotPauseWithoutLookup) {
    once([&] { expect_each(without_a_pause()); });
}

// The tests above measure every export. A narrow form is measured by its wide form.
TEST_F(BlockingTime, CoversEveryExport) {
    // These have tests of their own. InitializeClusterW is the same function as ValidateClusterW.
    std::set<std::string> measured = {"OfflineVolumeW", "ValidateClusterW", "InitializeClusterW"};
    for (const auto& table :
         {searches_by_name(), lookups_with_a_guid(), single_lookups(), single_lookups_for_records(),
          occupied_devices(), missing_driver(), without_a_pause()}) {
        for (const LongestCall& longest : table) {
            measured.insert(longest.export_name);
        }
    }
    std::set<std::string> exported = export_names();
    std::erase_if(exported, [&](const std::string& export_name) {
        const std::string stem = export_name.substr(0, export_name.size() - 1);
        return export_name.back() == 'A' && exported.count(stem + "W") != 0;
    });
    EXPECT_EQ(measured, exported);
}

}  // namespace
