// The strict mode of the lab's command library: no released handle is used unnoticed.
#include "service/environment_variable.h"
#include "service/process.h"
#include "service/ztcmd_fixture.h"
#include "support/strict_handles.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <optional>
#include <set>
#include <sstream>

namespace {

using namespace support;

constexpr DWORD hang_ms = 60'000;

// A process that used a released handle.
struct Use {
    std::optional<DWORD> exit_code;
    std::string handle;  // its address
    std::string status;  // that the use returned, when it did
    std::string errors;
};

Use use_released_handle(const std::string& how, const std::optional<std::wstring>& strict) {
    const EnvironmentVariable mode(L"ZTLAB_STRICT", strict);
    const Process process(beside_this_program(L"released_handle_user.exe") + L" \"" +
                          std::wstring(how.begin(), how.end()) + L"\"");
    Use use;
    use.exit_code = process.wait(hang_ms);
    std::istringstream output(process.output());
    output >> use.handle >> use.status;
    use.errors = process.errors();
    return use;
}

struct Case {
    const char* use;
    const char* line;  // HANDLE is the handle's address
    bool in_program;   // the program itself uses it: its offset follows
};

class ReleasedHandle : public testing::TestWithParam<Case> {};

TEST_P(ReleasedHandle, EndsTheProcessAndNamesTheCall) {
    const Case& wanted = GetParam();
    const Use use = use_released_handle(wanted.use, L"1");
    EXPECT_EQ(use.exit_code, std::optional<DWORD>(LAB_RELEASED_USE_EXIT));
    EXPECT_EQ(use.status, "");
    std::string line = wanted.line;
    line.replace(line.find("HANDLE"), std::strlen("HANDLE"), use.handle);
    if (wanted.in_program) {
        EXPECT_THAT(use.errors, testing::StartsWith(line + "released_handle_user.exe + 0x"));
        EXPECT_THAT(use.errors, testing::EndsWith("\n"));
        EXPECT_EQ(std::count(use.errors.begin(), use.errors.end(), '\n'), 1);
    } else {
        EXPECT_EQ(use.errors, line + "\n");
    }
}

INSTANTIATE_TEST_SUITE_P(
    Uses, ReleasedHandle,
    testing::Values(
        Case{"UnInitializeZtVmW",
             "ztlab: released handle HANDLE was passed to UnInitializeZtVmW by ", true},
        Case{"RegisterAlertCallback",
             "ztlab: released handle HANDLE was passed to RegisterAlertCallback by ", true},
        Case{"DbGetObjects",
             "ztlab: the connection of released handle HANDLE was passed to DbGetObjects by ",
             true},
        Case{"PrCallDispatch",
             "ztlab: the connection of released handle HANDLE was passed to PrCallDispatch by ",
             true},
        Case{"context",
             "ztlab: the connection of released handle HANDLE was passed to DbGetObjects by ",
             true},
        Case{"connected", "ztlab: released handle HANDLE was accessed by ", true},
        Case{"lock", "ztlab: released handle HANDLE was accessed by ", true},
        Case{"callback", "ztlab: released handle HANDLE was accessed by ", true},
        Case{
            "UnInitializeClusterW",
            "ztlab: released handle HANDLE was passed to UnInitializeZtVmW by UnInitializeClusterW "
            "in farlo.dll",
            false},
        Case{"ValidateClusterW",
             "ztlab: released handle HANDLE was accessed by "
             "InitializeClusterW/ValidateClusterA/ValidateClusterW in farlo.dll",
             false},
        Case{"GetDgNameW", "ztlab: released handle HANDLE was accessed by GetDgNameW in farlo.dll",
             false},
        Case{"DeportDgA", "ztlab: released handle HANDLE was accessed by DeportDgA in farlo.dll",
             false},
        Case{"GetDgNameW of a copy",
             "ztlab: the connection of released handle HANDLE was passed to DbGetObjects by "
             "GetDgNameW in farlo.dll",
             false}),
    [](const auto& one) {
        std::string name = one.param.use;
        std::erase(name, ' ');
        return name;
    });

TEST(ReleasedHandles, AreRefusedWithoutTheMode) {
    using Value = std::optional<std::wstring>;
    for (const Value& strict : {Value(), Value(L"0"), Value(L""), Value(L"11")}) {
        for (const char* how : {"UnInitializeZtVmW", "RegisterAlertCallback"}) {
            SCOPED_TRACE(how);
            const Use use = use_released_handle(how, strict);
            EXPECT_EQ(use.exit_code, std::optional<DWORD>(0));
            EXPECT_EQ(use.status, "0xc1000101");
            EXPECT_EQ(use.errors, "");
        }
    }
}

TEST(ReleasedHandles, AreRefusedWhileTheModeIsSwitchedOff) {
    const Use use = use_released_handle("switched off", L"1");
    EXPECT_EQ(use.exit_code, std::optional<DWORD>(0));
    EXPECT_EQ(use.status, "0xc1000101");
    EXPECT_EQ(use.errors, "");
}

using StrictMode = ZtCmdTest;

// More handles than one region of pages has.
TEST_F(StrictMode, NeverUsesAnAddressAgain) {
    const StrictHandles strict(true);
    std::set<const void*> addresses;
    for (int round = 0; round < 5000; ++round) {
        const opal_handle handle = connect();
        EXPECT_TRUE(addresses.insert(handle).second);
        EXPECT_TRUE(addresses.insert(handle->connection).second);
        EXPECT_TRUE(addresses.insert(handle->connection_context).second);
        release(handle);
    }
}

TEST_F(StrictMode, LeavesLiveHandlesUsable) {
    const StrictHandles strict(true);
    const opal_handle kept = connect();
    release(connect());
    EXPECT_EQ(connected_of(kept), 1);
    EXPECT_EQ(call(kept), ZTSTATUS_OK);
    LabCmdDisconnect(kept);
    EXPECT_EQ(connected_of(kept), 0);
    release(kept);
}

std::atomic<unsigned> failures;
std::atomic<unsigned> alerts_received;
void count_alert(const opal_alert*, void*, void*, void*) {
    ++alerts_received;
}

DWORD WINAPI open_and_release(void* /*unused*/) {
    for (int round = 0; round < 500; ++round) {
        opal_handle handle = nullptr;
        failures += InitializeZtVmW(0, 0, &handle) != ZTSTATUS_OK;
        RegisterAlertCallback(handle, count_alert);  // refused once the connection is lost
        SwitchToThread();
        failures += UnInitializeZtVmW(handle) != ZTSTATUS_OK;
    }
    return 0;
}

// An access of the lab's own to a released record would end this process.
TEST_F(StrictMode, SurvivesAlertsAndLossesDuringReleases) {
    const StrictHandles strict(true);
    failures = 0;
    alerts_received = 0;
    HANDLE threads[4];
    for (HANDLE& thread : threads) {
        thread = CreateThread(nullptr, 0, open_and_release, nullptr, 0, nullptr);
    }
    do {
        LabRaiseAlert("changed");
        LabDropConnections();
    } while (WaitForMultipleObjects(4, threads, TRUE, 0) == WAIT_TIMEOUT);
    for (const HANDLE thread : threads) {
        CloseHandle(thread);
    }
    LabCmdFlushAlerts();
    EXPECT_EQ(failures, 0u);
    EXPECT_GT(alerts_received, 0u);
}

}  // namespace
