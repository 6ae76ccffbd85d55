// GetDgGuid, GetNonClusterDgGuid, and the rescan that they share.
#include "bus_lines.h"
#include "farlo_test.h"

namespace {

using namespace support;

constexpr char mutex_name[] = "Global\\rescanMutex";
const std::string rescan =
    invoke("service", volume_manager_methods, 6054, "\"pnp rescan only\": BOOLEAN false", "0x0");

std::string ask(const std::string& name, const std::string& status,
                const std::string& output = "{}") {
    return invoke("service", cluster_methods, 1, "\"Dgname\": " + wstr(name), status, output);
}

class DgGuid : public FarloTest {
  protected:
    DgGuid() {
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

    // A lookup by name that reads so many groups.
    Lines lookup(std::size_t count, const std::string& names = visible) {
        const char* const group_names[] = {"dg1", "local", "zero", "seven", "shared", "late"};
        const std::uint32_t types[] = {2, 1, 0, 7, 8, 2};
        Lines lines{groups(names)};
        for (std::size_t i = 0; i < count; ++i) {
            lines.push_back(read(group_names[i], "LDM DG TYPE", uint32(types[i])));
            lines.push_back(read(group_names[i], "Name", wstr(group_names[i])));
        }
        return lines;
    }

    // The call, with a buffer of exactly 65 bytes behind which memory faults.
    std::uint32_t get(const wchar_t* name, std::string& text, bool cluster = true) {
        GuardedBuffer buffer(65);
        const std::uint32_t status =
            cluster ? FARLO(GetDgGuidW)(handle, name, buffer.as<char>())
                    : FARLO(GetNonClusterDgGuidW)(handle, name, buffer.as<char>());
        text = buffer.untouched() ? "untouched" : buffer.as<char>();
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

TEST_F(DgGuid, FindsAGroupInAnyLetterCase) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"DG1", guid), 0u);
        EXPECT_EQ(guid, "guid-1");
        expect_calls(lookup(1) + Lines{read("dg1", "dgid", str("guid-1"))});
        expect_log({});
        expect_pauses({});
    });
}

TEST_F(DgGuid, TheFamiliesAcceptDifferentTypes) {
    const struct {
        const wchar_t* name;
        std::uint32_t cluster;
        std::uint32_t any;
    } rows[] = {{L"dg1", 0, 0},
                {L"local", 40, 0},
                {L"zero", 40, 40},
                {L"seven", 40, 40},
                {L"shared", 40, 0}};
    once([&] {
        for (const auto& row : rows) {
            SCOPED_TRACE(testing::PrintToString(std::wstring(row.name)));
            EXPECT_EQ(get(row.name, guid, true), row.cluster);
            EXPECT_EQ(guid == "untouched", row.cluster != 0);
            EXPECT_EQ(get(row.name, guid, false), row.any);
            EXPECT_EQ(guid == "untouched", row.any != 0);
        }
    });
}

TEST_F(DgGuid, AnExcludedGroupIsNotAskedOfTheClusterService) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"zero", guid, false), 0x28u);
        expect_calls(lookup(3));
        expect_log({{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"}});
    });
}

TEST_F(DgGuid, Checks) {
    at_every_threshold([&] {
        GuardedBuffer buffer(65);
        char* const out = buffer.as<char>();
        EXPECT_EQ(FARLO(GetDgGuidW)(nullptr, L"dg1", out), 0x64u);
        expect_log({{0, "GetDgGuidCommon() failed , opal_handle==NULL , error=(0x64)"}});
        for (const wchar_t* name : {static_cast<const wchar_t*>(nullptr), L""}) {
            start_watching();
            EXPECT_EQ(FARLO(GetDgGuidW)(handle, name, out), 0x13u);
            expect_log({{0, "GetDgGuidCommon():UseDgName() failed , error=(0x13)"}});
        }
        start_watching();
        EXPECT_EQ(FARLO(GetDgGuidW)(handle, L"dg1", nullptr), 0x13u);
        expect_log({{0, "GetDgGuidCommon() failed , pDgGuid == NULL, error=(0x13)"}});
        start_watching();
        disconnect();
        EXPECT_EQ(FARLO(GetDgGuidW)(handle, L"", out), 0x14u);
        expect_log({{0, "GetDgGuidCommon() failed, hConn not connected , error=(0x14)"}});
        expect_calls({});
        EXPECT_TRUE(buffer.untouched());
    });
}

TEST_F(DgGuid, ARescanMakesALateGroupAppear) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"late", guid), 0u);
        EXPECT_EQ(guid, "guid-9");
        expect_calls(lookup(5) + Lines{cluster_service(), rescan} + lookup(6, all) +
                     Lines{read("late", "dgid", str("guid-9"))});
        expect_pauses({{"Sleep", 10'000}});
        expect_log(
            joined(not_found(), {{6, "GetDgGuidCommon(): CreateMutexA"},
                                 {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                                 {6, "Entering PerformPnpDiskRescan"},
                                 {6, "Exiting PerformPnpDiskRescan"},
                                 {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
        EXPECT_EQ(OpenMutexA(SYNCHRONIZE, FALSE, mutex_name), nullptr) << "it is closed again";
    });
}

TEST_F(DgGuid, AnUnknownGroupIsAskedOfTheClusterService) {
    at_every_threshold([&] {
        EXPECT_EQ(get(L"nowhere", guid), 0xe5150101u);
        EXPECT_EQ(guid, "untouched");
        expect_calls(lookup(5) + Lines{cluster_service(), rescan} + lookup(6, all) +
                     Lines{cluster_service(), ask("nowhere", "0xe5150101")});
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

// Another caller holds the mutex: whoever waits does not rescan when the group
// is there afterwards.
TEST_F(DgGuid, WhoWaitsForARescanLooksAgain) {
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
            // The other caller's rescan finds the group and is over.
            load_scenario(R"({"disk_groups": [{"name": "late", "dgid": "guid-9"}]})");
            SetEvent(other.release);
            WaitForSingleObject(thread, INFINITE);
        };
        EXPECT_EQ(get(L"late", guid), 0u);
        clock().on_pause = nullptr;
        EXPECT_EQ(guid, "guid-9");
        expect_calls(lookup(5) + Lines{groups("@late"), read("late", "LDM DG TYPE", uint32(2)),
                                       read("late", "Name", wstr("late")),
                                       read("late", "dgid", str("guid-9"))});
        expect_pauses({{"Wait", 300'000}});
        expect_log(
            joined(not_found(),
                   {{6, "GetDgGuidCommon(): CreateMutexA"},
                    {6, "WaitForMutex(): Time-out to get the reservation_thread_update lock "},
                    {6, "WaitForMutex(): Got the reservation_thread_update lock "}}));
        // It was released: this thread did not take it.
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

// Five minutes are over, or the mutex was abandoned, or the wait failed: the
// group is looked for, disks are rescanned, and the release is issued anyway.
// Each abandoned mutex is released before that.
TEST_F(DgGuid, AWaitThatIsNotGrantedRescansItself) {
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
            EXPECT_EQ(get(L"late", guid), 0u);
            EXPECT_EQ(releases, row.releases);
            expect_calls(lookup(5) + lookup(5) + Lines{cluster_service(), rescan} + lookup(6, all) +
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
TEST_F(DgGuid, LeavesAnAbandonedMutexFree) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, mutex_name);
        EXPECT_EQ(run_thread(abandon, mutex), WAIT_OBJECT_0);
        EXPECT_EQ(get(L"late", guid), 0u);
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
TEST_F(DgGuid, LeavesAMutexFreeThatIsAbandonedDuringTheWait) {
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
        EXPECT_EQ(get(L"late", guid), 0u);
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

HANDLE WINAPI no_mutex(SECURITY_ATTRIBUTES* security, BOOL owned, const char* name) {
    EXPECT_EQ(security, nullptr);
    EXPECT_FALSE(owned);
    EXPECT_STREQ(name, mutex_name);
    SetLastError(ERROR_ACCESS_DENIED);
    return nullptr;
}

TEST_F(DgGuid, WithoutAMutexTheClusterServiceIsAsked) {
    at_every_threshold([&] {
        const Interposer interposer(dll().module(), "CreateMutexA", no_mutex);
        EXPECT_EQ(get(L"nowhere", guid), 0xe5150101u);
        expect_calls(lookup(5) + Lines{cluster_service(), ask("nowhere", "0xe5150101")});
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

// A group that is found without a readable identifier is asked for as well.
TEST_F(DgGuid, AnIdentifierThatCannotBeReadIsAskedOfTheClusterService) {
    at_every_threshold([&] {
        for (const char* fault : {R"("status": "0xc100003a")", R"("as": "WSTR")",
                                  R"("lie": "unterminated")", R"("lie": "null")"}) {
            SCOPED_TRACE(fault);
            set_faults(std::string(R"([{"function": "ObGetProperty", "property": "dgid", )") +
                       fault + "}]");
            start_watching();
            EXPECT_EQ(get(L"dg1", guid), 0u);
            EXPECT_EQ(guid, "guid-1");
            EXPECT_EQ(calls_of("PrCallDispatch"),
                      (Lines{ask("dg1", "0x0", "{\"Dgguid\": STR \"guid-1\"}")}));
            expect_log({});
        }
    });
}

// One character more than fits is refused, from the group and from the service.
TEST_F(DgGuid, AnIdentifierOf65CharactersIsRefused) {
    const std::string fits(64, 'f');
    const std::string too_long(65, 'l');
    scenario = R"({"disk_groups": [{"name": "dg1", "dgid": ")" + fits +
               R"("}, {"name": "dg2", "dgid": ")" + too_long + R"("}]})";
    at_every_threshold([&] {
        EXPECT_EQ(get(L"dg1", guid), 0u);
        EXPECT_EQ(guid, fits);
        start_watching();
        EXPECT_EQ(get(L"dg2", guid), 0x12u);
        EXPECT_EQ(guid, "untouched");
        expect_log({{6, "API_TRY_CATCH_FAILED "}, {0, "GetDgGuidCommon() failed, error=(0x12)"}});
    });
}

TEST_F(DgGuid, NoClusterServiceToAsk) {
    at_every_threshold([&] {
        set_faults(R"([{"type": "solvane_cluster_service", "status": "0xc1000001"}])");
        EXPECT_EQ(get(L"nowhere", guid), 0x29u);
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

TEST_F(DgGuid, ARescanThatFailsIsLoggedAndIgnored) {
    at_every_threshold([&] {
        set_faults(R"([{"minor": 6054, "after": "0xe5150199"}])");
        EXPECT_EQ(get(L"late", guid), 0u);
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

// A parameter that cannot be added is left out of the rescan without a word.
TEST_F(DgGuid, ARescanWithoutItsParameter) {
    once([&] {
        set_faults(R"([{"function": "PsAddProperty", "property": "pnp rescan only",
                        "status": "0xc1000102"}])");
        EXPECT_EQ(get(L"late", guid), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{invoke("service", volume_manager_methods, 6054, "", "0x0")}));
        load_scenario(scenario);
        start_watching();
        set_faults(R"([{"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"}])");
        EXPECT_EQ(get(L"late", guid), 0u);
        EXPECT_EQ(calls_of("PrCallDispatch"),
                  (Lines{"PrCallDispatch @service {61678c9a-1dd2-11b2-9623-0800209ead9c} 0.6054 "
                         "NULL 0,0,0,0 -> 0x0 {}"}));
    });
}

TEST_F(DgGuid, TheFallbacksSetsThatFail) {
    at_every_threshold([&] {
        // The group is there, without an identifier.
        const std::string unreadable =
            R"({"function": "ObGetProperty", "property": "dgid", "status": "0xc100003a"}, )";
        for (const char* fault :
             {R"({"function": "PsCreatePropset", "call": 1, "status": "0xc1000102"})",
              R"({"function": "PsAddProperty", "property": "Dgname", "status": "0xc1000102"})",
              R"({"function": "PsFindProperty", "property": "Dgguid", "status": "0xc100003a"})",
              R"({"function": "PsFindProperty", "property": "Dgguid", "as": "WSTR"})"}) {
            SCOPED_TRACE(fault);
            set_faults("[" + unreadable + fault + "]");
            start_watching();
            EXPECT_EQ(get(L"dg1", guid), 0x12u);
            EXPECT_EQ(guid, "untouched");
            expect_log(
                {{6, "API_TRY_CATCH_FAILED "}, {0, "GetDgGuidCommon() failed, error=(0x12)"}});
        }
    });
}

TEST_F(DgGuid, AConnectionThatDropsMeanwhile) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "dgid", "status": "0xc100003a"},
                       {"function": "PrCallDispatch", "drop": true}])");
        EXPECT_EQ(get(L"dg1", guid), 0x14u);
        expect_log({{0, "GetDgGuidCommon() failed, error=(0x14)"}});
    });
}

// Whatever the result was, the service's or the exclusion.
TEST_F(DgGuid, ADroppedConnectionVoidsAFailureToo) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "dgid", "status": "0xc100003a"},
                       {"minor": 1, "after": "0xe5150101", "drop": true}])");
        EXPECT_EQ(get(L"dg1", guid), 0x14u);
        expect_log(
            {{4, "GetDgGuidCommon: CLUSTER_MTHD_CLUSSVCOP_GETDGGUID, CsfInvoke failed with error "
                 "= 0xe5150101."},
             {0, "GetDgGuidCommon() failed, error=(0x14)"}});
    });
    at_every_threshold([&] {
        set_faults(R"([{"object": "zero", "property": "Name", "drop": true}])");
        EXPECT_EQ(get(L"zero", guid), 0x14u);
        expect_log({{0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x14)"}});
    });
}

// An identifier that was read is handed out at once, and so is the status of a
// search for the cluster service: nobody looks at the connection again.
TEST_F(DgGuid, ADroppedConnectionThatIsNotNoticed) {
    at_every_threshold([&] {
        set_faults(R"([{"object": "dg1", "property": "dgid", "drop": true}])");
        EXPECT_EQ(get(L"dg1", guid), 0u);
        EXPECT_EQ(guid, "guid-1");
        expect_log({});
    });
    at_every_threshold([&] {
        set_faults(R"([{"function": "ObGetProperty", "property": "dgid", "status": "0xc100003a"},
            {"type": "solvane_cluster_service", "after": "0xc1000001", "drop": true}])");
        EXPECT_EQ(get(L"dg1", guid), 0x29u);
        expect_log({{0, "GetDgGuidCommon(): GetClusSvcId failed , error=(0x29)"}});
    });
}

// Without an output set the cluster service is asked all the same. Its failure
// has no line of its own then, and its success hands nothing out.
TEST_F(DgGuid, TheFallbackWithoutAnOutputSet) {
    const std::string no_set = R"([
        {"function": "ObGetProperty", "property": "dgid", "status": "0xc100003a"},
        {"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},)";
    at_every_threshold([&] {
        set_faults(no_set + R"({"minor": 1, "status": "0xe5150101"}])");
        EXPECT_EQ(get(L"dg1", guid), 0xe5150101u);
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{ask("dg1", "0xe5150101", "NULL")});
        expect_log({{0, "GetDgGuidCommon() failed, error=(0xe5150101)"}});
    });
    at_every_threshold([&] {
        set_faults(no_set + R"({"minor": 1, "status": 0}])");
        EXPECT_EQ(get(L"dg1", guid), 0u);
        EXPECT_EQ(guid, "untouched");
        EXPECT_EQ(calls_of("PrCallDispatch"), Lines{ask("dg1", "0x0", "NULL")});
        expect_log({});
    });
}

TEST_F(DgGuid, ARescanWithoutAnOutputSet) {
    at_every_threshold([&] {
        set_faults(R"([{"function": "PsCreatePropset", "call": 2, "status": "0xc1000102"},
                       {"minor": 6054, "after": "0xe5150199"}])");
        EXPECT_EQ(get(L"late", guid), 0u);
        expect_log(
            joined(not_found(), {{6, "GetDgGuidCommon(): CreateMutexA"},
                                 {6, "WaitForMutex(): Got the reservation_thread_update lock "},
                                 {6, "Entering PerformPnpDiskRescan"},
                                 {6, "Exiting PerformPnpDiskRescan"},
                                 {6, "GetDgGuidCommon: Sleeping for 10 secs"}}));
    });
}

// Whoever rescans gives the mutex back before the group is looked for again;
// whoever waited for another's rescan gives it back behind that.
TEST_F(DgGuid, WhenTheMutexIsGivenBack) {
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
            EXPECT_EQ(get(L"late", guid), 0u);
            EXPECT_EQ(release.calls(), 1u);
            const Lines rescanned = lookup(5) + Lines{cluster_service(), rescan};
            EXPECT_EQ(before_release, waits ? lookup(5) + rescanned + lookup(6, all) : rescanned);
            EXPECT_EQ(pauses_before_release, (std::vector<Pause>{{"Sleep", 10'000}}));
        });
    }
}

// A group that appears meanwhile and is none that may be used: no rescan.
TEST_F(DgGuid, WhoWaitsForARescanMayFindAnExcludedGroup) {
    at_every_threshold([&] {
        interpose<decltype(WaitForSingleObject)>(
            "WaitForSingleObject", [&](HANDLE, DWORD milliseconds) -> DWORD {
                if (milliseconds == 0) {
                    return WAIT_TIMEOUT;
                }
                load_scenario(R"({"disk_groups": [{"name": "late", "dgid": "9", "type": 7}]})");
                return WAIT_OBJECT_0;
            });
        EXPECT_EQ(get(L"late", guid), 0x28u);
        expect_calls(lookup(5) + Lines{groups("@late"), read("late", "LDM DG TYPE", uint32(7)),
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

// The first group of that name decides, be there another that would do.
TEST_F(DgGuid, AnExcludedGroupEndsTheLookup) {
    scenario = R"({"disk_groups": [
        {"name": "twin", "id": "a", "dgid": "guid-a", "type": 1},
        {"name": "twin", "id": "b", "dgid": "guid-b", "type": 2}]})";
    once([&] {
        EXPECT_EQ(get(L"twin", guid, true), 0x28u);
        EXPECT_EQ(get(L"twin", guid, false), 0u);
        EXPECT_EQ(guid, "guid-a");
    });
}

// Names are compared whole.
TEST_F(DgGuid, ANameThatBeginsAnother) {
    scenario = R"({"disk_groups": [
        {"name": "dg", "dgid": "guid-a"}, {"name": "dg11", "dgid": "guid-b"},
        {"name": "dg1", "dgid": "guid-c"}]})";
    once([&] {
        EXPECT_EQ(get(L"dg1", guid), 0u);
        EXPECT_EQ(guid, "guid-c");
    });
}

// No group at all: five queries 5 s apart, and then the rescan as for an unknown
// one.
TEST_F(DgGuid, NoGroupAtAll) {
    scenario = "{}";
    at_every_threshold([&] {
        EXPECT_EQ(get(L"dg1", guid), 0xe5150101u);
        const Lines five{groups(""), groups(""), groups(""), groups(""), groups("")};
        expect_calls(five + Lines{cluster_service(), rescan} + five +
                     Lines{cluster_service(), ask("dg1", "0xe5150101")});
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

// The first result that is not empty ends the queries.
TEST_F(DgGuid, AGroupThatAppearsWhileTheQueriesGoOn) {
    once([&] {
        load_scenario("{}");
        start_watching();
        clock().on_pause = [&](int number) {
            if (number == 2) {
                load_scenario(scenario);
            }
        };
        EXPECT_EQ(get(L"dg1", guid), 0u);
        clock().on_pause = nullptr;
        expect_calls(Lines{groups(""), groups("")} + lookup(1) +
                     Lines{read("dg1", "dgid", str("guid-1"))});
        expect_pauses({{"Sleep", 5000}, {"Sleep", 5000}});
    });
}

TEST_F(DgGuid, AGroupWithoutAReadableTypeOrNameIsPassedOver) {
    scenario = R"({"disk_groups": [
        {"name": "dg1", "id": "a", "dgid": "guid-a", "without": ["LDM DG TYPE"]},
        {"name": "dg1", "id": "b", "dgid": "guid-b", "properties": {"Name": {"type": "STR", "value": "dg1"}}},
        {"name": "dg1", "id": "c", "dgid": "guid-c"}]})";
    once([&] {
        EXPECT_EQ(get(L"dg1", guid), 0u);
        EXPECT_EQ(guid, "guid-c");
    });
}

TEST_F(DgGuid, NarrowForms) {
    at_every_threshold([&] {
        GuardedBuffer buffer(65);
        EXPECT_EQ(FARLO(GetDgGuidA)(handle, "dg1", buffer.as<char>()), 0u);
        EXPECT_STREQ(buffer.as<char>(), "guid-1");
        EXPECT_EQ(FARLO(GetNonClusterDgGuidA)(handle, "local", buffer.as<char>()), 0u);
        EXPECT_STREQ(buffer.as<char>(), "guid-3");
        start_watching();
        const std::string too_long(32, 'n');
        EXPECT_EQ(FARLO(GetDgGuidA)(handle, too_long.c_str(), buffer.as<char>()), 0x80070057u);
        EXPECT_EQ(FARLO(GetNonClusterDgGuidA)(handle, too_long.c_str(), buffer.as<char>()),
                  0x80070057u);
        expect_calls({});
        expect_log({{0, "GetDgGuidA() failed , name string of more than 31 characters or invalid, "
                        "error=(0x80070057)"},
                    {0, "GetNonClusterDgGuidA() failed , name string of more than 31 characters or "
                        "invalid, error=(0x80070057)"}});
    });
}

}  // namespace
