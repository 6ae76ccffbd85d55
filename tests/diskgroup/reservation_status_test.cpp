// GetDgReservationStatus on a node whose driver knows the reservations, and the mutex that
// guards the disk group's reservation thread.
#include "support/bus_lines.h"
#include "support/farlo_test.h"
#include "support/journal_lines.h"
#include "support/kernel_journal.h"

namespace {

using namespace support;

const char guid[] = "driver-status-guid";

// Lines of the kernel journal.
const std::string create_mutex = "CreateMutexA Global\\driver-status-guid not owned -> mutex";
const std::string release_mutex = "ReleaseMutex mutex";
const std::string pause = "Sleep 1000";
const std::string close_mutex = "CloseHandle mutex";

std::string wait(unsigned result) {
    return "WaitForSingleObject mutex 0 -> " + std::to_string(result);
}
std::string query(std::int32_t io_status) {
    return control(control_code::query_reservation, guid, 1, native::success, io_status);
}

class GetDgReservationStatusFromDriver : public FarloTest {
  protected:
    GetDgReservationStatusFromDriver() {
        scenario = R"({"disk_groups": [{"name": "local", "dgid": "guid-1", "type": 1},
                                       {"name": "dg1", "dgid": "driver-status-guid"}]})";
    }

    std::uint32_t get_status() {
        return FARLO(GetDgReservationStatusW)(handle, L"dg1", guid, state.as<std::uint32_t>());
    }
    std::uint32_t stored_state() { return *state.as<std::uint32_t>(); }

    GuardedBuffer state{4};
};

const Expected entering{4, "Entering GetDgReservationStatusW - dg1"};
const Expected got_lock{
    6, "IgnoreReservationThreadStatus(): Got the reservation_thread_update lock on dg."};
const Expected exiting{4, "Exiting GetDgReservationStatusW"};

TEST_F(GetDgReservationStatusFromDriver, ReportsHeldWhenBitZeroOfReplyIsSet) {
    const std::pair<std::uint8_t, std::uint32_t> replies[] = {{0x00, FARLO_RESERVATION_NOT_HELD},
                                                              {0x01, FARLO_RESERVATION_HELD},
                                                              {0xFE, FARLO_RESERVATION_NOT_HELD},
                                                              {0xFF, FARLO_RESERVATION_HELD}};
    for (const auto& row : replies) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.controls = {{.reply = row.first}};
            EXPECT_EQ(get_status(), FARLO_SUCCESS);
            EXPECT_EQ(stored_state(), row.second);
            expect_calls({});
            expect_journal(journal,
                           {create_mutex, wait(WAIT_OBJECT_0), allocate_page, open_info_device(),
                            query(native::success), release_mutex, close_mutex, free_page});
            expect_log({entering, got_lock, exiting});
        });
    }
}

TEST_F(GetDgReservationStatusFromDriver, SucceedsWithoutHandleOrConnectionWhenGivenGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(nullptr, nullptr, guid, state.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_NOT_HELD);
        disconnect();
        EXPECT_EQ(FARLO(GetDgReservationStatusA)(handle, "dg1", guid, state.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_NOT_HELD);
        expect_log({{4, "Entering GetDgReservationStatusW - (null)"},
                    got_lock,
                    exiting,
                    entering,
                    got_lock,
                    exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, FindsOnlyClusterGroupByName) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusA)(handle, "dg1", "", state.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        expect_calls({groups("@local @dg1"), read_type("local", group_type::local),
                      read("local", "Name", wstr("local")), read_type("dg1", group_type::cluster),
                      read("dg1", "Name", wstr("dg1")),
                      read("dg1", "dgid", str("driver-status-guid"))});
        EXPECT_EQ(journal.lines.front(), create_mutex);

        start_watching();
        journal.lines.clear();
        state.as<std::uint32_t>()[0] = 1234;
        EXPECT_EQ(
            FARLO(GetDgReservationStatusA)(handle, "local", nullptr, state.as<std::uint32_t>()),
            FARLO_EXCLUDED_TYPE);
        EXPECT_EQ(stored_state(), 1234u);
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

TEST_F(GetDgReservationStatusFromDriver, RequiresGuidOrNameWithHandle) {
    at_every_threshold([&] {
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(handle, nullptr, nullptr, state.as<std::uint32_t>()),
            FARLO_MISSING_ARGUMENT);
        EXPECT_EQ(
            FARLO(GetDgReservationStatusW)(nullptr, L"dg1", nullptr, state.as<std::uint32_t>()),
            FARLO_NULL_HANDLE);
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

TEST_F(GetDgReservationStatusFromDriver, RejectsNullState) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", guid, nullptr),
                  FARLO_MISSING_ARGUMENT);
        expect_journal(journal, {});
        expect_log({entering,
                    {0, "GetDgReservationStatusW() failed , pStatus == NULL, "
                        "error=(0x13) "}});
    });
}

TEST_F(GetDgReservationStatusFromDriver, RejectsNameOrGuidThatIsTooLong) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", std::string(65, 'g').c_str(),
                                                 state.as<std::uint32_t>()),
                  FARLO_INVALID_ARGUMENT);
        EXPECT_EQ(FARLO(GetDgReservationStatusA)(handle, std::string(32, 'n').c_str(), guid,
                                                 state.as<std::uint32_t>()),
                  FARLO_INVALID_ARGUMENT);
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

// ------------------------------------------------------------------ the mutex

TEST_F(GetDgReservationStatusFromDriver, ReportsBusyWhileMutexIsHeld) {
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
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_BUSY);
        expect_journal(journal, {create_mutex, wait(WAIT_TIMEOUT), close_mutex});
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

// The wait makes this thread the owner; the library closes the mutex without releasing it.
TEST_F(GetDgReservationStatusFromDriver, ReportsBusyAndKeepsMutexWhenMutexWasAbandoned) {
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
            EXPECT_EQ(get_status(), FARLO_SUCCESS);
            EXPECT_EQ(stored_state(), FARLO_RESERVATION_BUSY);
            expect_journal(journal, {create_mutex, wait(WAIT_ABANDONED), close_mutex});
        }
        expect_log({entering,
                    {0, "IgnoreReservationThreadStatus(): WAIT_ABANDONED while waiting for the "
                        "reservation_thread_update lock on dg"},
                    exiting});
        // This thread still owns it, once.
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_FALSE(ReleaseMutex(mutex));
        CloseHandle(mutex);
    });
}

// The thread that found the lock abandoned owns it until it ends.
TEST_F(GetDgReservationStatusFromDriver, ReportsBusyWhenLockIsHeldByCallThatFoundItAbandoned) {
    at_every_threshold([&] {
        const HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\driver-status-guid");
        const HANDLE dead = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD { return WaitForSingleObject(argument, INFINITE); }, mutex,
            0, nullptr);
        WaitForSingleObject(dead, INFINITE);
        CloseHandle(dead);
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        start_watching();
        std::function<void()> get_status_again = [&] {
            EXPECT_EQ(get_status(), FARLO_SUCCESS);
            EXPECT_EQ(stored_state(), FARLO_RESERVATION_BUSY);
        };
        const HANDLE next = CreateThread(
            nullptr, 0,
            [](void* argument) -> DWORD {
                (*static_cast<std::function<void()>*>(argument))();
                return 0;
            },
            &get_status_again, 0, nullptr);
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

TEST_F(GetDgReservationStatusFromDriver, ReportsBusyWhenWaitFails) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.wait_result = WAIT_FAILED;
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_BUSY);
        expect_journal(journal, {create_mutex, wait(WAIT_FAILED), close_mutex});
        expect_log({entering,
                    {0, "IgnoreReservationThreadStatus(): Failed to get the "
                        "reservation_thread_update lock on dg"},
                    exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, ReportsBusyWhenMutexCannotBeCreated) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.create_mutex_error = ERROR_ACCESS_DENIED;
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_BUSY);
        expect_journal(journal, {"CreateMutexA Global\\driver-status-guid not owned -> none"});
        expect_log({entering,
                    {0, "IgnoreReservationThreadStatus(): CreateMutexA failed, error=(0x5) "},
                    exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, NamesMutexAfterWholeGuid) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        const std::string longest(64, 'm');
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, nullptr, longest.c_str(),
                                                 state.as<std::uint32_t>()),
                  FARLO_SUCCESS);
        EXPECT_EQ(journal.lines.front(), "CreateMutexA Global\\" + longest + " not owned -> mutex");
        EXPECT_EQ(journal.faults(), Lines{});
    });
}

// ------------------------------------------------------------------ the driver

TEST_F(GetDgReservationStatusFromDriver, SucceedsWithoutStateWhenPageCannotBeAllocated) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.pages_fail = true;
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal,
                       {create_mutex, wait(WAIT_OBJECT_0), no_page, release_mutex, close_mutex});
        expect_log({entering, got_lock, exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, ReturnsNotFoundWithoutRetry) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::object_name_not_found, .reply = 0x01}};
        EXPECT_EQ(get_status(), FARLO_NOT_FOUND);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_UNKNOWN);
        expect_journal(journal, {create_mutex, wait(WAIT_OBJECT_0), allocate_page,
                                 open_info_device(), query(native::object_name_not_found),
                                 release_mutex, close_mutex, free_page});
        expect_log(
            {entering, got_lock, {0, "GetDgReservationStatusW() failed, error=(0x1) "}, exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, FailsAfterThirtyTries) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::unsuccessful, .reply = 0x01}};
        EXPECT_EQ(get_status(), FARLO_DEVICE_FAILED);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_UNKNOWN);
        Lines wanted = {create_mutex, wait(WAIT_OBJECT_0), allocate_page, open_info_device()};
        for (int i = 0; i < 30; ++i) {
            wanted.push_back(query(native::unsuccessful));
            wanted.push_back(pause);
        }
        expect_journal(journal, wanted + Lines{release_mutex, close_mutex, free_page});
        expect_log(
            {entering, got_lock, {0, "GetDgReservationStatusW() failed, error=(0x18) "}, exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, StopsRetryingAtFirstSuccess) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.io_status = native::sharing_violation},
                            {.io_status = native::unsuccessful},
                            {.reply = 0x01}};
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_HELD);
        expect_journal(journal,
                       {create_mutex, wait(WAIT_OBJECT_0), allocate_page, open_info_device(),
                        query(native::sharing_violation), pause, query(native::unsuccessful), pause,
                        query(native::success), release_mutex, close_mutex, free_page});
        expect_log({entering, got_lock, exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, ReadsSettingOnce) {
    for (const std::optional<DWORD> setting : {std::optional<DWORD>(), {1}, {3}}) {
        support_scsi3 = setting;
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            EXPECT_EQ(get_status(), FARLO_SUCCESS);
            environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
            EXPECT_EQ(get_status(), FARLO_SUCCESS);
            expect_calls({});
            expect_log({entering, got_lock, exiting, entering, got_lock, exiting});
        });
    }
}

// The value at the first call counts, not the value when the library was loaded.
TEST_F(GetDgReservationStatusFromDriver, UsesServiceWhenSettingChangesBeforeFirstCall) {
    at_every_threshold([&] {
        environment().set_registry(volume_manager_key, L"SupportSCSI3", 2);
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(nullptr, L"dg1", guid, state.as<std::uint32_t>()),
                  FARLO_NULL_HANDLE);
        expect_log({{0, "=====Enabled NGC====="},
                    {4, "Entering GetNgcDgReservationStatusW - dg1"},
                    {0, "GetNgcDgReservationStatusW() failed , NULL opal_handle, error=(0x64)"}});
    });
}

// The setting was in effect when the library was loaded, but not at the first call.
TEST_F(GetDgReservationStatusFromDriver, UsesDriverWhenSettingChangesBeforeFirstCall) {
    support_scsi3 = 2;
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        environment().set_registry(volume_manager_key, L"SupportSCSI3", 1);
        EXPECT_EQ(get_status(), FARLO_SUCCESS);
        expect_calls({});
        expect_log({entering, got_lock, exiting});
    });
}

// Opening is tried three times; "not found" is not retried beyond that.
TEST_F(GetDgReservationStatusFromDriver, ReturnsNotFoundAfterOpeningThreeTimesWithoutDevice) {
    for (const NTSTATUS not_found :
         {native::object_name_not_found, native::object_path_not_found}) {
        at_every_threshold([&] {
            KernelJournal journal(dll().module(), clock());
            journal.opens = {{.returned = not_found}};
            EXPECT_EQ(get_status(), FARLO_NOT_FOUND);
            EXPECT_EQ(stored_state(), FARLO_RESERVATION_UNKNOWN);
            const std::string missing = open_info_device(not_found);
            expect_journal(journal,
                           {create_mutex, wait(WAIT_OBJECT_0), allocate_page, missing, pause,
                            missing, pause, missing, pause, release_mutex, close_mutex, free_page});
            expect_log({entering,
                        got_lock,
                        {0, "GetDgReservationStatusW() failed, error=(0x1) "},
                        exiting});
        });
    }
}

TEST_F(GetDgReservationStatusFromDriver, FailsAfterThirtyTriesWhileDeviceCannotBeOpened) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        journal.opens = {{.returned = native::sharing_violation}};
        EXPECT_EQ(get_status(), FARLO_DEVICE_SHARING_VIOLATION);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_UNKNOWN);
        Lines wanted = {create_mutex, wait(WAIT_OBJECT_0), allocate_page};
        for (int i = 0; i < 30; ++i) {
            for (int opening = 0; opening < 3; ++opening) {
                wanted.push_back(open_info_device(native::sharing_violation));
                wanted.push_back(pause);
            }
            wanted.push_back(pause);
        }
        expect_journal(journal, wanted + Lines{release_mutex, close_mutex, free_page});
        expect_log(
            {entering, got_lock, {0, "GetDgReservationStatusW() failed, error=(0x17) "}, exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, ReturnsSharingViolationAfterThirtySeconds) {
    once([&] {
        KernelJournal journal(dll().module(), clock());
        journal.controls = {{.returned = native::sharing_violation}};
        EXPECT_EQ(get_status(), FARLO_DEVICE_SHARING_VIOLATION);
        EXPECT_EQ(stored_state(), FARLO_RESERVATION_UNKNOWN);
        EXPECT_EQ(clock().elapsed(), 30'000u);
    });
}

// Only the search by name checks the connection.
TEST_F(GetDgReservationStatusFromDriver, ReturnsNotConnectedWhenSearchingByNameWithoutConnection) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        disconnect();
        EXPECT_EQ(FARLO(GetDgReservationStatusW)(handle, L"dg1", "", state.as<std::uint32_t>()),
                  FARLO_NOT_CONNECTED);
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

TEST_F(GetDgReservationStatusFromDriver, FailsWithoutMemoryForGuid) {
    at_every_threshold([&] {
        KernelJournal journal(dll().module(), clock());
        heap().fail(1);
        EXPECT_EQ(get_status(), FARLO_NO_GUID_MEMORY);
        EXPECT_TRUE(state.untouched());
        expect_journal(journal, {});
        expect_log({entering,
                    {0, "GetDgReservationStatusW():SetDgGuidParam() failed, error=(0x11) "},
                    {0, "GetDgReservationStatusW() failed, error=(0x11) "},
                    exiting});
    });
}

TEST_F(GetDgReservationStatusFromDriver, FailsCleanlyWhenAnyAllocationFails) {
    const auto results = statuses_at_every_allocation([&] {
        KernelJournal journal(dll().module(), clock());
        GuardedBuffer received{4};
        const std::uint32_t status =
            FARLO(GetDgReservationStatusA)(handle, "dg1", nullptr, received.as<std::uint32_t>());
        if (status == FARLO_SUCCESS) {
            EXPECT_EQ(*received.as<std::uint32_t>(), FARLO_RESERVATION_NOT_HELD);
        } else {
            EXPECT_TRUE(received.untouched());
        }
        EXPECT_EQ(journal.live_pages(), 0u);
        return status;
    });
    EXPECT_GT(results.size(), 1u);
    EXPECT_THAT(results, testing::Each(testing::Ne(FARLO_SUCCESS)));
}

}  // namespace
