// GetDgReservationStatus by the driver, and the lock of the group's reservation
// thread.
#include "bus_lines.h"
#include "farlo_test.h"
#include "kernel_journal.h"

namespace {

using namespace support;

const char guid[] = "driver-status-guid";

const std::string create = "CreateMutexA Global\\driver-status-guid not owned -> mutex";
const std::string allocate = "VirtualAlloc 308 0x1000 0x4 -> page";
const std::string open = "ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> 0x0 0x0";

std::string waited(unsigned result) {
    return "WaitForSingleObject mutex 0 -> " + std::to_string(result);
}
std::string control(const std::string& result) {
    return "control 0xd903f02c \"driver-status-guid\" 1 -> " + result;
}

class DriverStatus : public FarloTest {
  protected:
    DriverStatus() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "driver-status-guid"}]})";
    }

    std::uint32_t ask() {
        return FARLO(GetDgReservationStatusW)(handle, L"dg1", guid, state.as<std::uint32_t>());
    }
    std::uint32_t answer() { return *state.as<std::uint32_t>(); }

    void expect_journal(const KernelJournal& journal, const Lines& wanted) {
        EXPECT_EQ(journal.lines, wanted);
        EXPECT_EQ(journal.faults(), Lines{});
        EXPECT_EQ(journal.live_pages(), 0u);
    }

    GuardedBuffer state{4};
};

const Expected entering{4, "Entering GetDgReservationStatusW - dg1"};
const Expected got_lock{
    6, "IgnoreReservationThreadStatus(): Got the reservation_thread_update lock on dg."};
const Expected exiting{4, "Exiting GetDgReservationStatusW"};

TEST_F(DriverStatus, IsHeldByBitZeroOfTheReply) {
    const std::pair<std::uint8_t, std::uint32_t> replies[] = {
        {0x00, 33}, {0x01, 34}, {0xFE, 33}, {0xFF, 34}};
    for (const auto& row : replies) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{0, 0, row.first}};
            EXPECT_EQ(ask(), 0u);
            EXPECT_EQ(answer(), row.second);
            expect_calls({});
            expect_journal(journal,
                           {create, waited(0), allocate, open, control("0x0 0x0"),
                            "ReleaseMutex mutex", "CloseHandle mutex", "VirtualFree page"});
            expect_log({entering, got_lock, exiting});
        });
    }
}

TEST_F(DriverStatus, DoesNotCheckTheHandle) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(nullptr, nullptr, guid, state.as<std::uint32_t>()),
                  0u);
        EXPECT_EQ(answer(), 33u);
        disconnect();
        EXPECT_EQ(FARLO(GetDgReservationStatusA)(handle, "dg1", guid, state.as<std::uint32_t>()),
                  0u);
        EXPECT_EQ(answer(), 33u);
        expect_log({{4, "Entering GetDgReservationStatusW - (null)"},
                    got_lock,
                    exiting,
                    entering,
                    got_lock,
                    exiting});
    });
}

TEST_F(DriverStatus, FindsOnlyAClusterGroupByName) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusA)(handle, "dg1", "", state.as<std::uint32_t>()), 0u);
        expect_calls({"DbGetObjects tamo_ztvm_diskgroup -> 0x0 [@local @dg1]",
                      read("local", "LDM DG TYPE", "UINT32 1"),
                      read("local", "Name", "WSTR \"local\""),
                      read("dg1", "LDM DG TYPE", "UINT32 2"), read("dg1", "Name", "WSTR \"dg1\""),
                      read("dg1", "dgid", "STR \"driver-status-guid\"")});
        EXPECT_EQ(journal.lines.front(), create);

        start_watching();
        journal.lines.clear();
        state.as<std::uint32_t>()[0] = 1234;
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, "local", nullptr, state.as<std::uint32_t>()),
            40u);
        EXPECT_EQ(answer(), 1234u);
        expect_journal(journal, {});
        expect_log({{4, "Entering GetDgReservationStatusW - local"},
                    {0, "GetDgObjIdByName() failed , DG_TYPENAME not found in OPAL, error=(0x28)"},
                    {0, "GetDgGuidCommon() failed , error=(0x28)"},
                    {0, "GetDgGuidCommon() failed, error=(0x28)"},
                    {0, "GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x28) "},
                    {0, "GetDgReservationStatusW() failed, error=(0x28) "},
                    exiting});
    });
}

TEST_F(DriverStatus, WantsANameOrAGuidAndAHandleForTheName) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(handle, nullptr, nullptr, state.as<std::uint32_t>()),
            19u);
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(nullptr, L"dg1", nullptr, state.as<std::uint32_t>()),
            100u);
        EXPECT_TRUE(state.untouched());
        expect_log({{4, "Entering GetDgReservationStatusW - (null)"},
                    {0, "GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x13) "},
                    {0, "GetDgReservationStatusW() failed, error=(0x13) "},
                    exiting,
                    entering,
                    {0, "GetDgGuidCommon() failed , opal_handle==NULL , error=(0x64)"},
                    {0, "GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x64) "},
                    {0, "GetDgReservationStatusW() failed, error=(0x64) "},
                    exiting});
    });
}

TEST_F(DriverStatus, WantsRoomForTheState) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", guid, nullptr), 19u);
        expect_journal(journal, {});
        expect_log({entering,
                    {0, "GetDgReservationStatusW() failed , pStatus == NULL, "
                        "error=(0x13) "}});
    });
}

TEST_F(DriverStatus, RefusesTextsThatAreTooLong) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", std::string(65, 'g').c_str(),
                                                 state.as<std::uint32_t>()),
                  0x80070057u);
        EXPECT_EQ(FARLO(GetDgReservationStatusA)(handle, std::string(32, 'n').c_str(), guid,
                                                 state.as<std::uint32_t>()),
                  0x80070057u);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {});
        expect_log(
            {entering,
             {0, "GetDgReservationStatusW() failed , guid string of more than 64 "
                 "characters, error=(0x80070057)"},
             exiting,
             {0, "GetDgReservationStatusA() failed , name string of more than 31 characters or "
                 "invalid, error=(0x80070057)"}});
    });
}

// ------------------------------------------------------------------ the lock

TEST_F(DriverStatus, DoesNotAskWhileTheLockIsHeld) {
    const HANDLE held = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE events[] = {held, done};
    const HANDLE holder = CreateThread(
        nullptr, 0,
        [](void* argument) -> DWORD {
            HANDLE* both = static_cast<HANDLE*>(argument);
            const HANDLE mutex = CreateMutexA(nullptr, TRUE, "Global\\driver-status-guid");
            SetEvent(both[0]);
            WaitForSingleObject(both[1], INFINITE);
            ReleaseMutex(mutex);
            CloseHandle(mutex);
            return 0;
        },
        events, 0, nullptr);
    WaitForSingleObject(held, INFINITE);
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(answer(), 39u);
        expect_journal(journal, {create, waited(258), "CloseHandle mutex"});
        expect_log({entering,
                    {6, "IgnoreReservationThreadStatus(): Time-out to get the "
                        "reservation_thread_update lock on dg"},
                    exiting});
    });
    SetEvent(done);
    WaitForSingleObject(holder, INFINITE);
    CloseHandle(holder);
    CloseHandle(held);
    CloseHandle(done);
}

// An abandoned lock is owned by the call, which closes it without a release.
TEST_F(DriverStatus, DoesNotAskNorReleaseWhenTheLockWasAbandoned) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\driver-status-guid");
        const HANDLE dead = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD { return WaitForSingleObject(argument, INFINITE); }, mutex,
            0, nullptr);
        WaitForSingleObject(dead, INFINITE);
        CloseHandle(dead);
        {
            KernelJournal journal(dll().module(), clock());
            EXPECT_EQ(ask(), 0u);
            EXPECT_EQ(answer(), 39u);
            expect_journal(journal, {create, waited(128), "CloseHandle mutex"});
        }
        expect_log({entering,
                    {0, "IgnoreReservationThreadStatus(): WAIT_ABANDONED while waiting for the "
                        "reservation_thread_update lock on dg"},
                    exiting});
        // Owned by this thread, once.
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_FALSE(ReleaseMutex(mutex));
        CloseHandle(mutex);
    });
}

// What another thread sees while the one that the lock was abandoned to lives.
TEST_F(DriverStatus, TimesOutOnALockThatAnotherCallFoundAbandoned) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\driver-status-guid");
        const HANDLE dead = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD { return WaitForSingleObject(argument, INFINITE); }, mutex,
            0, nullptr);
        WaitForSingleObject(dead, INFINITE);
        CloseHandle(dead);
        EXPECT_EQ(ask(), 0u);
        start_watching();
        std::function<void()> ask_again = [&] {
            EXPECT_EQ(ask(), 0u);
            EXPECT_EQ(answer(), 39u);
        };
        const HANDLE next = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD {
                (*static_cast<std::function<void()>*>(argument))();
                return 0;
            },
            &ask_again, 0, nullptr);
        WaitForSingleObject(next, INFINITE);
        expect_log({entering,
                    {6, "IgnoreReservationThreadStatus(): Time-out to get the "
                        "reservation_thread_update lock on dg"},
                    exiting});
        EXPECT_TRUE(ReleaseMutex(mutex));
        CloseHandle(next);
        CloseHandle(mutex);
    });
}

TEST_F(DriverStatus, DoesNotAskWhenTheWaitFails) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.wait_result = WAIT_FAILED;
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(answer(), 39u);
        expect_journal(journal, {create, waited(WAIT_FAILED), "CloseHandle mutex"});
        expect_log({entering,
                    {0, "IgnoreReservationThreadStatus(): Failed to get the "
                        "reservation_thread_update lock on dg"},
                    exiting});
    });
}

TEST_F(DriverStatus, DoesNotAskWithoutTheLock) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.create_mutex_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(answer(), 39u);
        expect_journal(journal, {"CreateMutexA Global\\driver-status-guid not owned -> none"});
        expect_log({entering,
                    {0, "IgnoreReservationThreadStatus(): CreateMutexA failed, error=(0x5) "},
                    exiting});
    });
}

TEST_F(DriverStatus, NamesTheLockAfterTheWholeGuid) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        const std::string longest(64, 'm');
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, nullptr, longest.c_str(),
                                                 state.as<std::uint32_t>()),
                  0u);
        EXPECT_EQ(journal.lines.front(), "CreateMutexA Global\\" + longest + " not owned -> mutex");
        EXPECT_EQ(journal.faults(), Lines{});
    });
}

// ------------------------------------------------------------------ the driver

TEST_F(DriverStatus, SucceedsWithoutAStateWhenThereIsNoPage) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.pages_fail = true;
        EXPECT_EQ(ask(), 0u);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {create, waited(0), "VirtualAlloc 308 0x1000 0x4 -> none",
                                 "ReleaseMutex mutex", "CloseHandle mutex"});
        expect_log({entering, got_lock, exiting});
    });
}

TEST_F(DriverStatus, DoesNotRetryWhatIsNotFound) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_OBJECT_NAME_NOT_FOUND, 0x01}};
        EXPECT_EQ(ask(), 1u);
        EXPECT_EQ(answer(), 35u);
        expect_journal(journal, {create, waited(0), allocate, open, control("0x0 0xc0000034"),
                                 "ReleaseMutex mutex", "CloseHandle mutex", "VirtualFree page"});
        expect_log(
            {entering, got_lock, {0, "GetDgReservationStatusW() failed, error=(0x1) "}, exiting});
    });
}

TEST_F(DriverStatus, TriesThirtyTimes) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{0, STATUS_UNSUCCESSFUL, 0x01}};
        EXPECT_EQ(ask(), 24u);
        EXPECT_EQ(answer(), 35u);
        Lines wanted = {create, waited(0), allocate, open};
        for (int i = 0; i < 30; ++i) {
            wanted.push_back(control("0x0 0xc0000001"));
            wanted.push_back("Sleep 1000");
        }
        expect_journal(
            journal, wanted + Lines{"ReleaseMutex mutex", "CloseHandle mutex", "VirtualFree page"});
        expect_log(
            {entering, got_lock, {0, "GetDgReservationStatusW() failed, error=(0x18) "}, exiting});
    });
}

TEST_F(DriverStatus, StopsAtTheFirstAnswer) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {
            {0, STATUS_SHARING_VIOLATION, 0}, {0, STATUS_UNSUCCESSFUL, 0}, {0, 0, 0x01}};
        EXPECT_EQ(ask(), 0u);
        EXPECT_EQ(answer(), 34u);
        expect_journal(journal,
                       {create, waited(0), allocate, open, control("0x0 0xc0000043"), "Sleep 1000",
                        control("0x0 0xc0000001"), "Sleep 1000", control("0x0 0x0"),
                        "ReleaseMutex mutex", "CloseHandle mutex", "VirtualFree page"});
        expect_log({entering, got_lock, exiting});
    });
}

TEST_F(DriverStatus, ReadsTheSettingOnce) {
    for (const std::optional<DWORD> setting : {std::optional<DWORD>(), {1}, {3}}) {
        support_scsi3 = setting;
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            EXPECT_EQ(ask(), 0u);
            environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
            EXPECT_EQ(ask(), 0u);
            expect_calls({});
            expect_log({entering, got_lock, exiting, entering, got_lock, exiting});
        });
    }
}

// Read at the first call, not only when the library was loaded.
TEST_F(DriverStatus, ReadsTheSettingAtTheFirstCall) {
    at_every_threshold([&] {
        environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(nullptr, L"dg1", guid, state.as<std::uint32_t>()),
                  100u);
        expect_log({{0, "=====Enabled NGC====="},
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

// A setting that was there when the library was loaded, and is gone since.
TEST_F(DriverStatus, ForgetsTheSettingOfTheLoad) {
    support_scsi3 = 2;
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        environment().set_registry(volume_manager_key, L"SupportSCSI3", 1);
        EXPECT_EQ(ask(), 0u);
        expect_calls({});
        expect_log({entering, got_lock, exiting});
    });
}

// The device cannot be opened: the three tries of the opening are one of the query's.
TEST_F(DriverStatus, AsksOnceWhenThereIsNoDevice) {
    const std::pair<NTSTATUS, std::string> rows[] = {
        {STATUS_OBJECT_NAME_NOT_FOUND, "0xc0000034 0x0"},
        {STATUS_OBJECT_PATH_NOT_FOUND, "0xc000003a 0x0"}};
    for (const auto& [native, result] : rows) {
        at_every_threshold([&, native = native, result = result] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{native}};
            EXPECT_EQ(ask(), 1u);
            EXPECT_EQ(answer(), 35u);
            const std::string missing =
                "ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> " + result;
            expect_journal(journal, {create, waited(0), allocate, missing, "Sleep 1000", missing,
                                     "Sleep 1000", missing, "Sleep 1000", "ReleaseMutex mutex",
                                     "CloseHandle mutex", "VirtualFree page"});
            expect_log({entering,
                        got_lock,
                        {0, "GetDgReservationStatusW() failed, error=(0x1) "},
                        exiting});
        });
    }
}

TEST_F(DriverStatus, AsksThirtyTimesWhileTheDeviceCannotBeOpened) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{STATUS_SHARING_VIOLATION}};
        EXPECT_EQ(ask(), 23u);
        EXPECT_EQ(answer(), 35u);
        Lines wanted = {create, waited(0), allocate};
        for (int i = 0; i < 30; ++i) {
            for (int opening = 0; opening < 3; ++opening) {
                wanted.push_back("ZwOpenFile \\Device\\DmControl\\DmInfo 0x40 0x100003 0x3 0x10 -> "
                                 "0xc0000043 0x0");
                wanted.push_back("Sleep 1000");
            }
            wanted.push_back("Sleep 1000");
        }
        expect_journal(
            journal, wanted + Lines{"ReleaseMutex mutex", "CloseHandle mutex", "VirtualFree page"});
        expect_log(
            {entering, got_lock, {0, "GetDgReservationStatusW() failed, error=(0x17) "}, exiting});
    });
}

TEST_F(DriverStatus, TriesThirtyTimesWhileTheDeviceIsShared) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{STATUS_SHARING_VIOLATION, 0}};
        EXPECT_EQ(ask(), 23u);
        EXPECT_EQ(answer(), 35u);
        EXPECT_EQ(clock().elapsed(), 30'000u);
    });
}

// Only the search by name looks at the connection.
TEST_F(DriverStatus, FindsNoGroupByNameWithoutAConnection) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        disconnect();
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "", state.as<std::uint32_t>()),
                  20u);
        EXPECT_TRUE(state.untouched());
        expect_calls({});
        expect_journal(journal, {});
        expect_log({entering,
                    {0, "GetDgGuidCommon() failed, hConn not connected , error=(0x14)"},
                    {0, "GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x14) "},
                    {0, "GetDgReservationStatusW() failed, error=(0x14) "},
                    exiting});
    });
}

TEST_F(DriverStatus, FailsWithoutMemoryForTheGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        heap().fail(1);
        EXPECT_EQ(ask(), 17u);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {});
        expect_log({entering,
                    {0, "GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "GetDgReservationStatusW() failed, error=(0x11) "},
                    exiting});
    });
}

TEST_F(DriverStatus, EndsWellWhicheverAllocationFails) {
    const auto answers = answers_at_every_allocation([&] {
        KernelJournal journal(dll().module(), clock());
        GuardedBuffer one{4};
        const std::uint32_t status =
            FARLO(GetDgReservationStatusA)(handle, "dg1", nullptr, one.as<std::uint32_t>());
        if (status == 0) {
            EXPECT_EQ(*one.as<std::uint32_t>(), 33u);
        } else {
            EXPECT_TRUE(one.untouched());
        }
        EXPECT_EQ(journal.live_pages(), 0u);
        return status;
    });
    EXPECT_GT(answers.size(), 1u);
    EXPECT_THAT(answers, testing::Each(testing::Ne(0u)));
}

}  // namespace
