// GetDgGuid and GetNonClusterDgGuid, and the rescan of the disks that they share.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/fault_rules.h"

namespace {

using namespace support;

constexpr char mutex_name[] = "Global\\rescanMutex";

// Method calls: a rescan, and the question for a GUID to the cluster service.
const std::string rescan =
    invoke("service", method::rescan_disks, "\"pnp rescan only\": " + boolean(false), bus_success);

std::string query(const std::string& name, std::uint32_t status, const std::string& output = "{}") {
    return invoke("service", method::get_group_guid, "\"Dgname\": " + wstr(name), status, output);
}

// A group is found, but not its GUID.
const FaultRule guid_is_unreadable = failing(reading("dgid"), bus_no_property);

class GetDgGuid : public FarloTest {
  protected:
    GetDgGuid() {
        scenario = R"({"disk_groups": [
            {"name": "dg1", "dgid": "guid-1", "type": 2},
            {"name": "local", "dgid": "guid-3", "type": 1},
            {"name": "zero", "dgid": "guid-0", "type": 0},
            {"name": "seven", "dgid": "guid-7", "type": 7},
            {"name": "shared", "dgid": "guid-8", "type": 8},
            {"name": "late", "dgid": "guid-9", "type": 2, "hidden": true}]})";
    }

    static constexpr char visible[] = "@dg1 @local @zero @seven @shared";
    static constexpr char all[] = "@dg1 @local @zero @seven @shared @late";

    // A search by name that reads the first `count` groups of `names`.
    Lines search(std::size_t count, const std::string& names = visible) {
        const char* const group_names[] = {"dg1", "local", "zero", "seven", "shared", "late"};
        const std::uint32_t types[] = {group_type::cluster,        group_type::local,
                                       group_type::excluded_0,     group_type::excluded_7,
                                       group_type::cluster_shared, group_type::cluster};
        Lines lines{groups(names)};
        for (std::size_t i = 0; i < count; ++i) {
            lines.push_back(read_type(group_names[i], types[i]));
            lines.push_back(read(group_names[i], "Name", wstr(group_names[i])));
        }
        return lines;
    }

    // Calls the cluster or the NonCluster function with a guarded buffer.
    std::uint32_t get_guid(const wchar_t* name, std::string& received, bool cluster = true) {
        GuardedBuffer buffer(FARLO_GUID_TEXT_SIZE);
        const std::uint32_t status =
            cluster ? FARLO(GetDgGuidW)(handle, name, buffer.as<char>())
                    : FARLO(GetNonClusterDgGuidW)(handle, name, buffer.as<char>());
        received = buffer.untouched() ? "untouched" : buffer.as<char>();
        return status;
    }
    std::string guid;

    static std::vector<Expected> not_found() {
        return {{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"}};
    }
    static std::vector<Expected> joined(std::vector<Expected> left,
                                        const std::vector<Expected>& right) {
        left.insert(left.end(), right.begin(), right.end());
        return left;
    }
};

TEST_F(GetDgGuid, FindsGroupInAnyLetterCase) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"DG1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-1");
        expect_calls(search(1) + Lines{read("dg1", "dgid", str("guid-1"))});
        expect_log({});
        expect_pauses({});
    });
}

TEST_F(GetDgGuid, FindsGroupsOfAcceptedTypesOnly) {
    const struct {
        const wchar_t* name;
        std::uint32_t cluster;
        std::uint32_t non_cluster;
    } rows[] = {{L"dg1", FARLO_SUCCESS, FARLO_SUCCESS},
                {L"local", FARLO_EXCLUDED_TYPE, FARLO_SUCCESS},
                {L"zero", FARLO_EXCLUDED_TYPE, FARLO_EXCLUDED_TYPE},
                {L"seven", FARLO_EXCLUDED_TYPE, FARLO_EXCLUDED_TYPE},
                {L"shared", FARLO_EXCLUDED_TYPE, FARLO_SUCCESS}};
    once([&] {
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(row.name)));
            EXPECT_EQ(get_guid(row.name, guid, true), row.cluster);
            EXPECT_EQ(guid == "untouched", row.cluster != FARLO_SUCCESS);
            EXPECT_EQ(get_guid(row.name, guid, false), row.non_cluster);
            EXPECT_EQ(guid == "untouched", row.non_cluster != FARLO_SUCCESS);
        }
    });
}

TEST_F(GetDgGuid, ReturnsExcludedTypeWithoutAskingClusterService) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"zero", guid, false), FARLO_EXCLUDED_TYPE);
        expect_calls(search(3));
        expect_log({{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"}});
    });
}

TEST_F(GetDgGuid, ChecksArgumentsInOrder) {
    at_every_threshold([&] {
        GuardedBuffer buffer(FARLO_GUID_TEXT_SIZE);
        char* const out = buffer.as<char>();
        EXPECT_EQ(FARLO(GetDgGuidW)(nullptr, L"dg1", out), FARLO_NULL_HANDLE);
        expect_log({{0, "GetDgGuidCommon() failed , opal_handle==NULL , error=(0x64)"}});
        for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
            start_watching();
            EXPECT_EQ(FARLO(GetDgGuidW)(handle, name, out), FARLO_MISSING_ARGUMENT);
            expect_log({{0, "GetDgGuidCommon():UseDgName() failed , error=(0x13)"}});
        }
        start_watching();
        EXPECT_EQ(FARLO(GetDgGuidW)(handle, L"dg1", nullptr), FARLO_MISSING_ARGUMENT);
        expect_log({{0, "GetDgGuidCommon() failed , pDgGuid == NULL, error=(0x13)"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgGuidW)(handle, L"", out), FARLO_NOT_CONNECTED);
        expect_log({{0, "GetDgGuidCommon() failed, hConn not connected , error=(0x14)"}});
        expect_calls({});
        EXPECT_TRUE(buffer.untouched());
    });
}

TEST_F(GetDgGuid, FindsGroupThatAppearsAfterRescan) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-9");
        expect_calls(search(5) + Lines{cluster_service(), rescan} + search(6, all) +
                     Lines{read("late", "dgid", str("guid-9"))});
        expect_pauses({{"Sleep", 10'000}});
        expect_log(
            joined(not_found(), {{6, "GetDgGuidCommon(): CreateMutexA"},
                                 {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                                 {6, "Entering PerformPnpDiskRescan"},
                                 {6, "Exiting PerformPnpDiskRescan"},
                                 {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
        EXPECT_EQ(OpenMutexA(SYNCHRONIZE, FALSE, mutex_name), nullptr)
            << "the mutex must be closed again";
    });
}

TEST_F(GetDgGuid, AsksClusterServiceForUnknownGroup) {
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"nowhere", guid), service_no_such_group);
        EXPECT_EQ(guid, "untouched");
        expect_calls(search(5) + Lines{cluster_service(), rescan} + search(6, all) +
                     Lines{cluster_service(), query("nowhere", service_no_such_group)});
        expect_log(joined(
            not_found(),
            {{6, "GetDgGuidCommon(): CreateMutexA"},
             {6, "WaitForMutex(): Got the reservation_thread_update lock "},
             {6, "Entering PerformPnpDiskRescan"},
             {6, "Exiting PerformPnpDiskRescan"},
             {6, "GetDgGuidCommon: Sleeping for 10 secs"},
             {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
             {4, "GetDgGuidCommon: CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, CsfInvoke failed with error "
                 "= 0xe5150101."},
             {0, "GetDgGuidCommon() failed, error=(0xe5150101)"}}));
    });
}

// Another caller holds the mutex while it rescans. There is no second rescan when that one makes
// the group appear.
TEST_F(GetDgGuid, SearchesAgainAfterWaitingForRescanOfAnotherCaller) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, mutex_name);
        struct Other {
            HANDLE mutex, taken, release;
        } other{mutex, CreateEventW(nullptr, FALSE, FALSE, nullptr),
                CreateEventW(nullptr, FALSE, FALSE, nullptr)};
        const HANDLE thread = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD {
                const auto* held = static_cast<Other*>(argument);
                WaitForSingleObject(held->mutex, INFINITE);
                SetEvent(held->taken);
                WaitForSingleObject(held->release, INFINITE);
                ReleaseMutex(held->mutex);
                return 0;
            },
            &other, 0, nullptr);
        WaitForSingleObject(other.taken, INFINITE);
        clock().on_pause = [&](int) {
            // The other caller's rescan makes the group appear and ends.
            load_scenario(R"({"disk_groups": [{"name": "late", "dgid": "guid-9"}]})");
            SetEvent(other.release);
            WaitForSingleObject(thread, INFINITE);
        };
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        clock().on_pause = nullptr;
        EXPECT_EQ(guid, "guid-9");
        expect_calls(search(5) + Lines{groups("@late"), read_type("late", group_type::cluster),
                                       read("late", "Name", wstr("late")),
                                       read("late", "dgid", str("guid-9"))});
        expect_pauses({{"Wait", 300'000}});
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Time-out to get the reservation_thread_update lock "},
                    {6, "WaitForMutex(): Got the reservation_thread_update lock "}}));
        // The library released the mutex: it can be taken.
        EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
        ReleaseMutex(mutex);
        CloseHandle(other.taken);
        CloseHandle(other.release);
        CloseHandle(thread);
        CloseHandle(mutex);
    });
}

int releases;
BOOL WINAPI counted_release(HANDLE mutex) {
    ++releases;
    return ReleaseMutex(mutex);
}
DWORD wait_result;
DWORD WINAPI fixed_wait(HANDLE, DWORD) {
    return wait_result;
}

// After five minutes, for an abandoned mutex and after a failed wait, the library searches again,
// rescans the disks, and releases the mutex although it does not own it. Each abandoned mutex is
// released before that.
TEST_F(GetDgGuid, RescansWhenMutexIsNotObtained) {
    virtual_time = true;
    const struct {
        DWORD result;
        int releases;
        const char* line;
    } rows[] = {
        {WAIT_TIMEOUT, 1, "WaitForMutex(): Time-out to get the reservation_thread_update lock "},
        {WAIT_ABANDONED, 3, "WaitForMutex(): Failed to get the reservation_thread_update lock"},
        {WAIT_FAILED, 1, "WaitForMutex(): Failed to get the reservation_thread_update lock"}};
    at_every_threshold([&] {
        for (const auto& row : rows) {
            SCOPED_TRACE(row.result);
            load_scenario(scenario);
            wait_result = row.result;
            releases = 0;
            const Interposer wait(dll().module(), "WaitForSingleObject", fixed_wait);
            const Interposer release(dll().module(), "ReleaseMutex", counted_release);
            start_watching();
            EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
            EXPECT_EQ(releases, row.releases);
            expect_calls(search(5) + search(5) + Lines{cluster_service(), rescan} + search(6, all) +
                         Lines{read("late", "dgid", str("guid-9"))});
            expect_pauses({{"Sleep", 10'000}});
            expect_log(joined(
                not_found(),
                {{6, "GetDgGuidCommon(): CreateMutexA"},
                 {6, row.line},
                 {6, row.line},
                 {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                 {6, "Entering PerformPnpDiskRescan"},
                 {6, "Exiting PerformPnpDiskRescan"},
                 {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
        }
    });
}

// Ends as the owner of the mutex.
DWORD WINAPI abandon(void* mutex) {
    return WaitForSingleObject(mutex, INFINITE);
}
DWORD WINAPI obtain_at_once(void* mutex) {
    const DWORD result = WaitForSingleObject(mutex, 0);
    ReleaseMutex(mutex);
    return result;
}
DWORD run_thread(LPTHREAD_START_ROUTINE routine, void* argument) {
    const HANDLE thread = CreateThread(nullptr, 0, routine, argument, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    DWORD result = 0;
    GetExitCodeThread(thread, &result);
    CloseHandle(thread);
    return result;
}

// The first wait learns that the owner died and releases the mutex, the second
// obtains it. Afterwards it is free for other threads.
TEST_F(GetDgGuid, ReleasesAbandonedMutex) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, mutex_name);
        EXPECT_EQ(run_thread(abandon, mutex), WAIT_OBJECT_0);
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-9");
        EXPECT_EQ(run_thread(obtain_at_once, mutex), WAIT_OBJECT_0);
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Failed to get the reservation_thread_update lock"},
                    {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {6, "Entering PerformPnpDiskRescan"},
                    {6, "Exiting PerformPnpDiskRescan"},
                    {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
        CloseHandle(mutex);
    });
}

// The owner of a rescan dies while another caller waits for it.
TEST_F(GetDgGuid, ReleasesMutexThatIsAbandonedDuringWait) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, mutex_name);
        struct Owner {
            HANDLE mutex, taken, end;
        } owner{mutex, CreateEventW(nullptr, FALSE, FALSE, nullptr),
                CreateEventW(nullptr, FALSE, FALSE, nullptr)};
        const HANDLE thread = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD {
                const auto* held = static_cast<Owner*>(argument);
                WaitForSingleObject(held->mutex, INFINITE);
                SetEvent(held->taken);
                return WaitForSingleObject(held->end, INFINITE);
            },
            &owner, 0, nullptr);
        WaitForSingleObject(owner.taken, INFINITE);
        clock().on_pause = [&](int number) {
            if (number == 1) {
                SetEvent(owner.end);
                WaitForSingleObject(thread, INFINITE);
            }
        };
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        clock().on_pause = nullptr;
        EXPECT_EQ(guid, "guid-9");
        EXPECT_EQ(run_thread(obtain_at_once, mutex), WAIT_OBJECT_0);
        expect_pauses({{"Wait", 300'000}, {"Sleep", 10'000}});
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Time-out to get the reservation_thread_update lock "},
                    {6, "WaitForMutex(): Failed to get the reservation_thread_update lock"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {6, "Entering PerformPnpDiskRescan"},
                    {6, "Exiting PerformPnpDiskRescan"},
                    {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
        CloseHandle(owner.taken);
        CloseHandle(owner.end);
        CloseHandle(thread);
        CloseHandle(mutex);
    });
}

HANDLE WINAPI fail_to_create_mutex(SECURITY_ATTRIBUTES* security, BOOL owned, const char* name) {
    EXPECT_EQ(security, nullptr);
    EXPECT_FALSE(owned);
    EXPECT_STREQ(name, mutex_name);
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

TEST_F(GetDgGuid, AsksClusterServiceWhenMutexCannotBeCreated) {
    at_every_threshold([&] {
        const Interposer interposer(dll().module(), "CreateMutexA", fail_to_create_mutex);
        EXPECT_EQ(get_guid(L"nowhere", guid), service_no_such_group);
        expect_calls(search(5) + Lines{cluster_service(), query("nowhere", service_no_such_group)});
        expect_pauses({});
        expect_log(joined(
            not_found(),
            {{6, "GetDgGuidCommon(): CreateMutexA"},
             {0, "GetDgGuidCommon(): CreateMutexA failed, error=(0x5) "},
             {4, "GetDgGuidCommon: CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, CsfInvoke failed with error "
                 "= 0xe5150101."},
             {0, "GetDgGuidCommon() failed, error=(0xe5150101)"}}));
    });
}

// The group itself was found.
TEST_F(GetDgGuid, AsksClusterServiceWhenGuidCannotBeRead) {
    at_every_threshold([&] {
        for (const FaultRule& fault :
             {guid_is_unreadable, with_type(reading("dgid"), "WSTR"),
              lying(reading("dgid"), "unterminated"), lying(reading("dgid"), "null")}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({fault}));
            start_watching();
            EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
            EXPECT_EQ(guid, "guid-1");
            EXPECT_EQ(calls_of("PrCallDispatch"),
                      (Lines{query("dg1", bus_success, "{\"Dgguid\": " + str("guid-1") + "}")}));
            expect_log({});
        }
    });
}

// The group has that GUID, and the cluster service returns the same.
TEST_F(GetDgGuid, RejectsGuidOf65Characters) {
    const std::string fits(64, 'f');
    const std::string too_long(65, 'l');
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": ")" + fits +
               R"("}, {"name": "dg2", "dgid": ")" + too_long + R"("}]})";
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, fits);
        start_watching();
        EXPECT_EQ(get_guid(L"dg2", guid), FARLO_EXCEPTION);
        EXPECT_EQ(guid, "untouched");
        expect_log({{6, "API_TRY_CATCH_FAILED "}, {0, "GetDgGuidCommon() failed, error=(0x12)"}});
    });
}

TEST_F(GetDgGuid, FailsWithoutClusterService) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({{.type = object_type::cluster_service, .returns = bus_provider_failed}}));
        EXPECT_EQ(get_guid(L"nowhere", guid), FARLO_NO_CLUSTER_SERVICE);
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                    {6, "Entering PerformPnpDiskRescan"},
                    {0, "PerformPnpDiskRescan: GetClusSvcId failed with error = 0x29."},
                    {6, "GetDgGuidCommon: Sleeping for 10 secs"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x1)"},
                    {0, "GetDgGuidCommon(): GetClusSvcId failed , error=(0x29)"}}));
    });
}

TEST_F(GetDgGuid, LogsFailedRescanAndContinues) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {{.method = method::rescan_disks, .returns_after_work = unknown_service_failure}}));
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                    {6, "Entering PerformPnpDiskRescan"},
                    {4, "PerformPnpDiskRescan: MISCOP_PNP_RESCAN, CsfInvoke failed with error = "
                        "0xe5150199."},
                    {6, "Exiting PerformPnpDiskRescan"},
                    {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
    });
}

// The rescan is called without its parameter, or without an input set; nothing is logged.
TEST_F(GetDgGuid, RescansWhenParameterCannotBeAdded) {
    once([&] {
        set_faults(fault_plan({{.function = "PsAddProperty",
                                .property = "pnp rescan only",
                                .returns = bus_no_memory}}));
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{invoke("service", method::rescan_disks, "", bus_success)}));
        load_scenario(scenario);
        start_watching();
        set_faults(fault_plan({no_input_set}));
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{invoke_without_input("service", method::rescan_disks, bus_success)}));
    });
}

TEST_F(GetDgGuid, FailsWhenParameterOrResultOfClusterServiceCannotBeUsed) {
    at_every_threshold([&] {
        const FaultRule reading_result{.function = "PsFindProperty", .property = "Dgguid"};
        for (const FaultRule& fault :
             {no_input_set, failing(adding("Dgname"), bus_no_memory),
              failing(reading_result, bus_no_property), with_type(reading_result, "WSTR")}) {
            SCOPED_TRACE(fault_plan({fault}));
            set_faults(fault_plan({guid_is_unreadable, fault}));
            start_watching();
            EXPECT_EQ(get_guid(L"dg1", guid), FARLO_EXCEPTION);
            EXPECT_EQ(guid, "untouched");
            expect_log(
                {{6, "API_TRY_CATCH_FAILED "}, {0, "GetDgGuidCommon() failed, error=(0x12)"}});
        }
    });
}

TEST_F(GetDgGuid, ReturnsNotConnectedWhenConnectionDropsDuringCall) {
    at_every_threshold([&] {
        set_faults(fault_plan({guid_is_unreadable, {.function = "PrCallDispatch", .drops = true}}));
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_NOT_CONNECTED);
        expect_log({{0, "GetDgGuidCommon() failed, error=(0x14)"}});
    });
}

// The failure is the service's, or the group's excluded type.
TEST_F(GetDgGuid, ReturnsNotConnectedInsteadOfFailureWhenConnectionDrops) {
    at_every_threshold([&] {
        set_faults(fault_plan({guid_is_unreadable,
                               {.method = method::get_group_guid,
                                .returns_after_work = service_no_such_group,
                                .drops = true}}));
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_NOT_CONNECTED);
        expect_log(
            {{4, "GetDgGuidCommon: CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, CsfInvoke failed with error "
                 "= 0xe5150101."},
             {0, "GetDgGuidCommon() failed, error=(0x14)"}});
    });
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("zero", "Name"))}));
        EXPECT_EQ(get_guid(L"zero", guid), FARLO_NOT_CONNECTED);
        expect_log({{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x14)"}});
    });
}

// The connection is not checked again after the GUID was read, nor after a failed search for the
// cluster service.
TEST_F(GetDgGuid, KeepsResultWhenConnectionDropsAtLastRead) {
    at_every_threshold([&] {
        set_faults(fault_plan({dropping(reading("dg1", "dgid"))}));
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-1");
        expect_log({});
    });
    at_every_threshold([&] {
        set_faults(fault_plan({guid_is_unreadable,
                               {.type = object_type::cluster_service,
                                .returns_after_work = bus_provider_failed,
                                .drops = true}}));
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_NO_CLUSTER_SERVICE);
        expect_log({{0, "GetDgGuidCommon(): GetClusSvcId failed , error=(0x29)"}});
    });
}

// Without an output set, the cluster service's failure is logged without the name of the method,
// and its success provides nothing.
TEST_F(GetDgGuid, AsksClusterServiceWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(
            fault_plan({guid_is_unreadable, no_output_set, methods_return(service_no_such_group)}));
        EXPECT_EQ(get_guid(L"dg1", guid), service_no_such_group);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{query("dg1", service_no_such_group, "NULL")});
        expect_log({{0, "GetDgGuidCommon() failed, error=(0xe5150101)"}});
    });
    at_every_threshold([&] {
        set_faults(fault_plan({guid_is_unreadable, no_output_set, methods_return(bus_success)}));
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "untouched");
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{query("dg1", bus_success, "NULL")});
        expect_log({});
    });
}

TEST_F(GetDgGuid, RescansWithoutOutputSet) {
    at_every_threshold([&] {
        set_faults(fault_plan(
            {no_output_set,
             {.method = method::rescan_disks, .returns_after_work = unknown_service_failure}}));
        EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
        expect_log(
            joined(not_found(), {{6, "GetDgGuidCommon(): CreateMutexA"},
                                 {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                                 {6, "Entering PerformPnpDiskRescan"},
                                 {6, "Exiting PerformPnpDiskRescan"},
                                 {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
    });
}

// A caller that got the mutex at once releases it after its rescan, before it searches again. A
// caller that waited for another one's rescan releases it after that search.
TEST_F(GetDgGuid, ReleasesMutexBeforeSecondSearchUnlessItWaited) {
    for (const bool waits : {false, true}) {
        SCOPED_TRACE(waits);
        once([&] {
            Lines before_release;
            std::vector<Pause> pauses_before_release;
            interpose<decltype(WaitForSingleObject)>(
                "WaitForSingleObject", [&](HANDLE, DWORD milliseconds) -> DWORD {
                    return waits && milliseconds == 0 ? WAIT_TIMEOUT : WAIT_OBJECT_0;
                });
            auto& release = interpose<decltype(ReleaseMutex)>("ReleaseMutex", [&](HANDLE) -> BOOL {
                before_release = calls();
                pauses_before_release = clock().pauses();
                return TRUE;
            });
            EXPECT_EQ(get_guid(L"late", guid), FARLO_SUCCESS);
            EXPECT_EQ(release.calls(), 1u);
            const Lines rescanned = search(5) + Lines{cluster_service(), rescan};
            EXPECT_EQ(before_release, waits ? search(5) + rescanned + search(6, all) : rescanned);
            EXPECT_EQ(pauses_before_release, (std::vector<Pause>{{"Sleep", 10'000}}));
        });
    }
}

// A group of an excluded type that appears during the wait ends the call without a rescan.
TEST_F(GetDgGuid, ReturnsExcludedTypeAfterWaitingForRescanOfAnotherCaller) {
    at_every_threshold([&] {
        interpose<decltype(WaitForSingleObject)>(
            "WaitForSingleObject", [&](HANDLE, DWORD milliseconds) -> DWORD {
                if (milliseconds == 0) {
                    return WAIT_TIMEOUT;
                }
                load_scenario(R"({"disk_groups": [{"name": "late", "dgid": "9", "type": 7}]})");
                return WAIT_OBJECT_0;
            });
        EXPECT_EQ(get_guid(L"late", guid), FARLO_EXCLUDED_TYPE);
        expect_calls(search(5) + Lines{groups("@late"), read_type("late", group_type::excluded_7),
                                       read("late", "Name", wstr("late"))});
        expect_pauses({});
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Time-out to get the reservation_thread_update lock "},
                    {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"}}));
    });
}

// A later group of the same name is not considered.
TEST_F(GetDgGuid, StopsSearchAtFirstGroupOfThatName) {
    scenario = R"({"disk_groups": [
        {"name": "twin", "id": "a", "dgid": "guid-a", "type": 1},
        {"name": "twin", "id": "b", "dgid": "guid-b", "type": 2}]})";
    once([&] {
        EXPECT_EQ(get_guid(L"twin", guid, true), FARLO_EXCLUDED_TYPE);
        EXPECT_EQ(get_guid(L"twin", guid, false), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-a");
    });
}

// One name is the beginning of another.
TEST_F(GetDgGuid, ComparesWholeNames) {
    scenario = R"({"disk_groups": [
        {"name": "dg", "dgid": "guid-a"}, {"name": "dg11", "dgid": "guid-b"},
        {"name": "dg1", "dgid": "guid-c"}]})";
    once([&] {
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-c");
    });
}

// Each search queries five times, 5 s apart; the rescan comes between the searches.
TEST_F(GetDgGuid, RepeatsQueryFiveTimesWithoutGroups) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(get_guid(L"dg1", guid), service_no_such_group);
        const Lines five{groups(""), groups(""), groups(""), groups(""), groups("")};
        expect_calls(five + Lines{cluster_service(), rescan} + five +
                     Lines{cluster_service(), query("dg1", service_no_such_group)});
        expect_pauses({{"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 10'000},
                       {"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 5000},
                       {"Sleep", 5000}});
        const std::vector<Expected> empty{
            {6, "GetDgObjIdByName: Sleeping for 5 secs"},
            {6, "GetDgObjIdByName: Sleeping for 5 secs"},
            {6, "GetDgObjIdByName: Sleeping for 5 secs"},
            {6, "GetDgObjIdByName: Sleeping for 5 secs"},
            {6, "GetDgObjIdByName: Sleeping for 5 secs"},
            {0, "GetDgObjIdByName , Error , vecObjects.size () == 0 , error=(0x1)"}};
        expect_log(joined(
            joined(joined(empty, {{6, "GetDgGuidCommon(): CreateMutexA"},
                                  {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                                  {6, "Entering PerformPnpDiskRescan"},
                                  {6, "Exiting PerformPnpDiskRescan"},
                                  {6, "GetDgGuidCommon: Sleeping for 10 secs"}}),
                   empty),
            {{4, "GetDgGuidCommon: CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, CsfInvoke failed with error "
                 "= 0xe5150101."},
             {0, "GetDgGuidCommon() failed, error=(0xe5150101)"}}));
    });
}

TEST_F(GetDgGuid, StopsRepeatingQueryWhenGroupsAppear) {
    once([&] {
        load_scenario("{}");
        start_watching();
        clock().on_pause = [&](int number) {
            if (number == 2) {
                load_scenario(scenario);
            }
        };
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
        clock().on_pause = nullptr;
        expect_calls(Lines{groups(""), groups("")} + search(1) +
                     Lines{read("dg1", "dgid", str("guid-1"))});
        expect_pauses({{"Sleep", 5000}, {"Sleep", 5000}});
    });
}

TEST_F(GetDgGuid, SkipsGroupWithoutReadableTypeOrName) {
    scenario = R"({"disk_groups": [
        {"name": "dg1", "id": "a", "dgid": "guid-a", "without": ["LDM DG TYPE"]},
        {"name": "dg1", "id": "b", "dgid": "guid-b", "properties": {"Name": {"type": "STR", "value": "dg1"}}},
        {"name": "dg1", "id": "c", "dgid": "guid-c"}]})";
    once([&] {
        EXPECT_EQ(get_guid(L"dg1", guid), FARLO_SUCCESS);
        EXPECT_EQ(guid, "guid-c");
    });
}

TEST_F(GetDgGuid, AcceptsNarrowNamesButRejects32Characters) {
    at_every_threshold([&] {
        GuardedBuffer buffer(FARLO_GUID_TEXT_SIZE);
        EXPECT_EQ(FARLO(GetDgGuidA)(handle, "dg1", buffer.as<char>()), FARLO_SUCCESS);
        EXPECT_STREQ(buffer.as<char>(), "guid-1");
        EXPECT_EQ(FARLO(GetNonClusterDgGuidA)(handle, "local", buffer.as<char>()), FARLO_SUCCESS);
        EXPECT_STREQ(buffer.as<char>(), "guid-3");
        start_watching();
        const std::string too_long(32, 'n');
        EXPECT_EQ(FARLO(GetDgGuidA)(handle, too_long.c_str(), buffer.as<char>()),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetNonClusterDgGuidA)(handle, too_long.c_str(), buffer.as<char>()),
                  FARLO_INVALID_ARGUMENT);
        expect_calls({});
        expect_log({{0, "GetDgGuidA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"},
                    {0, "GetNonClusterDgGuidA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
